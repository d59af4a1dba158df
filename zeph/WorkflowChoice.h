#pragma once

#include "CommandLine.h"
#include "Workflows/ScriptRunning.h"
#include "Workflows/Workflow.h"

#include <functional>
#include <string>
#include <vector>

namespace zeph::CommandLine {

// The launcher's timeouts: a script filter is waited for while the user types.
inline constexpr Seconds workflowScriptTimeout { 30 };
inline constexpr Seconds scriptFilterTimeout { 15 };

// The workflows of the data folder, as the launcher reads them: the examples stand in for a
// missing document, as on a first start.
std::vector<Workflow> installedWorkflows(const GlobalOptions& options);

// A workflow and the input node that a run of it starts from.
struct WorkflowChoice {
    Workflow workflow {};
    std::string startNodeID {};
};

// Which input nodes may start the run, and their name for messages: "input node".
struct StartingNodes {
    std::function<bool(const NodeKind&)> accepts {};
    std::string name {};
};

// The workflow with the id `idOrKeyword`, from its first input node that `starting` accepts; else,
// as the launcher finds keywords, the first row of an enabled workflow with that keyword (in any
// case) whose node it accepts. The error says what was not found.
Result<WorkflowChoice> chooseWorkflow(const std::vector<Workflow>& workflows,
    const std::string& idOrKeyword, const StartingNodes& starting);

} // namespace zeph::CommandLine
