#pragma once

#include "Workflows/Workflow.h"

#include <string>

// Helpers of the tests that build workflow graphs by hand.
namespace zeph {

inline WorkflowNode node(std::string id, NodeKind kind)
{
    return { .id = std::move(id), .kind = std::move(kind) };
}

} // namespace zeph
