#pragma once

#include "Support/TemporaryDirectory.h"
#include "cli/RunZeph.h"

#include <filesystem>
#include <string>
#include <vector>

namespace CommandLineTesting {

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
