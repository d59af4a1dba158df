#include "Workflows/Workflow.h"

#include "Support/UUID.h"

#include <algorithm>
#include <unordered_set>

namespace zeph {

std::string_view symbol(ConnectionModifier modifier)
{
    constexpr auto symbols = std::to_array<std::string_view>({ "", "⌘", "⌥", "⌃", "⇧" });
    static_assert(symbols.size() == enumNames<ConnectionModifier>.size());
    return symbols[static_cast<std::size_t>(modifier)];
}

const WorkflowNode* Workflow::nodeWithID(std::string_view nodeID) const
{
    auto found = std::find_if(
        nodes.begin(), nodes.end(), [&](const WorkflowNode& node) { return node.id == nodeID; });
    return found == nodes.end() ? nullptr : &*found;
}

std::vector<const WorkflowNode*> Workflow::inputNodes() const
{
    std::vector<const WorkflowNode*> inputs;
    for (auto& node : nodes) {
        if (node.kind.category() == NodeKind::Category::input)
            inputs.push_back(&node);
    }
    return inputs;
}

std::vector<std::string> Workflow::keywords() const
{
    std::vector<std::string> found;
    for (auto& node : nodes) {
        if (auto* keyword = node.kind.keyword(); keyword && !keyword->empty())
            found.push_back(*keyword);
    }
    return found;
}

std::vector<const WorkflowConnection*> Workflow::outgoing(
    std::string_view from, std::string_view port, ConnectionModifier modifier) const
{
    auto matching = [&](ConnectionModifier wanted) {
        std::vector<const WorkflowConnection*> found;
        for (auto& connection : connections) {
            if (connection.from == from && connection.fromPort == port
                && connection.modifier == wanted)
                found.push_back(&connection);
        }
        return found;
    };
    if (modifier != ConnectionModifier::none) {
        if (auto held = matching(modifier); !held.empty())
            return held;
    }
    return matching(ConnectionModifier::none);
}

bool Workflow::addConnection(
    std::string_view from, std::string_view port, std::string_view to, ConnectionModifier modifier)
{
    if (from == to)
        return false;
    auto* target = nodeWithID(to);
    if (!target || target->kind.category() == NodeKind::Category::input)
        return false;
    auto* source = nodeWithID(from);
    if (!source)
        return false;
    auto ports = source->kind.outputPorts();
    if (std::find(ports.begin(), ports.end(), port) == ports.end())
        return false;
    bool exists = std::any_of(connections.begin(), connections.end(), [&](auto& connection) {
        return connection.from == from && connection.fromPort == port && connection.to == to
            && connection.modifier == modifier;
    });
    if (exists || reaches(to, from))
        return false;
    connections.push_back({ .id = makeUUID(),
        .from = std::string(from),
        .fromPort = std::string(port),
        .to = std::string(to),
        .modifier = modifier });
    return true;
}

void Workflow::removeNode(std::string_view nodeID)
{
    std::erase_if(nodes, [&](const WorkflowNode& node) { return node.id == nodeID; });
    std::erase_if(connections, [&](const WorkflowConnection& connection) {
        return connection.from == nodeID || connection.to == nodeID;
    });
}

void Workflow::removeConnection(std::string_view connectionID)
{
    std::erase_if(connections,
        [&](const WorkflowConnection& connection) { return connection.id == connectionID; });
}

bool Workflow::reaches(std::string_view from, std::string_view to) const
{
    std::vector<std::string_view> stack { from };
    std::unordered_set<std::string_view> visited;
    while (!stack.empty()) {
        auto nodeID = stack.back();
        stack.pop_back();
        if (nodeID == to)
            return true;
        if (!visited.insert(nodeID).second)
            continue;
        for (auto& connection : connections) {
            if (connection.from == nodeID)
                stack.push_back(connection.to);
        }
    }
    return false;
}

Json::Value toJSON(const CanvasPoint& point)
{
    // Adding zero turns -0 into 0, so that equal points also have equal documents and hashes.
    Json::Value json;
    json["x"] = point.x + 0.0;
    json["y"] = point.y + 0.0;
    return json;
}

Json::Value toJSON(const WorkflowNode& node)
{
    Json::Value json;
    json["id"] = node.id;
    json["position"] = toJSON(node.position);
    json["kind"] = toJSON(node.kind);
    json["note"] = node.note;
    return json;
}

Json::Value toJSON(const WorkflowConnection& connection)
{
    Json::Value json;
    json["id"] = connection.id;
    json["from"] = connection.from;
    json["fromPort"] = connection.fromPort;
    json["to"] = connection.to;
    json["modifier"] = toString(connection.modifier);
    return json;
}

Json::Value toJSON(const Workflow& workflow)
{
    // Key by key: a braced list builds a two-element array for every key and copies the value out
    // of it, which was a third of writing a long document.
    Json::Value json;
    json["id"] = workflow.id;
    json["name"] = workflow.name;
    json["summary"] = workflow.summary;
    json["isEnabled"] = workflow.isEnabled;
    auto& nodes = json["nodes"] = Json::Value::array();
    for (auto& node : workflow.nodes)
        nodes.push_back(toJSON(node));
    auto& connections = json["connections"] = Json::Value::array();
    for (auto& connection : workflow.connections)
        connections.push_back(toJSON(connection));
    json["variables"] = workflow.variables;
    json["createdByAgent"] = workflow.createdByAgent;
    json["pendingReview"] = workflow.pendingReview;
    return json;
}

Result<CanvasPoint> canvasPointFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A position must be a JSON object with \"x\" and \"y\"." };
    CanvasPoint point;
    if (auto error = Json::firstError({
            Json::read(json, "x", point.x),
            Json::read(json, "y", point.y),
        }))
        return *error;
    return point;
}

