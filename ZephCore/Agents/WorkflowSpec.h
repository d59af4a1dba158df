#pragma once

#include "Support/Json.h"
#include "Support/Result.h"
#include "Workflows/Workflow.h"

#include <optional>
#include <string>

// The JSON form in which agents read and write workflows: flat nodes with a "type", the agent's
// own node ids, no positions, and a default for every field that has an obvious one. Reading is
// lenient, and the one error it gives is a sentence an agent can act on.
namespace zeph::WorkflowSpec {

// Builds a workflow from an agent's object, or fails with the first problem. The workflow gets
// `id`, or a new UUID without one; it is enabled and not marked as an agent's: the tools set those
// flags. Bad node ids are mended silently, and the nodes are laid out on the canvas.
Result<Workflow> parse(const Json::Value& object, std::optional<std::string> id = std::nullopt);

// The object form of a workflow, which parse reads back, so that an agent can fetch a workflow,
// change it and send it back.
Json::Value toSpec(const Workflow& workflow);

// Places each node in the column of its longest distance from an input and in the next free row
// of that column, in node order.
void layOut(Workflow& workflow);

// A text field as agents write it: text as it stands, a number in its printed form; anything else
// is nothing.
std::optional<std::string> lenientText(const Json::Value& value);
// A boolean field as agents write it: true, or a text that is "true", "yes" or "1" in any case.
bool lenientBool(const Json::Value& value);

} // namespace zeph::WorkflowSpec
