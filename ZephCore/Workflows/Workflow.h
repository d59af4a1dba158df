#pragma once

#include "Support/EnumTable.h"
#include "Support/Json.h"
#include "Support/Result.h"
#include "Workflows/NodeKind.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// A run's named texts: a workflow's own, and what nodes and script filters add. "{var:name}" in a
// node's text stands for one of them.
using Variables = std::map<std::string, std::string>;

// Where the editor draws a node; strict on reading, both keys required.
struct CanvasPoint {
    double x = 0;
    double y = 0;
    bool operator==(const CanvasPoint&) const = default;
};

// One node of a workflow. Tolerant on reading, but for "kind", which is required.
struct WorkflowNode {
    std::string id {}; // A new UUID when the key is missing, until the record is saved.
    CanvasPoint position { .x = 80, .y = 80 };
    NodeKind kind {};
    std::string note {};
    bool operator==(const WorkflowNode&) const = default;
};

// The key held while choosing a row, which selects the branches that carry it.
enum class ConnectionModifier { none, command, option, control, shift };
template <>
inline constexpr auto
    enumNames<ConnectionModifier> = std::to_array<std::pair<ConnectionModifier, std::string_view>>({
        { ConnectionModifier::none, "none" },
        { ConnectionModifier::command, "command" },
        { ConnectionModifier::option, "option" },
        { ConnectionModifier::control, "control" },
        { ConnectionModifier::shift, "shift" },
    });
static_assert(isCompleteEnumTable<ConnectionModifier>());

// "⌘", "⌥", "⌃", "⇧", and an empty text for none.
std::string_view symbol(ConnectionModifier modifier);

// An edge from a node's output port into another node as a whole. Strict on reading: a connection
// without any of its keys fails the whole document.
struct WorkflowConnection {
    std::string id {};
    std::string from {};
    std::string fromPort {}; // "out", or "true" or "false" out of a condition.
    std::string to {};
    ConnectionModifier modifier = ConnectionModifier::none;
    bool operator==(const WorkflowConnection&) const = default;
};

// A small directed acyclic graph of nodes that the user wires together, as "workflows.json" keeps
// it. Tolerant on reading: every key may be missing and takes its default.
struct Workflow {
    std::string id {}; // A new UUID when the key is missing, until the record is saved.
    std::string name = "Untitled Workflow";
    std::string summary {};
    bool isEnabled = true;
    std::vector<WorkflowNode> nodes {};
    // In the order a run fans out.
    std::vector<WorkflowConnection> connections {};
    Variables variables {};
    bool createdByAgent = false;
    bool pendingReview = false;
    bool operator==(const Workflow&) const = default;

    // The pointers below stay valid until the workflow changes.

    // The first node with `nodeID`.
    const WorkflowNode* nodeWithID(std::string_view nodeID) const;
    // The input nodes in node order.
    std::vector<const WorkflowNode*> inputNodes() const;
    // The non-empty keywords of the input nodes, in node order.
    std::vector<std::string> keywords() const;
    // The connections a run follows out of `port` of `from` while `modifier` is held: those that
    // carry the modifier, else those that carry none, in list order. So a held key without a
    // branch of its own falls back to the plain branches.
    std::vector<const WorkflowConnection*> outgoing(
        std::string_view from, std::string_view port, ConnectionModifier modifier) const;
    // Appends a connection with a new UUID and returns true, or returns false and changes nothing
    // when: `from` is `to`; the target is missing or an input; the source is missing; the source
    // kind has no such port; the same connection exists; or the edge would close a cycle.
    bool addConnection(std::string_view from, std::string_view port, std::string_view to,
        ConnectionModifier modifier);
    // Removes the node and every connection into or out of it.
    void removeNode(std::string_view nodeID);
    void removeConnection(std::string_view connectionID);
    // Whether `to` can be reached from `from` along connections; a node reaches itself.
    bool reaches(std::string_view from, std::string_view to) const;
};

Json::Value toJSON(const CanvasPoint& point);
Json::Value toJSON(const WorkflowNode& node);
Json::Value toJSON(const WorkflowConnection& connection);
Json::Value toJSON(const Workflow& workflow);
Result<CanvasPoint> canvasPointFromJSON(const Json::Value& json);
Result<WorkflowNode> workflowNodeFromJSON(const Json::Value& json);
Result<WorkflowConnection> workflowConnectionFromJSON(const Json::Value& json);
Result<Workflow> workflowFromJSON(const Json::Value& json);

// "workflows.json": an array of workflows. One undecodable workflow fails the whole document.
template <> struct DocumentCoding<std::vector<Workflow>> {
    static Json::Value encode(const std::vector<Workflow>& workflows);
    static Result<std::vector<Workflow>> decode(const Json::Value& json);
    // The same from the text, without the whole tree; nothing when the text is no array. With
    // `recordTexts`, also the text of each record, and the records known from there.
    static std::optional<Result<std::vector<Workflow>>> decodeText(
        std::string_view text, Json::RecordTexts<Workflow>* recordTexts = nullptr);
    // The document's text, without the whole tree.
    static Result<std::string> encodeText(const std::vector<Workflow>& workflows);
};

} // namespace zeph

// Over every field, through the document form, which holds every field.
template <> struct std::hash<zeph::WorkflowNode> {
    std::size_t operator()(const zeph::WorkflowNode& node) const noexcept;
};
template <> struct std::hash<zeph::WorkflowConnection> {
    std::size_t operator()(const zeph::WorkflowConnection& connection) const noexcept;
};
template <> struct std::hash<zeph::Workflow> {
    std::size_t operator()(const zeph::Workflow& workflow) const noexcept;
};