namespace {

// The one key of a node without a default.
Result<NodeKind> requiredKind(const Json::Value& node)
{
    if (Json::isAbsent(node, "kind"))
        return Json::fieldError(node, "kind", "a node kind");
    return nodeKindFromJSON(node["kind"]);
}

} // namespace

Result<WorkflowNode> workflowNodeFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A node must be a JSON object." };
    WorkflowNode node;
    if (auto error = Json::firstError({
            Json::readTolerant(json, "id", node.id),
            Json::readTolerant(json, "position", node.position, canvasPointFromJSON),
            Json::readInto(requiredKind(json), node.kind),
            Json::readTolerant(json, "note", node.note),
        }))
        return *error;
    if (Json::isAbsent(json, "id"))
        node.id = makeUUID();
    return node;
}

Result<WorkflowConnection> workflowConnectionFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A connection must be a JSON object." };
    WorkflowConnection connection;
    if (auto error = Json::firstError({
            Json::read(json, "id", connection.id),
            Json::read(json, "from", connection.from),
            Json::read(json, "fromPort", connection.fromPort),
            Json::read(json, "to", connection.to),
            Json::readInto(
                Json::requiredEnum<ConnectionModifier>(json, "modifier"), connection.modifier),
        }))
        return *error;
    return connection;
}

Result<Workflow> workflowFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A workflow must be a JSON object." };
    Workflow workflow;
    auto decodeNodes = [](const Json::Value& nodes) {
        return Json::decodeArray<WorkflowNode>(nodes, "node", workflowNodeFromJSON);
    };
    auto decodeConnections = [](const Json::Value& connections) {
        return Json::decodeArray<WorkflowConnection>(
            connections, "connection", workflowConnectionFromJSON);
    };
    if (auto error = Json::firstError({
            Json::readTolerant(json, "id", workflow.id),
            Json::readTolerant(json, "name", workflow.name),
            Json::readTolerant(json, "summary", workflow.summary),
            Json::readTolerant(json, "isEnabled", workflow.isEnabled),
            Json::readTolerant(json, "nodes", workflow.nodes, decodeNodes),
            Json::readTolerant(json, "connections", workflow.connections, decodeConnections),
            Json::readTolerant(json, "variables", workflow.variables),
            Json::readTolerant(json, "createdByAgent", workflow.createdByAgent),
            Json::readTolerant(json, "pendingReview", workflow.pendingReview),
        }))
        return *error;
    if (Json::isAbsent(json, "id"))
        workflow.id = makeUUID();
    return workflow;
}

Json::Value DocumentCoding<std::vector<Workflow>>::encode(const std::vector<Workflow>& workflows)
{
    auto json = Json::Value::array();
    for (auto& workflow : workflows)
        json.push_back(toJSON(workflow));
    return json;
}

Result<std::vector<Workflow>> DocumentCoding<std::vector<Workflow>>::decode(const Json::Value& json)
{
    return Json::decodeArray<Workflow>(json, "workflow", workflowFromJSON);
}

Result<std::string> DocumentCoding<std::vector<Workflow>>::encodeText(
    const std::vector<Workflow>& workflows)
{
    return Json::arrayDocumentText(
        workflows.size(), [&](std::size_t index) { return toJSON(workflows[index]); });
}

std::optional<Result<std::vector<Workflow>>> DocumentCoding<std::vector<Workflow>>::decodeText(
    std::string_view text, Json::RecordTexts<Workflow>* recordTexts)
{
    return Json::decodeArrayText<Workflow>(text, "workflow", workflowFromJSON, recordTexts);
}

} // namespace zeph

std::size_t std::hash<zeph::WorkflowNode>::operator()(const zeph::WorkflowNode& node) const noexcept
{
    return zeph::Json::hashOf(zeph::toJSON(node));
}

std::size_t std::hash<zeph::WorkflowConnection>::operator()(
    const zeph::WorkflowConnection& connection) const noexcept
{
    return zeph::Json::hashOf(zeph::toJSON(connection));
}

std::size_t std::hash<zeph::Workflow>::operator()(const zeph::Workflow& workflow) const noexcept
{
    return zeph::Json::hashOf(zeph::toJSON(workflow));
}
