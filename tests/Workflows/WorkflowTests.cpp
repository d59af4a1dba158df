#include "Workflows/Workflow.h"

#include "Support/RecordTesting.h"
#include "Workflows/WorkflowTesting.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using Coding = DocumentCoding<std::vector<Workflow>>;

// An input of each sort, a condition and a few actions, all unconnected.
Workflow sampleGraph()
{
    return Workflow { .id = "w",
        .nodes = {
            node("keyword", NodeKind::Keyword { .keyword = "go" }),
            node("hotkey", NodeKind::Hotkey {}),
            node("script", NodeKind::RunScript {}),
            node("condition", NodeKind::Condition {}),
            node("copy", NodeKind::CopyToClipboard {}),
            node("notify", NodeKind::Notification {}),
        } };
}

struct Edge {
    std::string from;
    std::string port;
    std::string to;
    ConnectionModifier modifier = ConnectionModifier::none;
    auto operator<=>(const Edge&) const = default;
};

std::vector<Edge> edges(const Workflow& workflow)
{
    std::vector<Edge> found;
    for (auto& connection : workflow.connections)
        found.push_back(
            { connection.from, connection.fromPort, connection.to, connection.modifier });
    return found;
}

// Kahn's algorithm: a graph is acyclic exactly when every node can be taken in this order.
bool isAcyclic(const Workflow& workflow)
{
    std::map<std::string, int> incoming;
    for (auto& node : workflow.nodes)
        incoming[node.id];
    for (auto& connection : workflow.connections)
        ++incoming[connection.to];
    std::vector<std::string> ready;
    for (auto& [id, count] : incoming) {
        if (count == 0)
            ready.push_back(id);
    }
    std::size_t taken = 0;
    while (!ready.empty()) {
        auto id = ready.back();
        ready.pop_back();
        ++taken;
        for (auto& connection : workflow.connections) {
            if (connection.from == id && --incoming[connection.to] == 0)
                ready.push_back(connection.to);
        }
    }
    return taken == incoming.size();
}

} // namespace

TEST(Workflow, MissingKeysTakeTheirDefaults)
{
    auto first = workflowFromJSON(json("{}")).value();
    EXPECT_TRUE(looksLikeUUID(first.id)) << first.id;
    EXPECT_EQ(first, (Workflow { .id = first.id }));
    EXPECT_EQ(first.name, "Untitled Workflow");
    EXPECT_TRUE(first.isEnabled);
    EXPECT_NE(workflowFromJSON(json("{}"))->id, first.id);
    // null counts as missing; an empty text is a value.
    auto named = workflowFromJSON(json(R"({"id": "", "name": null, "nodes": null})")).value();
    EXPECT_EQ(named.id, "");
    EXPECT_EQ(named.name, "Untitled Workflow");

    auto bare = workflowNodeFromJSON(json(R"({"kind": {"largeType": {"text": "x"}}})")).value();
    EXPECT_TRUE(looksLikeUUID(bare.id));
    EXPECT_EQ(bare.position, (CanvasPoint { .x = 80, .y = 80 }));
    EXPECT_EQ(bare.note, "");
    EXPECT_EQ(bare.kind, NodeKind(NodeKind::LargeType { .text = "x" }));
}

