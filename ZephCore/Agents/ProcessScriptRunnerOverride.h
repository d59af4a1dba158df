#pragma once

#include "Workflows/ScriptRunning.h"

#include <filesystem>

namespace zeph {

// Runs a test run's scripts in the workflow's own folder, as a real run does, when the runner it
// wraps starts processes; any other runner, such as a test's stub, gets each call unchanged.
class ProcessScriptRunnerOverride final : public ScriptRunning {
public:
    ProcessScriptRunnerOverride(ScriptRunning& base, std::filesystem::path directory);

    ScriptResult run(ScriptLanguage language, const std::string& script, const std::string& query,
        const Variables& variables, Seconds timeout) override;

private:
    ScriptRunning& m_base;
    std::filesystem::path m_directory;
};

} // namespace zeph
