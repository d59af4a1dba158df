#pragma once

#include "Workflows/Workflow.h"

#include <string_view>
#include <vector>

#include <QString>

namespace zeph::WorkflowWords {

// How workflows read in the windows, the editor's and the review's alike.

// The fields of node settings whose values are one of a few words, with those words.
std::vector<std::string_view> choicesFor(std::string_view key);
// The key held while choosing a row, in the words of the panel, where Ctrl is `command`.
QString heldKey(ConnectionModifier modifier);
// A node's kind and what tells it apart: its keyword, else the first text of its settings (an
// address, a path, a title), and its note.
QString nodeLabel(const WorkflowNode& node);
QString nodeLabel(const Workflow& workflow, const std::string& nodeID);
// The whole workflow in a few lines of HTML: name, summary, nodes and connections.
QString summaryHTML(const Workflow& workflow);

} // namespace zeph::WorkflowWords
