#include "Agents/MCPServer.h"

#include "Support/RecordTesting.h"
#include "Support/StubScriptRunner.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

struct Server {
    MemoryAgentStore store { AgentDocuments {
        .workflows = { { .id = "user",
            .name = "Mine",
            .nodes = { { .id = "k", .kind = NodeKind::Keyword { .keyword = "m" } } } } } } };
    StubScriptRunner scripts;
    AgentTools tools { store, scripts };
    MCPServer server { tools, "1.2.3" };

    // The reply as JSON; a missing reply is a discarded value.
    Json::Value reply(std::string_view line)
    {
        auto text = server.handle(line);
        if (!text)
            return Json::Value(Json::Value::value_t::discarded);
        EXPECT_EQ(text->find('\n'), std::string::npos) << "A reply is one line.";
        return Json::parse(*text).value_or(Json::Value("not JSON: " + *text));
    }
};

Json::Value error(const Json::Value& id, int code, const std::string& message)
{
    return { { "jsonrpc", "2.0" }, { "id", id },
        { "error", { { "code", code }, { "message", message } } } };
}

Json::Value result(const Json::Value& id, const Json::Value& value)
{
    return { { "jsonrpc", "2.0" }, { "id", id }, { "result", value } };
}

Json::Value toolResult(const Json::Value& id, const std::string& text, bool isError)
{
    return result(id,
        { { "content", Json::Value::array({ { { "type", "text" }, { "text", text } } }) },
            { "isError", isError } });
}

} // namespace

TEST(MCPServer, LinesThatAreNoRequestGetTheProtocolErrors)
{
    Server server;
    const std::pair<const char*, Json::Value> cases[] = {
        { "{", error(nullptr, -32700, "Parse error") },
        { "", error(nullptr, -32700, "Parse error") },
        { "{\"id\": 1, \"method\": \"ping\"} trailing", error(nullptr, -32700, "Parse error") },
        { "{\"id\": \"\xff\", \"method\": \"ping\"}", error(nullptr, -32700, "Parse error") },
        { "42", error(nullptr, -32600, "Invalid request") },
        { "\"ping\"", error(nullptr, -32600, "Invalid request") },
        { "null", error(nullptr, -32600, "Invalid request") },
        { "[1, 2]", error(nullptr, -32600, "Invalid request") },
        { R"([{"id": 1, "method": "ping"}, 2])", error(nullptr, -32600, "Invalid request") },
        // Without a method: an error for a request with an id, nothing for one without.
        { R"({"id": 3})", error(3, -32600, "Invalid request") },
        { R"({"id": null, "method": 7})", error(nullptr, -32600, "Invalid request") },
        { R"({"jsonrpc": "2.0", "id": "x", "method": "nope/nothing"})",
            error("x", -32601, "Method not found: nope/nothing") },
    };
    for (auto& [line, expected] : cases) {
        SCOPED_TRACE(line);
        EXPECT_EQ(server.reply(line), expected);
    }
    EXPECT_EQ(server.server.handle(R"({"params": {}})"), std::nullopt);
}

TEST(MCPServer, TheIDComesBackAsItCameAndNotificationsGetNoReply)
{
    Server server;
    // jsonrpc is not checked.
    for (auto* id : { R"("a")", "7", "-1.5", "null", R"({"n": [1]})", "true" }) {
        SCOPED_TRACE(id);
        auto line = std::string(R"({"id": )") + id + R"(, "method": "ping"})";
        EXPECT_EQ(server.reply(line), result(json(id), Json::Value::object()));
    }
    for (auto* line :
        { R"({"jsonrpc": "2.0", "method": "notifications/initialized"})",
            R"({"method": "tools/call", "params": {"name": "delete_workflow", "arguments": {"id": "user"}}})",
            R"({"method": "unknown"})" })
        EXPECT_EQ(server.server.handle(line), std::nullopt) << line;
    EXPECT_EQ(server.store.documents().workflows.size(), 1u);
}