TEST(Workflow, OnlyWorkflowsAndNodesAreTolerant)
{
    struct Case {
        const char* document;
        const char* message;
    };
    const Case cases[] = {
        { R"([{"nodes": [{"id": "a"}]}])", "workflow 1: nodes: node 1: \"kind\" is missing." },
        { R"([{"nodes": [{"kind": null}]}])",
            "workflow 1: nodes: node 1: \"kind\" must be a node kind." },
        { R"([{}, {"nodes": [{"kind": {"openURL": {}}}]}])",
            "workflow 2: nodes: node 1: openURL: \"url\" is missing." },
        { R"([{"nodes": [{"kind": {"a": {}, "b": {}}}]}])",
            "workflow 1: nodes: node 1: Invalid number of keys found, expected one." },
        { R"([{"nodes": [{"position": {"x": 1}, "kind": {"largeType": {"text": ""}}}]}])",
            "workflow 1: nodes: node 1: position: \"y\" is missing." },
        { R"([{"connections": [{"from": "a", "fromPort": "out", "to": "b", "modifier": "none"}]}])",
            "workflow 1: connections: connection 1: \"id\" is missing." },
        { R"([{"connections": [{"id": "c", "from": "a", "fromPort": "out", "to": "b"}]}])",
            "workflow 1: connections: connection 1: \"modifier\" is missing." },
        { R"([{"connections": [{"id": "c", "from": "a", "fromPort": "out", "to": "b",
                "modifier": "cmd"}]}])",
            "workflow 1: connections: connection 1: \"cmd\" is not a valid \"modifier\"." },
        { R"([{"variables": {"a": 1}}])",
            "workflow 1: \"variables\" must be an object of strings." },
        { R"([{"isEnabled": "true"}])", "workflow 1: \"isEnabled\" must be true or false." },
        { R"([{"nodes": {}}])", "workflow 1: nodes: The nodes must be a JSON array." },
        { R"([[]])", "workflow 1: A workflow must be a JSON object." },
        { R"({"workflows": []})", "The workflows must be a JSON array." },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.document);
        auto decoded = Coding::decode(json(testCase.document));
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, testCase.message);
        // Read from the text a workflow at a time, the message is the same.
        auto fromText = decodeDocument<std::vector<Workflow>>(testCase.document);
        ASSERT_TRUE(fromText && !*fromText);
        EXPECT_EQ(fromText->error().message, testCase.message);
    }
    // A bad workflow before text that is not JSON: the text's fault comes first, as ever.
    EXPECT_FALSE(decodeDocument<std::vector<Workflow>>(R"([{"isEnabled": 1}, {"name": ])"));
}

TEST(Workflow, DocumentReadsBackWhatItWritesWithEveryKey)
{
    Workflow full { .id = "w",
        .name = "Name",
        .summary = "Summary",
        .isEnabled = false,
        .nodes = { { .id = "a",
                       .position = { .x = -0.0, .y = 1.5 },
                       .kind = NodeKind::Keyword { .keyword = "go" },
                       .note = "first" },
            { .id = "b", .kind = NodeKind::Condition {} } },
        .connections = { { .id = "c",
            .from = "a",
            .fromPort = "out",
            .to = "b",
            .modifier = ConnectionModifier::shift } },
        .variables = { { "token", "secret" }, { "empty", "" } },
        .createdByAgent = true,
        .pendingReview = true };
    std::vector<Workflow> document { full, Workflow { .id = "empty" } };
    auto encoded = Coding::encode(document);
    EXPECT_EQ(Coding::decode(encoded).value(), document);
    // The text written a workflow at a time is the whole tree's, and reads back the same.
    auto text = encodeDocument(document).value();
    EXPECT_EQ(text, Json::documentText(encoded).value());
    EXPECT_EQ(decodeDocument<std::vector<Workflow>>(text)->value(), document);
    EXPECT_EQ(
        std::hash<Workflow> {}(Coding::decode(encoded)->front()), std::hash<Workflow> {}(full));

    // Empty values are written too, so a reader never has to guess a default.
    auto empty = encoded[1];
    for (auto* key : { "id", "name", "summary", "isEnabled", "nodes", "connections", "variables",
             "createdByAgent", "pendingReview" }) {
        SCOPED_TRACE(key);
        EXPECT_TRUE(empty.contains(key));
    }
    EXPECT_EQ(encoded[0]["connections"][0],
        json(R"({"id": "c", "from": "a", "fromPort": "out", "to": "b", "modifier": "shift"})"));
    EXPECT_EQ(encoded[0]["nodes"][0]["position"], json(R"({"x": 0.0, "y": 1.5})"));
    EXPECT_EQ(encoded[0]["variables"], json(R"({"empty": "", "token": "secret"})"));
}

