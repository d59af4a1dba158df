#pragma once

#include "Workflows/Workflow.h"

#include <vector>

namespace zeph::WorkflowTemplate {

// The four example workflows behind "Add Example Workflows", and what stands in for a missing
// "workflows.json": "example-uuid", "example-github", "example-vscode" and "example-downloads".
// Built once per process; their node and connection ids are fresh UUIDs of that build.
const std::vector<Workflow>& examples();

} // namespace zeph::WorkflowTemplate
