#include "Agents/ProcessScriptRunnerOverride.h"

#include "Workflows/ProcessScriptRunner.h"

namespace zeph {

ProcessScriptRunnerOverride::ProcessScriptRunnerOverride(
    ScriptRunning& base, std::filesystem::path directory)
    : m_base(base)
    , m_directory(std::move(directory))
{
}

ScriptResult ProcessScriptRunnerOverride::run(ScriptLanguage language, const std::string& script,
    const std::string& query, const Variables& variables, Seconds timeout)
{
    if (dynamic_cast<ProcessScriptRunner*>(&m_base))
        return ProcessScriptRunner(m_directory).run(language, script, query, variables, timeout);
    return m_base.run(language, script, query, variables, timeout);
}

} // namespace zeph