TEST(Workflow, AddConnectionRefusesExactlyItsRules)
{
    struct Case {
        const char* what;
        Edge edge;
        bool isAdded;
    };
    using enum ConnectionModifier;
    // In order; each case sees the connections the cases before it added.
    const Case cases[] = {
        { "into itself", { "script", "out", "script" }, false },
        { "into a missing node", { "script", "out", "nowhere" }, false },
        { "into a keyword", { "script", "out", "keyword" }, false },
        { "into a hot key", { "condition", "true", "hotkey" }, false },
        { "from a missing node", { "nowhere", "out", "script" }, false },
        { "from a port the kind lacks", { "script", "true", "copy" }, false },
        { "from a condition's out", { "condition", "out", "copy" }, false },
        { "an input into an action", { "keyword", "out", "script" }, true },
        { "the same again", { "keyword", "out", "script" }, false },
        { "the same with a key held", { "keyword", "out", "script", command }, true },
        { "and that again", { "keyword", "out", "script", command }, false },
        { "an input with no keyword", { "hotkey", "out", "script" }, true },
        { "an action into a condition", { "script", "out", "condition" }, true },
        { "a condition's true branch", { "condition", "true", "copy" }, true },
        { "its false branch to the same node", { "condition", "false", "copy" }, true },
        { "a diamond, which is no cycle", { "script", "out", "copy" }, true },
        { "a cycle of two", { "copy", "out", "script" }, false },
        { "a longer cycle", { "copy", "out", "condition", shift }, false },
        { "out of the end of a chain", { "copy", "out", "notify" }, true },
        { "a cycle back to the start", { "notify", "out", "script", option }, false },
    };
    auto workflow = sampleGraph();
    std::vector<Edge> expected;
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.what);
        auto& edge = testCase.edge;
        EXPECT_EQ(
            workflow.addConnection(edge.from, edge.port, edge.to, edge.modifier), testCase.isAdded);
        if (testCase.isAdded)
            expected.push_back(edge);
        EXPECT_EQ(edges(workflow), expected);
    }
    std::set<std::string> ids;
    for (auto& connection : workflow.connections) {
        EXPECT_TRUE(looksLikeUUID(connection.id));
        ids.insert(connection.id);
    }
    EXPECT_EQ(ids.size(), workflow.connections.size());
}

TEST(Workflow, OutgoingFallsBackToThePlainBranches)
{
    using enum ConnectionModifier;
    auto workflow = sampleGraph();
    ASSERT_TRUE(workflow.addConnection("keyword", "out", "copy", command));
    ASSERT_TRUE(workflow.addConnection("keyword", "out", "script", none));
    ASSERT_TRUE(workflow.addConnection("keyword", "out", "notify", none));
    ASSERT_TRUE(workflow.addConnection("keyword", "out", "notify", command));
    ASSERT_TRUE(workflow.addConnection("condition", "true", "copy", none));
    auto targets = [&](const char* from, const char* port, ConnectionModifier modifier) {
        std::vector<std::string> found;
        for (auto* connection : workflow.outgoing(from, port, modifier))
            found.push_back(connection->to);
        return found;
    };
    using List = std::vector<std::string>;
    EXPECT_EQ(targets("keyword", "out", none), (List { "script", "notify" }));
    EXPECT_EQ(targets("keyword", "out", command), (List { "copy", "notify" }));
    // A held key with no branch of its own takes the plain ones.
    EXPECT_EQ(targets("keyword", "out", shift), (List { "script", "notify" }));
    EXPECT_EQ(targets("keyword", "true", none), List {});
    EXPECT_EQ(targets("condition", "true", option), (List { "copy" }));
    EXPECT_EQ(targets("condition", "false", none), List {});
    EXPECT_EQ(targets("nowhere", "out", none), List {});
}

TEST(Workflow, ReachesAndRemovalFollowTheConnections)
{
    auto workflow = sampleGraph();
    ASSERT_TRUE(workflow.addConnection("keyword", "out", "condition", ConnectionModifier::shift));
    ASSERT_TRUE(workflow.addConnection("condition", "false", "copy", ConnectionModifier::none));
    ASSERT_TRUE(workflow.addConnection("hotkey", "out", "copy", ConnectionModifier::none));
    EXPECT_TRUE(workflow.reaches("keyword", "copy")); // Over a modifier and a false branch.
    EXPECT_TRUE(workflow.reaches("copy", "copy"));
    EXPECT_TRUE(workflow.reaches("nowhere", "nowhere"));
    EXPECT_FALSE(workflow.reaches("copy", "keyword"));
    EXPECT_FALSE(workflow.reaches("keyword", "hotkey"));
    EXPECT_FALSE(workflow.reaches("keyword", "notify"));

    ASSERT_NE(workflow.nodeWithID("condition"), nullptr);
    EXPECT_EQ(workflow.nodeWithID("condition")->kind.typeKey(), "condition");
    EXPECT_EQ(workflow.nodeWithID("nowhere"), nullptr);
    std::vector<std::string> inputs;
    for (auto* input : workflow.inputNodes())
        inputs.push_back(input->id);
    EXPECT_EQ(inputs, (std::vector<std::string> { "keyword", "hotkey" }));

    workflow.removeConnection(workflow.connections[2].id);
    EXPECT_EQ(edges(workflow).size(), 2u);
    workflow.removeNode("condition");
    EXPECT_EQ(workflow.nodeWithID("condition"), nullptr);
    EXPECT_EQ(workflow.nodes.size(), 5u);
    EXPECT_TRUE(workflow.connections.empty());
    EXPECT_FALSE(workflow.reaches("keyword", "copy"));
}

