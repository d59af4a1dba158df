#pragma once

#include "Support/TemporaryDirectory.h"
#include "cli/RunZeph.h"

#include <filesystem>
#include <sstream>
#include <string>
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

// Runs zeph on a fresh data folder of its own, with no clipboard state from the test's terminal.
class DataFolder {
public:
    Run operator()(std::vector<std::string> arguments, const std::string& input = "",
        Environment environment = {}) const
    {
        environment.insert(environment.begin(),
            { { "ZEPH_DATA_DIR", path().string() }, { "CLIPBOARD_STATE", "" } });
        return zeph(arguments, input, environment);
    }
    std::filesystem::path path() const { return m_folder / "data"; }

private:
    zeph::TemporaryDirectory m_folder;
};

} // namespace CommandLineTesting