TEST(MCPServer, InitializeAnswersASupportedProtocolVersion)
{
    Server server;
    auto initialize = [&](const char* params) {
        return server.reply(
            std::string(R"({"id": 1, "method": "initialize", "params": )") + params + "}");
    };
    EXPECT_EQ(initialize(R"({"protocolVersion": "2024-11-05", "capabilities": {}})"),
        result(1, json(R"({"protocolVersion": "2024-11-05",
            "capabilities": {"tools": {"listChanged": false}},
            "serverInfo": {"name": "zeph-launcher", "title": "Zeph Launcher", "version": "1.2.3"},
            "instructions": "Creates and manages Zeph Launcher workflows and snippets on this computer. Call describe_zeph first. Everything you add is disabled until the user approves it in Zeph Launcher's Settings."})")));
    const std::pair<const char*, const char*> versions[] = {
        { R"({"protocolVersion": "2025-03-26"})", "2025-03-26" },
        { R"({"protocolVersion": "2025-06-18"})", "2025-06-18" },
        { R"({"protocolVersion": "1999-01-01"})", "2025-06-18" },
        { R"({"protocolVersion": 20241105})", "2025-06-18" },
        { "{}", "2025-06-18" },
        // Params that are no object count as an empty one.
        { R"(["2024-11-05"])", "2025-06-18" },
        { R"("2024-11-05")", "2025-06-18" },
    };
    for (auto& [params, version] : versions) {
        SCOPED_TRACE(params);
        EXPECT_EQ(initialize(params)["result"]["protocolVersion"], version);
    }
}

TEST(MCPServer, ListsTheToolsAndCallsThem)
{
    Server server;
    auto list = server.reply(R"({"id": 2, "method": "tools/list", "params": {"cursor": "x"}})");
    auto& tools = list["result"]["tools"];
    ASSERT_EQ(tools.size(), AgentTools::tools().size());
    for (std::size_t index = 0; index < tools.size(); ++index) {
        auto& tool = AgentTools::tools()[index];
        EXPECT_EQ(tools[index],
            (Json::Value { { "name", tool.name }, { "description", tool.description },
                { "inputSchema", tool.inputSchema } }));
    }

    EXPECT_EQ(
        server.reply(R"({"id": 3, "method": "tools/call", "params": {"name": "preview_snippet",
        "arguments": {"content": "a{{b"}}})"),
        toolResult(3, "a{b", false));
    // A tool's failure is a result, never a protocol error.
    EXPECT_EQ(
        server.reply(R"({"id": 4, "method": "tools/call", "params": {"name": "delete_workflow",
        "arguments": {"id": "user"}}})"),
        toolResult(4,
            "\"Mine\" was made by the user; agents can only delete workflows they created.", true));
    EXPECT_EQ(server.reply(R"({"id": 5, "method": "tools/call", "params": {"name": "get_workflow",
        "arguments": ["user"]}})"),
        toolResult(5, "\"id\" is required.", true));

    EXPECT_EQ(server.reply(R"({"id": 6, "method": "tools/call", "params": {"arguments": {}}})"),
        error(6, -32602, "tools/call needs a tool \"name\""));
    EXPECT_EQ(server.reply(R"({"id": 7, "method": "tools/call", "params": {"name": 1}})"),
        error(7, -32602, "tools/call needs a tool \"name\""));
    EXPECT_EQ(server.reply(R"({"id": 8, "method": "tools/call", "params": {"name": "nope"}})"),
        error(8, -32602, "Unknown tool: nope"));
    EXPECT_EQ(server.reply(R"({"id": 9, "method": "tools/call"})"),
        error(9, -32602, "tools/call needs a tool \"name\""));
}

TEST(MCPServer, ABatchGetsTheRepliesThatExistInOrder)
{
    Server server;
    EXPECT_EQ(server.reply(R"([{"id": 1, "method": "ping"}, {"method": "notifications/initialized"},
        {"id": "b", "method": "nope"}])"),
        Json::Value::array(
            { result(1, Json::Value::object()), error("b", -32601, "Method not found: nope") }));
    EXPECT_EQ(server.server.handle(R"([{"method": "notifications/initialized"}, {"method": "x"}])"),
        std::nullopt);
    EXPECT_EQ(server.server.handle("[]"), std::nullopt);
    EXPECT_EQ(server.reply(R"([{"id": 1}])"),
        Json::Value::array({ error(1, -32600, "Invalid request") }));
}

TEST(MCPServer, HugeAndDeeplyNestedLinesAreAnswered)
{
    Server server;
    // Ten megabytes of text in one argument.
    std::string content(10 * 1024 * 1024, 'x');
    auto reply
        = server.reply(R"({"id": 1, "method": "tools/call", "params": {"name": "preview_snippet",
        "arguments": {"content": ")"
            + content + R"("}}})");
    EXPECT_EQ(
        reply["result"]["content"][0]["text"].get_ref<const std::string&>().size(), content.size());

    // Nesting that would take the printer's stack is refused before it is parsed.
    std::string deep = R"({"id": )" + std::string(5'000'000, '[') + std::string(5'000'000, ']')
        + R"(, "method": "ping"})";
    EXPECT_EQ(server.reply(deep), error(nullptr, -32700, "Parse error"));
    EXPECT_EQ(server.reply(std::string(3'000'000, '[')), error(nullptr, -32700, "Parse error"));
    std::string fine
        = R"({"id": )" + std::string(100, '[') + std::string(100, ']') + R"(, "method": "ping"})";
    EXPECT_EQ(server.reply(fine)["result"], Json::Value::object());
    // Brackets inside text do not count as nesting.
    std::string text = R"({"id": ")" + std::string(100'000, '[') + R"(\"", "method": "ping"})";
    EXPECT_EQ(server.reply(text)["id"], std::string(100'000, '[') + "\"");

    // A spec inside text is held to the same depth.
    auto specText
        = Json::Value(R"({"name": "x", "nodes": [{"type": "keyword"}], "variables": {"v": )"
            + std::string(100'000, '[') + std::string(100'000, ']') + "}}")
              .dump();
    EXPECT_EQ(
        server.reply(R"({"id": 2, "method": "tools/call", "params": {"name": "validate_workflow",
        "arguments": {"workflow": )"
            + specText + "}}}"),
        toolResult(2, "Pass the workflow spec as \"workflow\": {name, nodes, connections}.", true));
}

TEST(MCPServer, TheFixedInternalErrorLineIsAValidReply)
{
    EXPECT_EQ(json(std::string(MCPServer::internalErrorLine).c_str()),
        error(nullptr, -32603, "Internal error"));
}

} // namespace zeph
