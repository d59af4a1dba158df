#pragma once

#include "Support/TemporaryDirectory.h"
#include "cli/RunZeph.h"

#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <nlohmann/json.hpp>

namespace CommandLineTesting {

// Output that is not one JSON value parses as a discarded value, which equals nothing.
inline nlohmann::json json(const std::string& text)
{
    return nlohmann::json::parse(text, nullptr, false);
}

inline std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

// Runs `work` in `count` child processes at once, each with its number, and returns their exit
// statuses in that order: how tests make writers meet on one document.
inline std::vector<int> inParallel(std::size_t count, const std::function<int(std::size_t)>& work)
{
    std::vector<pid_t> children;
    for (std::size_t index = 0; index < count; ++index) {
        pid_t child = fork();
        if (child == 0)
            _exit(work(index));
        children.push_back(child);
    }
    std::vector<int> statuses;
    for (auto child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        statuses.push_back(child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    }
    return statuses;
}

// Runs zeph and zeph-mcp on a fresh data folder of their own, with no clipboard state from the
// test's terminal.
class DataFolder {
public:
    Run operator()(std::vector<std::string> arguments, const std::string& input = "",
        Environment environment = {}) const
    {
        return runZeph(arguments, input, inFolder(std::move(environment)));
    }
    // zeph-mcp in the same folder, with `input` as its lines.
    Run mcp(const std::string& input, Environment environment = {}) const
    {
        return zephMCP(input, inFolder(std::move(environment)));
    }
    std::filesystem::path path() const { return m_folder / "data"; }

private:
    Environment inFolder(Environment environment) const
    {
        environment.insert(environment.begin(),
            { { "ZEPH_DATA_DIR", path().string() }, { "CLIPBOARD_STATE", "" } });
        return environment;
    }

    zeph::TemporaryDirectory m_folder;
};

} // namespace CommandLineTesting
