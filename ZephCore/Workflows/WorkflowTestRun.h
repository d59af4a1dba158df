#pragma once

#include "Workflows/ScriptRunning.h"
#include "Workflows/Workflow.h"

#include <string>
#include <vector>

namespace zeph::WorkflowTestRun {

// A run of `workflow` from `start` that performs nothing: a script filter runs and shows its rows,
// and the first that can be chosen goes on as the query; a list filter goes on with its first
// item; then every step runs against a dry environment. The report says, one line each, what the
// filter showed, which steps ran and which actions would have run. Scripts do run, with `timeout`.
std::vector<std::string> report(const Workflow& workflow, const WorkflowNode& start,
    const std::string& query, ScriptRunning& scripts, Seconds timeout);

} // namespace zeph::WorkflowTestRun
