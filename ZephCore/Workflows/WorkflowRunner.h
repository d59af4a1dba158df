#pragma once

#include "Workflows/ScriptRunning.h"
#include "Workflows/Workflow.h"
#include "Workflows/WorkflowEnvironment.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// What a run did, node by node.
struct WorkflowRunLog {
    struct Step {
        std::string nodeID {};
        std::string nodeName {}; // The kind's display name.
        std::string query {}; // The query as the node left it.
        std::string message {}; // "Started", "Opened …", "Exited 3: boom", ….
        bool operator==(const Step&) const = default;
    };

    std::vector<Step> steps {};
    std::string finalQuery {}; // That of the last node carried out, else of the start.
    bool operator==(const WorkflowRunLog&) const = default;
};

// Walks a workflow from one input node and carries out each node it reaches: templates filled in,
// conditions decided, variables set, scripts run, actions handed to the environment. It knows no
// platform, holds no state between runs and never fails as a call: a failing script is a line in
// the log and the walk goes on. Safe to share between threads when its environment and script
// runner are.
class WorkflowRunner {
public:
    // What stops a cycle that a hand-edited file put in: a run takes at most this many nodes.
    static constexpr std::size_t maximumSteps = 200;

    enum class Encoding { none, url };

    WorkflowRunner(WorkflowEnvironment& environment, ScriptRunning& scripts, Seconds scriptTimeout);

    // Starts at `startNodeID` with the query a caller already has (the text after a keyword, a
    // chosen row's argument) and its variables laid over the workflow's. A hot key start reads its
    // query from the environment instead. The held `modifier` chooses only among the start node's
    // branches. Breadth-first and one node at a time; every branch carries its own variables. A
    // missing start node gives an empty log.
    WorkflowRunLog run(const Workflow& workflow, std::string_view startNodeID, std::string query,
        const Variables& variables = {},
        ConnectionModifier modifier = ConnectionModifier::none) const;

    // Every "{query}" becomes the query, then every "{var:name}" the variable's value, each
    // percent-encoded with Encoding::url. An unknown name stays as it is; there is no escape.
    static std::string expandTemplate(std::string_view text, std::string_view query,
        const Variables& variables, Encoding encoding);

    // Percent-escapes the UTF-8 bytes of everything but ASCII letters, digits and
    // "-._~!$'()*,;:@/": a query such as "owner/name" keeps its slash, while "&+=?#" are escaped.
    static std::string percentEncode(std::string_view text);

private:
    struct Outcome;
    Outcome carryOut(
        const WorkflowNode& node, const std::string& query, Variables& variables) const;

    WorkflowEnvironment& m_environment;
    ScriptRunning& m_scripts;
    Seconds m_scriptTimeout;
};

} // namespace zeph
