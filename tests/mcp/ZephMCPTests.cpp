// The built zeph-mcp, driven with raw JSON lines as an MCP client writes them, each run against a
// temporary data folder.
#include "cli/DataFolder.h"

#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using CommandLineTesting::DataFolder;
using CommandLineTesting::json;
using CommandLineTesting::lines;
using zeph::readFile;

std::string request(int id, const std::string& method, const nlohmann::json& params)
{
    return nlohmann::json {
        { "jsonrpc", "2.0" }, { "id", id }, { "method", method }, { "params", params }
    }.dump()
        + "\n";
}

std::string toolCall(int id, const std::string& name, const nlohmann::json& arguments)
{
    return request(id, "tools/call", { { "name", name }, { "arguments", arguments } });
}

// The text of a tools/call reply, with "!" before it when the tool failed.
std::string toolText(const nlohmann::json& reply)
{
    auto& result = reply["result"];
    return (result["isError"] ? "!" : "") + result["content"][0]["text"].get<std::string>();
}

} // namespace

TEST(ZephMCP, AnswersEachMessageOnALineOfItsOwnAndExitsAtTheEndOfInput)
{
    DataFolder folder;
    auto input
        = request(1, "initialize",
              { { "protocolVersion", "2025-06-18" }, { "capabilities", nlohmann::json::object() },
                  { "clientInfo", { { "name", "test" }, { "version", "1" } } } })
        + "\n   \r\n" + R"({"jsonrpc": "2.0", "method": "notifications/initialized"})" + "\n"
        + R"({"jsonrpc": "2.0", "id": "a", "method": "ping"})" + "\r\n" + "{\n" + "42\n"
        + R"([{"jsonrpc": "2.0", "id": 2, "method": "ping"}, {"jsonrpc": "2.0", "id": 3, "method": "x"}])"
        + "\n" + request(4, "tools/list", nlohmann::json::object())
        + R"({"jsonrpc": "2.0", "id": 5, "method": "tools/call", "params": {"name": "nope"}})";
    auto run = folder.mcp(input);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    ASSERT_FALSE(run.output.empty());
    EXPECT_EQ(run.output.back(), '\n');
    auto replies = lines(run.output);
    ASSERT_EQ(replies.size(), 7u) << run.output;
    auto initialized = json(replies[0]);
    EXPECT_EQ(initialized["result"]["protocolVersion"], "2025-06-18");
    EXPECT_EQ(initialized["result"]["serverInfo"]["name"], "zeph-launcher");
    EXPECT_EQ(json(replies[1]), json(R"({"jsonrpc": "2.0", "id": "a", "result": {}})"));
    EXPECT_EQ(json(replies[2]),
        json(
            R"({"jsonrpc": "2.0", "id": null, "error": {"code": -32700, "message": "Parse error"}})"));
    EXPECT_EQ(json(replies[3]),
        json(
            R"({"jsonrpc": "2.0", "id": null, "error": {"code": -32600, "message": "Invalid request"}})"));
    EXPECT_EQ(json(replies[4]), json(R"([{"jsonrpc": "2.0", "id": 2, "result": {}},
        {"jsonrpc": "2.0", "id": 3, "error": {"code": -32601, "message": "Method not found: x"}}])"));
    EXPECT_EQ(json(replies[5])["result"]["tools"].size(), 13u);
    EXPECT_EQ(json(replies[6]),
        json(
            R"({"jsonrpc": "2.0", "id": 5, "error": {"code": -32602, "message": "Unknown tool: nope"}})"));
}

TEST(ZephMCP, OlderClientsGetTheirOwnProtocolVersion)
{
    DataFolder folder;
    std::string input;
    const char* versions[]
        = { "2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25", "1999-01-01" };
    for (int index = 0; index < 5; ++index)
        input += request(index, "initialize", { { "protocolVersion", versions[index] } });
    auto replies = lines(folder.mcp(input).output);
    ASSERT_EQ(replies.size(), 5u);
    const char* answered[]
        = { "2024-11-05", "2025-03-26", "2025-06-18", "2025-06-18", "2025-06-18" };
    for (int index = 0; index < 5; ++index) {
        auto reply = json(replies[static_cast<std::size_t>(index)]);
        EXPECT_EQ(reply["id"], index);
        EXPECT_EQ(reply["result"]["protocolVersion"], answered[index]) << versions[index];
        EXPECT_EQ(reply["result"]["capabilities"], json(R"({"tools": {"listChanged": false}})"));
    }
}

TEST(ZephMCP, ALineOfTenMegabytesIsReadWhole)
{
    DataFolder folder;
    std::string content(10 * 1024 * 1024, 'z');
    auto run = folder.mcp(toolCall(1, "preview_snippet", { { "content", content } })
        + std::string(10 * 1024 * 1024, '{') + "\n" + request(2, "ping", nlohmann::json::object()));
    auto replies = lines(run.output);
    ASSERT_EQ(replies.size(), 3u);
    EXPECT_EQ(toolText(json(replies[0])), content);
    EXPECT_EQ(json(replies[1])["error"]["code"], -32700);
    EXPECT_EQ(json(replies[2])["id"], 2);
}

