#include "Workflows/ProcessScriptRunner.h"

#include "Support/ChildProcess.h"

#include <map>
#include <system_error>

namespace zeph {

namespace {

// The host's environment with PATH fixed and `variables` laid over it. A name that cannot be an
// environment variable's (empty, or with "=") would turn into another variable, so it is left out.
std::vector<std::string> childEnvironment(const Variables& variables)
{
    std::map<std::string, std::string, std::less<>> entries;
    for (auto& entry : ChildProcess::currentEnvironment()) {
        auto equals = entry.find('=');
        if (equals != std::string::npos && equals > 0)
            entries.try_emplace(entry.substr(0, equals), entry.substr(equals + 1));
    }
    entries.insert_or_assign("PATH", std::string(ProcessScriptRunner::fixedPath));
    for (auto& [name, value] : variables) {
        if (!name.empty() && name.find('=') == std::string::npos)
            entries.insert_or_assign(name, value);
    }
    std::vector<std::string> environment;
    environment.reserve(entries.size());
    for (auto& [name, value] : entries)
        environment.push_back(name + "=" + value);
    return environment;
}

} // namespace

ProcessScriptRunner::Invocation ProcessScriptRunner::invocation(
    ScriptLanguage language, const std::string& script, const std::string& query)
{
    switch (language) {
    case ScriptLanguage::zsh:
        return { "/bin/zsh", { "-c", script, "zeph", query } };
    case ScriptLanguage::bash:
        return { "/bin/bash", { "-c", script, "zeph", query } };
    case ScriptLanguage::python3:
        return { "/usr/bin/python3", { "-c", script, query } };
    // Only where osascript exists; elsewhere the launch fails like any missing interpreter.
    case ScriptLanguage::appleScript:
        return { "/usr/bin/osascript", { "-e", script, query } };
    case ScriptLanguage::javaScript:
        return { "/usr/bin/osascript", { "-l", "JavaScript", "-e", script, query } };
    case ScriptLanguage::ruby:
        return { "/usr/bin/ruby", { "-e", script, query } };
    case ScriptLanguage::perl:
        return { "/usr/bin/perl", { "-e", script, query } };
    }
    return {};
}

ProcessScriptRunner::ProcessScriptRunner(std::optional<std::filesystem::path> workingDirectory)
    : m_workingDirectory(std::move(workingDirectory))
{
}

ScriptResult ProcessScriptRunner::run(ScriptLanguage language, const std::string& script,
    const std::string& query, const Variables& variables, Seconds timeout)
{
    auto [executable, arguments] = invocation(language, script, query);
    // The query wins over a workflow variable of the same name.
    auto environment = variables;
    environment.insert_or_assign("zeph_query", query);
    return execute(executable, arguments, environment, m_workingDirectory, timeout);
}

ScriptResult ProcessScriptRunner::execute(const std::string& executable,
    const std::vector<std::string>& arguments, const Variables& environment,
    const std::optional<std::filesystem::path>& workingDirectory, Seconds timeout) const
{
    auto outcome = ChildProcess::run({ .executable = executable,
        .arguments = arguments,
        .environment = childEnvironment(environment),
        .workingDirectory = workingDirectory,
        .timeout = timeout });
    if (outcome.launchError != 0) {
        return { .stderr = "Could not run " + executable + ": "
                + std::generic_category().message(outcome.launchError),
            .exitCode = -1 };
    }
    return { .stdout = std::move(outcome.out),
        .stderr = std::move(outcome.err),
        .exitCode = outcome.status,
        .timedOut = outcome.timedOut };
}

} // namespace zeph
