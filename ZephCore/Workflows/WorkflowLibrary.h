#pragma once

#include "Storage/KeyCombo.h"
#include "Workflows/Workflow.h"

#include <string>
#include <vector>

namespace zeph {

// A launcher row that a workflow's input node offers; the search engine sees only these.
struct WorkflowEntry {
    std::string workflowID {};
    std::string nodeID {}; // The input node that choosing the row starts.
    std::string keyword {};
    std::string title {};
    std::string subtitle {};
    ArgumentRequirement argument = ArgumentRequirement::optional;
    std::string symbolName {};
    bool operator==(const WorkflowEntry&) const = default;

    // "wf:<workflowID>:<nodeID>": what ranking learns the row under, so it stays stable.
    std::string itemID() const;
};

// A global hot key that a workflow's hot key node wants.
struct WorkflowHotkey {
    std::string workflowID {};
    std::string nodeID {};
    KeyCombo combo {};
    bool operator==(const WorkflowHotkey&) const = default;
};

// What the list of workflows offers the rest of the program, and what is wrong with a workflow.
namespace WorkflowLibrary {

// The rows of the enabled workflows' keyword, script filter and list filter nodes that have a
// keyword, in list and node order. Clashing keywords give a row each.
std::vector<WorkflowEntry> entries(const std::vector<Workflow>& workflows);

// The combos of the enabled workflows' hot key nodes, in list and node order. A combo without
// modifiers counts only on a function key. Two bindings may be equal: registration decides.
std::vector<WorkflowHotkey> hotkeyBindings(const std::vector<Workflow>& workflows);

// The problems of `workflow`, each a sentence for the user, in a fixed order: no input; for each
// input node, its keyword or shortcut and whether it leads anywhere; keywords that an enabled
// other workflow of `others` also uses. Empty when there is nothing to report. `others` may hold
// `workflow` itself, which never clashes with itself.
std::vector<std::string> validate(const Workflow& workflow, const std::vector<Workflow>& others);

} // namespace WorkflowLibrary

} // namespace zeph