// Whatever is tried, in whatever order, what addConnection lets in is a graph with no cycle, no
// repeated connection, no edge into an input or into its own source, and only ports that exist.
TEST(Workflow, GraphsBuiltOnlyThroughAddConnectionStayAcyclic)
{
    const std::vector<NodeKind> kinds { NodeKind::Keyword {}, NodeKind::Hotkey {},
        NodeKind::ListFilter {}, NodeKind::RunScript {}, NodeKind::Condition {},
        NodeKind::Condition {}, NodeKind::SetVariable {}, NodeKind::OpenURL {},
        NodeKind::ReplaceQuery {}, NodeKind::LargeType {} };
    const std::vector<std::string> ports { "out", "true", "false", "in" };
    const auto modifiers = allCases<ConnectionModifier>();
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        Workflow workflow;
        auto nodeCount = 2 + random() % 9;
        for (std::size_t index = 0; index < nodeCount; ++index)
            workflow.nodes.push_back(
                node("n" + std::to_string(index), kinds[random() % kinds.size()]));
        // Every possible attempt, including ids that name no node, shuffled.
        std::vector<Edge> attempts;
        for (std::size_t from = 0; from <= nodeCount; ++from) {
            for (std::size_t to = 0; to <= nodeCount; ++to) {
                for (auto& port : ports)
                    attempts.push_back({ "n" + std::to_string(from), port, "n" + std::to_string(to),
                        modifiers[random() % modifiers.size()] });
            }
        }
        std::shuffle(attempts.begin(), attempts.end(), random);
        attempts.resize(attempts.size() / (1 + random() % 3));
        for (auto& attempt : attempts) {
            auto before = workflow.connections.size();
            bool isAdded
                = workflow.addConnection(attempt.from, attempt.port, attempt.to, attempt.modifier);
            ASSERT_EQ(workflow.connections.size(), before + (isAdded ? 1 : 0));
        }

        ASSERT_TRUE(isAcyclic(workflow));
        auto added = edges(workflow);
        ASSERT_EQ(std::set<Edge>(added.begin(), added.end()).size(), added.size());
        for (auto& connection : workflow.connections) {
            auto* source = workflow.nodeWithID(connection.from);
            auto* target = workflow.nodeWithID(connection.to);
            ASSERT_TRUE(source && target);
            ASSERT_NE(source, target);
            ASSERT_NE(target->kind.category(), NodeKind::Category::input);
            auto sourcePorts = source->kind.outputPorts();
            ASSERT_NE(std::find(sourcePorts.begin(), sourcePorts.end(), connection.fromPort),
                sourcePorts.end());
        }
        // And the acyclic graph takes every edge that breaks no rule: an edge between nodes that do
        // not reach each other is always let in.
        for (auto& from : workflow.nodes) {
            for (auto& to : workflow.nodes) {
                if (from.id == to.id || to.kind.category() == NodeKind::Category::input
                    || workflow.reaches(to.id, from.id))
                    continue;
                auto copy = workflow;
                auto port = std::string(from.kind.outputPorts().front());
                bool exists = std::any_of(
                    copy.connections.begin(), copy.connections.end(), [&](auto& connection) {
                        return connection.from == from.id && connection.to == to.id
                            && connection.fromPort == port
                            && connection.modifier == ConnectionModifier::none;
                    });
                ASSERT_EQ(
                    copy.addConnection(from.id, port, to.id, ConnectionModifier::none), !exists);
            }
        }
    }
}

} // namespace zeph