TEST(ZephMCP, WhatAnAgentAddsWaitsDisabledInTheDataFolder)
{
    DataFolder folder;
    auto run = folder.mcp(
        toolCall(1, "create_workflow",
            { { "workflow", json(R"({"name": "Hello", "nodes": [{"id": "k", "type": "keyword",
                                      "keyword": "hello"}, {"id": "t", "type": "largeType"}],
                                      "connections": [{"from": "k", "to": "t"}]})") } })
        + toolCall(
            2, "create_snippet", { { "name", "Sig" }, { "keyword", "sig" }, { "content", "Ann" } })
        + toolCall(3, "delete_workflow", { { "id", "example-uuid" } })
        + toolCall(4, "test_workflow", { { "query", "x" }, { "id", "example-github" } }));
    auto replies = lines(run.output);
    ASSERT_EQ(replies.size(), 4u) << run.output << run.errors;
    EXPECT_TRUE(toolText(json(replies[0])).starts_with("Installed workflow \"Hello\" with id "));
    EXPECT_TRUE(toolText(json(replies[1])).starts_with("Added snippet \"Sig\" (id "));
    EXPECT_EQ(toolText(json(replies[2])),
        "!\"Copy a UUID\" was made by the user; agents can only delete workflows they created.");
    EXPECT_EQ(toolText(json(replies[3])),
        "Steps:\n- Keyword: Started\n- Open URL: Opened https://github.com/x\n"
        "Actions that would run:\n- Open URL https://github.com/x");

    auto workflows = lines(folder({ "workflows", "list" }).output);
    ASSERT_EQ(workflows.size(), 5u);
    EXPECT_TRUE(workflows[4].ends_with("\thello\tHello (disabled) (pending review)"))
        << workflows[4];
    auto snippets = folder({ "snippets", "list" }).output;
    EXPECT_NE(snippets.find("From AI Agents\n  ;sig\tSig (disabled) (pending review)\n"),
        std::string::npos)
        << snippets;
}

TEST(ZephMCP, AnUndecodableDocumentIsToldOnStandardErrorAndKeptAside)
{
    DataFolder folder;
    std::filesystem::create_directories(folder.path());
    std::ofstream(folder.path() / "workflows.json") << "[{";
    auto run = folder.mcp(toolCall(1, "list_workflows", nlohmann::json::object()));
    ASSERT_EQ(lines(run.output).size(), 1u);
    EXPECT_EQ(json(toolText(json(run.output)))["workflows"].size(), 4u);
    EXPECT_EQ(run.errors,
        "Zeph Launcher: workflows.json is not valid JSON. It was moved aside to "
        "workflows.json.corrupt, and the example workflows stood in for it.\n");
    EXPECT_EQ(readFile(folder.path() / "workflows.json.corrupt"), "[{");
}

TEST(ZephMCP, EightHelpersAtOnceLoseNoChange)
{
    DataFolder folder;
    constexpr std::size_t helpers = 8;
    constexpr int each = 25;
    auto statuses = CommandLineTesting::inParallel(helpers, [&](std::size_t helper) {
        std::string input;
        for (int index = 0; index < each; ++index) {
            auto name = "h" + std::to_string(helper) + "n" + std::to_string(index);
            input += toolCall(2 * index, "create_workflow",
                { { "workflow",
                    { { "name", name },
                        { "nodes",
                            { { { "id", "k" }, { "type", "keyword" }, { "keyword", name } },
                                { { "id", "t" }, { "type", "largeType" } } } },
                        { "connections", { { { "from", "k" }, { "to", "t" } } } } } } });
            input += toolCall(2 * index + 1, "create_snippet",
                { { "name", name }, { "keyword", name }, { "content", "text " + name } });
        }
        auto run = folder.mcp(input);
        auto replies = lines(run.output);
        bool isAllInstalled = replies.size() == 2 * each;
        for (auto& reply : replies)
            isAllInstalled = isAllInstalled && !json(reply)["result"]["isError"].get<bool>();
        return run.exitCode == 0 && isAllInstalled ? 0 : 1;
    });
    EXPECT_EQ(statuses, std::vector<int>(helpers, 0));

    // Both documents decode as the launcher reads them, with every change in them.
    auto workflows = folder({ "workflows", "list", "--json" });
    EXPECT_EQ(workflows.errors, "");
    std::set<std::string> names;
    for (auto& line : lines(workflows.output)) {
        auto workflow = json(line);
        if (workflow["createdByAgent"])
            names.insert(workflow["name"].get<std::string>());
    }
    EXPECT_EQ(names.size(), helpers * each);
    auto snippets = folder({ "snippets", "list", "--json" });
    EXPECT_EQ(snippets.errors, "");
    auto collections = lines(snippets.output);
    ASSERT_EQ(collections.size(), 2u);
    EXPECT_EQ(json(collections[1])["snippets"].size(), helpers * each);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "workflows.json.corrupt"));
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "snippets.json.corrupt"));
}
