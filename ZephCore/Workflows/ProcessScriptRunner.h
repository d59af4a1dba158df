#pragma once

#include "Workflows/ScriptRunning.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// Runs scripts as child processes of their fixed interpreters, one process a run. Runs share
// nothing, so any number may overlap on any threads.
class ProcessScriptRunner final : public ScriptRunning {
public:
    // A script's environment has this PATH, whatever the host's, unless a variable replaces it.
    static constexpr std::string_view fixedPath
        = "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin";

    // The interpreter and its arguments for a script. The table is fixed and absolute: neither PATH
    // nor a shebang line finds the interpreter, and the script text and the query travel as
    // arguments of their own, so the query is never spliced into the script.
    struct Invocation {
        std::string executable {};
        std::vector<std::string> arguments {};
        bool operator==(const Invocation&) const = default;
    };
    static Invocation invocation(
        ScriptLanguage language, const std::string& script, const std::string& query);

    // Scripts start in `workingDirectory`, a workflow's own folder; with none, in the host's.
    explicit ProcessScriptRunner(std::optional<std::filesystem::path> workingDirectory = {});

    const std::optional<std::filesystem::path>& workingDirectory() const
    {
        return m_workingDirectory;
    }

    ScriptResult run(ScriptLanguage language, const std::string& script, const std::string& query,
        const Variables& variables, Seconds timeout) override;

    // The step below run: the host's environment, then the fixed PATH, then `environment`;
    // standard input from the null device; the output collected whole. When the timeout passes the
    // process is asked once to terminate, and the result waits for it to exit. A launch failure
    // gives exit code -1 and "Could not run <executable>: <reason>" as the error output.
    ScriptResult execute(const std::string& executable, const std::vector<std::string>& arguments,
        const Variables& environment, const std::optional<std::filesystem::path>& workingDirectory,
        Seconds timeout) const;

private:
    std::optional<std::filesystem::path> m_workingDirectory;
};

} // namespace zeph
