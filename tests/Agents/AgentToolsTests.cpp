#include "Agents/AgentTools.h"

#include "Agents/AgentGuide.h"
#include "Agents/FileAgentStore.h"
#include "Agents/WorkflowSpec.h"
#include "Support/RecordTesting.h"
#include "Support/StubScriptRunner.h"
#include "Support/TemporaryDirectory.h"
#include "Workflows/ProcessScriptRunner.h"
#include "Workflows/WorkflowTemplate.h"

#include <fstream>

#include <gtest/gtest.h>

namespace zeph {

void PrintTo(const AgentTools::Result& result, std::ostream* stream)
{
    *stream << (result.isError ? "error: " : "") << result.text;
}

namespace {

Workflow workflowWith(std::string id, std::string keyword, bool isAgents)
{
    Workflow workflow { .id = std::move(id),
        .name = "Flow " + keyword,
        .nodes = { { .id = "k", .kind = NodeKind::Keyword { .keyword = keyword } },
            { .id = "o", .kind = NodeKind::OpenURL { .url = "https://example.com/{query}" } } },
        .createdByAgent = isAgents };
    workflow.addConnection("k", "out", "o", ConnectionModifier::none);
    return workflow;
}

Snippet snippetWith(std::string id, std::string keyword, bool isAgents)
{
    return { .id = std::move(id),
        .name = "Snippet " + keyword,
        .keyword = keyword,
        .content = "text of " + keyword,
        .isEnabled = !isAgents,
        .createdByAgent = isAgents,
        .pendingReview = isAgents };
}

// A store with a user's workflow "user" and an agent's approved workflow "agent"; the starter
// snippets and an agent collection with one of the agent's snippets, and one of the user's.
struct Fixture {
    MemoryAgentStore store { AgentDocuments {
        .workflows = { workflowWith("user", "mine", false), workflowWith("agent", "theirs", true) },
        .snippets = { SnippetCollection::starter(),
            { .id = "agent-snippets",
                .name = "From AI Agents",
                .prefix = ";",
                .snippets
                = { snippetWith("s-agent", "sig", true), snippetWith("s-user", "addr", false) } } },
    } };
    StubScriptRunner scripts;
    AgentTools tools { store, scripts };

    AgentTools::Result call(std::string_view name, const char* arguments = "{}")
    {
        return tools.call(name, json(arguments));
    }
    const Workflow* workflow(const std::string& id) const
    {
        for (auto& workflow : store.documents().workflows) {
            if (workflow.id == id)
                return &workflow;
        }
        return nullptr;
    }
    const Snippet* snippet(const std::string& id) const
    {
        for (auto& collection : store.documents().snippets) {
            for (auto& snippet : collection.snippets) {
                if (snippet.id == id)
                    return &snippet;
            }
        }
        return nullptr;
    }
};

AgentTools::Result failure(std::string text)
{
    return { std::move(text), true };
}

AgentTools::Result success(std::string text)
{
    return { std::move(text), false };
}

// The id that "with id <id>." or "(id <id>)" names in a result.
std::string idIn(const std::string& text, const std::string& before, char end)
{
    auto start = text.find(before);
    if (start == std::string::npos)
        return {};
    start += before.size();
    return text.substr(start, text.find(end, start) - start);
}

} // namespace

TEST(AgentTools, TheCatalogueHasEveryToolInOrderWithAnObjectSchema)
{
    std::vector<std::string> names;
    for (auto& tool : AgentTools::tools()) {
        names.push_back(tool.name);
        SCOPED_TRACE(tool.name);
        EXPECT_EQ(tool.inputSchema["type"], "object");
        EXPECT_TRUE(tool.inputSchema["properties"].is_object());
        EXPECT_TRUE(tool.inputSchema["required"].is_array());
        EXPECT_TRUE(AgentTools::hasTool(tool.name));
    }
    EXPECT_EQ(names,
        (std::vector<std::string> { "describe_zeph", "list_workflows", "get_workflow",
            "validate_workflow", "create_workflow", "update_workflow", "delete_workflow",
            "test_workflow", "list_snippets", "create_snippet", "update_snippet", "delete_snippet",
            "preview_snippet" }));
    EXPECT_FALSE(AgentTools::hasTool("nope"));

    auto& update = AgentTools::tools()[5];
    EXPECT_EQ(update.inputSchema["required"], json(R"(["id", "workflow"])"));
    EXPECT_EQ(update.inputSchema["properties"]["id"],
        json(
            R"({"type": "string", "description": "The id from list_workflows or list_snippets."})"));
    EXPECT_EQ(update.inputSchema["properties"]["workflow"], json(R"({"type": "object",
        "description": "A workflow spec: {name, summary?, variables?, nodes: [{id, type, …fields}], connections: [{from, to, port?, modifier?}]}. Call describe_zeph for node types and fields.",
        "properties": {"name": {"type": "string"}, "summary": {"type": "string"},
            "variables": {"type": "object", "additionalProperties": {"type": "string"}},
            "nodes": {"type": "array", "items": {"type": "object"}},
            "connections": {"type": "array", "items": {"type": "object"}}},
        "required": ["name", "nodes"]})"));
    EXPECT_EQ(AgentTools::tools()[7].inputSchema["required"], json(R"(["query"])"));
    EXPECT_EQ(AgentTools::tools()[9].inputSchema["properties"]["autoExpand"],
        json(
            R"({"type": "boolean", "description": "Expand when typed (default true). False: only inserted from the launcher."})"));
    EXPECT_EQ(AgentTools::tools()[0].inputSchema,
        json(R"({"type": "object", "properties": {}, "required": []})"));
}

TEST(AgentTools, BadCallsAreSentencesTheAgentCanActOn)
{
    Fixture fixture;
    EXPECT_EQ(fixture.call("nope"), failure("Unknown tool \"nope\"."));
    EXPECT_EQ(fixture.call("get_workflow"), failure("\"id\" is required."));
    EXPECT_EQ(fixture.call("get_workflow", R"({"id": " \t"})"), failure("\"id\" is required."));
    EXPECT_EQ(fixture.call("delete_snippet", R"({"id": 5})"), failure("\"id\" is required."));
    EXPECT_EQ(fixture.tools.call("get_workflow", json("[1]")), failure("\"id\" is required."));

    const std::string shape = "Pass the workflow spec as \"workflow\": {name, nodes, connections}.";
    for (auto* arguments : { "{}", R"({"workflow": 5})", R"({"workflow": "{name"})",
             R"({"workflow": "[1, 2]"})", R"({"workflow": [{"name": "x"}]})" }) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(fixture.call("validate_workflow", arguments), failure(shape));
        EXPECT_EQ(fixture.call("create_workflow", arguments), failure(shape));
    }
    // Text that holds a workflow spec is as good as the object.
    EXPECT_EQ(fixture.call("validate_workflow",
                  R"({"workflow": "{\"name\": \"x\", \"nodes\": [{\"type\": \"largeType\"}]}"})"),
        success("Problems:\n- Add a Keyword, Hotkey or Filter so the workflow can be started."));
    // A spec that does not parse installs nothing.
    EXPECT_EQ(fixture.call("create_workflow", R"({"workflow": {"name": " ", "nodes": []}})"),
        failure("A workflow needs a \"name\"."));
    EXPECT_EQ(fixture.store.documents().workflows.size(), 2u);
}

TEST(AgentTools, WhatAnAgentCreatesArrivesDisabledAndMarkedForReview)
{
    Fixture fixture;
    auto result = fixture.call(
        "create_workflow", R"({"workflow": {"name": "x", "nodes": [{"type": "keyword"}]}})");
    auto id = idIn(result.text, "with id ", '.');
    EXPECT_TRUE(looksLikeUUID(id)) << result.text;
    EXPECT_EQ(result,
        success("Installed workflow \"x\" with id " + id
            + ".\nIt is disabled until the user reviews and approves it in Zeph Launcher → "
              "Settings → Workflows.\nProblems to fix (use update_workflow):\n- Keyword has no "
              "keyword.\n- Keyword is not connected to anything."));
    auto* created = fixture.workflow(id);
    ASSERT_NE(created, nullptr);
    EXPECT_FALSE(created->isEnabled);
    EXPECT_TRUE(created->createdByAgent);
    EXPECT_TRUE(created->pendingReview);
    EXPECT_EQ(fixture.store.documents().workflows.back().id, id);

    // Whatever flags a workflow spec carries, the tool sets its own; clashes with others count.
    result = fixture.call("create_workflow", R"({"workflow": {"name": "y", "enabled": true,
        "pendingReview": false, "nodes": [{"id": "k", "type": "keyword", "keyword": "mine"},
        {"id": "t", "type": "largeType"}], "connections": [{"from": "k", "to": "t"}]}})");
    EXPECT_NE(result.text.find("\nProblems to fix (use update_workflow):\n- Keyword 'mine' is also "
                               "used by 'Flow mine'."),
        std::string::npos)
        << result.text;
    EXPECT_FALSE(fixture.workflow(idIn(result.text, "with id ", '.'))->isEnabled);

    result = fixture.call("create_workflow", R"({"workflow": {"name": "z", "nodes": [
        {"id": "k", "type": "keyword", "keyword": "zz"}, {"id": "t", "type": "largeType"}],
        "connections": [{"from": "k", "to": "t"}]}})");
    EXPECT_EQ(result.text.find("Problems"), std::string::npos) << result.text;
}

TEST(AgentTools, AnAgentChangesOnlyWhatItCreatedAndEachChangeGoesBackToReview)
{
    Fixture fixture;
    const char* spec
        = R"({"name": "Renamed", "nodes": [{"id": "k", "type": "keyword", "keyword": "new"},
        {"id": "c", "type": "copyToClipboard"}], "connections": [{"from": "k", "to": "c"}]})";
    auto withID = [&](const char* id) {
        return std::string(R"({"id": ")") + id + R"(", "workflow": )" + spec + "}";
    };

    // The agent's workflow was approved; an update disables it again.
    ASSERT_TRUE(fixture.workflow("agent")->isEnabled);
    EXPECT_EQ(fixture.call("update_workflow", withID("agent").c_str()),
        success("Updated workflow \"Renamed\".\nIt is disabled until the user reviews and approves "
                "it in Zeph Launcher → Settings → Workflows."));
    auto* updated = fixture.workflow("agent");
    EXPECT_EQ(updated->name, "Renamed");
    EXPECT_FALSE(updated->isEnabled);
    EXPECT_TRUE(updated->pendingReview);
    EXPECT_TRUE(updated->createdByAgent);
    // Replaced in place.
    EXPECT_EQ(fixture.store.documents().workflows[1].id, "agent");

    auto before = fixture.store.documents();
    EXPECT_EQ(fixture.call("update_workflow", withID("user").c_str()),
        failure("\"Flow mine\" was made by the user; agents can only change workflows they "
                "created. Create a new one instead."));
    EXPECT_EQ(fixture.call("update_workflow", withID("gone").c_str()),
        failure("No workflow with id \"gone\"."));
    EXPECT_EQ(fixture.call("delete_workflow", R"({"id": "user"})"),
        failure(
            "\"Flow mine\" was made by the user; agents can only delete workflows they created."));
    EXPECT_EQ(fixture.call("delete_workflow", R"({"id": "gone"})"),
        failure("No workflow with id \"gone\"."));
    EXPECT_EQ(fixture.store.documents(), before);

    EXPECT_EQ(fixture.call("delete_workflow", R"({"id": "agent"})"),
        success("Deleted workflow \"Renamed\"."));
    EXPECT_EQ(fixture.workflow("agent"), nullptr);
    EXPECT_NE(fixture.workflow("user"), nullptr);
}

TEST(AgentTools, ReadsWorkflowsAsAListAndAsSpecs)
{
    Fixture fixture;
    auto list = json(fixture.call("list_workflows").text.c_str());
    EXPECT_EQ(list, json(R"({"workflows": [
        {"id": "user", "name": "Flow mine", "summary": "", "keywords": ["mine"], "enabled": true,
         "pendingReview": false, "createdByAgent": false},
        {"id": "agent", "name": "Flow theirs", "summary": "", "keywords": ["theirs"],
         "enabled": true, "pendingReview": false, "createdByAgent": true}]})"));
    // Pretty-printed, keys sorted.
    EXPECT_TRUE(fixture.call("list_workflows")
                    .text.starts_with("{\n  \"workflows\": [\n    {\n      \"createdByAgent\""));

    auto got = fixture.call("get_workflow", R"({"id": "user"})");
    EXPECT_FALSE(got.isError);
    EXPECT_EQ(json(got.text.c_str()), WorkflowSpec::toSpec(*fixture.workflow("user")));
    EXPECT_EQ(fixture.call("get_workflow", R"({"id": "nothing"})"),
        failure("No workflow with id \"nothing\". Use list_workflows."));

    // What it reads back is the same workflow under a new id, so its keyword clashes with itself.
    EXPECT_EQ(fixture.call("validate_workflow", (R"({"workflow": )" + got.text + "}").c_str()),
        success("Problems:\n- Keyword 'mine' is also used by 'Flow mine'."));
}

TEST(AgentTools, TestWorkflowReportsStepsAndActionsAndPerformsNone)
{
    Fixture fixture;
    EXPECT_EQ(fixture.call("test_workflow", R"({"id": "user", "query": "a b"})"),
        success("Steps:\n- Keyword: Started\n- Open URL: Opened https://example.com/a%20b\n"
                "Actions that would run:\n- Open URL https://example.com/a%20b"));
    EXPECT_TRUE(fixture.scripts.calls().empty());

    // A spec runs as it is, from the node asked for; the hot key reads the stand-in selection.
    EXPECT_EQ(fixture.call("test_workflow", R"({"query": 5, "node": "h", "workflow": {"name": "x",
        "nodes": [{"id": "k", "type": "keyword"}, {"id": "h", "type": "hotkey", "input": "selectedText"},
        {"id": "p", "type": "copyToClipboard", "paste": true}, {"id": "r", "type": "revealInFinder"},
        {"id": "f", "type": "openFile", "path": "/tmp/{query}", "app": "code"},
        {"id": "n", "type": "notification", "title": "T"}, {"id": "l", "type": "largeType"}],
        "connections": [{"from": "h", "to": "p"}, {"from": "h", "to": "r"}, {"from": "h", "to": "f"},
        {"from": "h", "to": "n"}, {"from": "h", "to": "l"}]}})"),
        success("Steps:\n- Hotkey: Started\n- Copy to Clipboard: Pasted\n- Reveal in File Manager: "
                "Revealed ‹selected text›\n- Open File: Opened /tmp/‹selected text›\n- Post "
                "Notification: Notified\n- Large Type: Shown in Large Type\nActions that would "
                "run:\n- Paste \"‹selected text›\"\n- Reveal ‹selected text› in the file manager\n"
                "- Open /tmp/‹selected text› with code\n- Notification \"T\": ‹selected text›\n"
                "- Large Type \"‹selected text›\""));

    EXPECT_EQ(fixture.call("test_workflow", R"({"query": "x", "workflow": {"name": "x",
        "nodes": [{"type": "largeType"}]}})"),
        failure("The workflow has no input node to start from."));
    EXPECT_EQ(fixture.call("test_workflow", R"({"id": "user", "node": "z"})"),
        failure("No node \"z\" in the workflow."));
    EXPECT_EQ(fixture.call("test_workflow", R"({"id": "gone"})"),
        failure("No workflow with id \"gone\"."));
    EXPECT_EQ(fixture.call("test_workflow", R"({"id": "", "query": "q"})"),
        failure("Pass the workflow spec as \"workflow\": {name, nodes, connections}."));
    EXPECT_EQ(fixture.call("test_workflow", R"({"query": "q", "workflow": {"name": "x",
        "nodes": [{"type": "keyword"}, {"type": "largeType"}],
        "connections": [{"from": "node1", "to": "node2"}]}})"),
        success("Steps:\n- Keyword: Started\n- Large Type: Shown in Large Type\n"
                "Actions that would run:\n- Large Type \"q\""));
    EXPECT_EQ(fixture.call("test_workflow", R"({"query": "q", "workflow": {"name": "x",
        "nodes": [{"type": "keyword"}]}})"),
        success("Steps:\n- Keyword: Started\nNo actions."));
}

TEST(AgentTools, TestWorkflowShowsWhatAScriptFilterReturnedAndGoesOnWithItsFirstActionableItem)
{
    Fixture fixture;
    fixture.scripts.answer = [](const StubScriptRunner::Call& call) {
        if (call.query == "fail")
            return ScriptResult { .stderr = "boom\n", .exitCode = 2 };
        if (call.query == "slow")
            return ScriptResult { .stdout = R"({"items": []})", .exitCode = 15, .timedOut = true };
        return ScriptResult { .stdout = R"({"variables": {"a": "1", "b": "1"}, "items": [
            {"title": "No arg", "subtitle": "s"},
            {"title": "Invalid", "arg": "i", "valid": false},
            {"title": "Pick", "subtitle": "me", "arg": "picked", "variables": {"b": "2"}},
            {"title": "Later", "arg": "later"}]})",
            .stderr = "warning\n" };
    };
    auto spec = [](const char* query) {
        return std::string(R"({"query": ")") + query + R"(", "workflow": {"name": "f",
            "variables": {"w": "0", "a": "0"},
            "nodes": [{"id": "f", "type": "scriptFilter", "language": "py", "script": "S"},
            {"id": "v", "type": "largeType", "text": "{query} {var:w}{var:a}{var:b}"}],
            "connections": [{"from": "f", "to": "v"}]}})";
    };
    EXPECT_EQ(fixture.call("test_workflow", spec("q").c_str()),
        success(
            "Script filter exit code 0.\nstderr:\nwarning\nItems (4):\n- No arg | s | arg: ∅ | "
            "not actionable\n- Invalid |  | arg: i | not actionable\n- Pick | me | arg: picked\n"
            "- Later |  | arg: later\nContinuing as if the first actionable item was chosen (arg "
            "\"picked\").\nSteps:\n- Script Filter: Started\n- Large Type: Shown in Large Type\n"
            "Actions that would run:\n- Large Type \"picked 012\""));
    ASSERT_EQ(fixture.scripts.calls().size(), 1u);
    auto call = fixture.scripts.calls()[0];
    EXPECT_EQ(call.language, ScriptLanguage::python3);
    EXPECT_EQ(call.script, "S");
    EXPECT_EQ(call.query, "q");
    EXPECT_EQ(call.variables, (Variables { { "a", "0" }, { "w", "0" } }));
    EXPECT_EQ(call.timeout, AgentTools::testTimeout);

    EXPECT_EQ(fixture.call("test_workflow", spec("fail").c_str()),
        success("Script filter exit code 2.\nstderr:\nboom\nItems (1):\n- Script filter failed | "
                "boom | arg: ∅ | not actionable\nNo actionable item, so nothing runs after the "
                "filter."));
    EXPECT_EQ(fixture.call("test_workflow", spec("slow").c_str()),
        success("Script filter exit code 15 (timed out).\nItems (0):\nNo actionable item, so "
                "nothing runs after the filter."));

    const char* list = R"({"query": "ignored", "workflow": {"name": "l",
        "nodes": [{"id": "l", "type": "listFilter", "items": [{"title": "First", "arg": "one"},
        {"title": "Second"}]}, {"id": "v", "type": "largeType"}],
        "connections": [{"from": "l", "to": "v"}]}})";
    EXPECT_EQ(fixture.call("test_workflow", list),
        success("Continuing as if \"First\" was chosen.\nSteps:\n- List Filter: Started\n- Large "
                "Type: Shown in Large Type\nActions that would run:\n- Large Type \"one\""));
    EXPECT_EQ(fixture.call("test_workflow", R"({"workflow": {"name": "l",
        "nodes": [{"type": "listFilter"}]}})"),
        success("The list filter has no items."));
}

TEST(AgentTools, TestWorkflowRunsScriptsForRealInTheWorkflowsFolder)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder.path());
    ProcessScriptRunner scripts;
    AgentTools tools(store, scripts);
    auto created = tools.call("create_workflow", json(R"({"workflow": {"name": "Touch",
        "nodes": [{"id": "k", "type": "keyword", "keyword": "touch"},
        {"id": "s", "type": "runScript", "language": "bash", "script": "touch ran; pwd"},
        {"id": "o", "type": "openURL", "url": "https://example.com/{query}"}],
        "connections": [{"from": "k", "to": "s"}, {"from": "s", "to": "o"}]}})"));
    auto id = idIn(created.text, "with id ", '.');
    auto result = tools.call("test_workflow", { { "id", id }, { "query", "q" } });
    auto own = folder / "Workflows" / id;
    EXPECT_EQ(result,
        success("Steps:\n- Keyword: Started\n- Run Script: Script output "
            + std::to_string(own.string().size())
            + " characters\n- Open URL: Opened "
              "https://example.com/"
            + own.string()
            + "\nActions that would run:\n- Open URL "
              "https://example.com/"
            + own.string()));
    EXPECT_TRUE(std::filesystem::exists(own / "ran"));

    // A spec's run gets a folder for the run only.
    result = tools.call("test_workflow", json(R"({"query": "q", "workflow": {"name": "Spec",
        "nodes": [{"id": "k", "type": "keyword"}, {"id": "s", "type": "runScript", "language": "bash",
        "script": "pwd"}], "connections": [{"from": "k", "to": "s"}]}})"));
    EXPECT_FALSE(result.isError) << result.text;
    std::size_t folders = 0;
    for (auto& entry : std::filesystem::directory_iterator(folder / "Workflows"))
        folders += entry.is_directory();
    EXPECT_EQ(folders, 1u);
}

TEST(AgentTools, SnippetsGoIntoTheAgentsCollectionDisabledAndMarkedForReview)
{
    MemoryAgentStore store({ .snippets = { SnippetCollection::starter() } });
    StubScriptRunner scripts;
    AgentTools tools(store, scripts);
    auto result = tools.call("create_snippet",
        json(
            R"({"name": " Today ", "keyword": "date", "content": "{date}", "autoExpand": false})"));
    auto id = idIn(result.text, "(id ", ')');
    EXPECT_TRUE(looksLikeUUID(id)) << result.text;
    EXPECT_EQ(result,
        success("Added snippet \"Today\" (id " + id
            + "); type ;date to expand it once approved.\nIt is disabled until the user reviews "
              "and approves it in Zeph Launcher → Settings → Snippets.\nNote: ;date is already "
              "used by \"Today's date\"; consider another keyword."));
    auto& collections = store.documents().snippets;
    ASSERT_EQ(collections.size(), 2u);
    auto& own = collections[1];
    EXPECT_EQ(own.id, "agent-snippets");
    EXPECT_EQ(own.name, "From AI Agents");
    EXPECT_EQ(own.prefix, ";");
    EXPECT_EQ(own.suffix, "");
    ASSERT_EQ(own.snippets.size(), 1u);
    EXPECT_EQ(own.snippets[0],
        (Snippet { .id = id,
            .name = "Today",
            .keyword = "date",
            .content = "{date}",
            .isEnabled = false,
            .autoExpands = false,
            .createdByAgent = true,
            .pendingReview = true }));

    // A disabled snippet with the same text is no clash; the collection is made only once.
    EXPECT_FALSE(
        tools.call("create_snippet", json(R"({"name": "A", "keyword": "new", "content": "x"})"))
            .isError);
    result
        = tools.call("create_snippet", json(R"({"name": "B", "keyword": "new", "content": "y"})"));
    EXPECT_EQ(result.text.find("Note:"), std::string::npos) << result.text;
    EXPECT_EQ(store.documents().snippets.size(), 2u);
    EXPECT_TRUE(store.documents().snippets[1].snippets[1].autoExpands);

    const std::pair<const char*, const char*> cases[] = {
        { R"({"keyword": "k", "content": "c"})", "\"name\" is required." },
        { R"({"name": "n", "keyword": "  ", "content": "c"})", "\"keyword\" is required." },
        { R"({"name": "n", "keyword": "two words", "content": "c"})",
            "A keyword can't contain spaces." },
        { R"({"name": "n", "keyword": "tab\tbed", "content": "c"})",
            "A keyword can't contain spaces." },
        { R"({"name": "n", "keyword": "k"})", "\"content\" is required." },
        { R"({"name": "n", "keyword": "k", "content": ""})", "\"content\" is required." },
        { R"({"name": "n", "keyword": "k", "content": 5})", "\"content\" is required." },
    };
    for (auto& [arguments, message] : cases) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(tools.call("create_snippet", json(arguments)), failure(message));
    }
    EXPECT_EQ(store.documents().snippets[1].snippets.size(), 3u);
}

TEST(AgentTools, AnAgentChangesOnlyItsOwnSnippets)
{
    Fixture fixture;
    EXPECT_EQ(fixture.call("update_snippet", R"({"id": "s-agent", "content": "new {cursor}"})"),
        success(
            "Updated snippet \"Snippet sig\". It is disabled until the user approves the change."));
    auto* changed = fixture.snippet("s-agent");
    EXPECT_EQ(changed->content, "new {cursor}");
    EXPECT_EQ(changed->keyword, "sig");
    EXPECT_TRUE(changed->autoExpands);

    // Approved since; a change sends it back to review.
    ASSERT_EQ(fixture.store.mutate([](AgentDocuments& documents) -> std::optional<Error> {
        auto& snippet = documents.snippets[1].snippets[0];
        snippet.isEnabled = true;
        snippet.pendingReview = false;
        return std::nullopt;
    }),
        std::nullopt);
    EXPECT_FALSE(
        fixture
            .call("update_snippet",
                R"({"id": "s-agent", "name": "Signature", "keyword": " sg ", "autoExpand": false})")
            .isError);
    changed = fixture.snippet("s-agent");
    EXPECT_EQ(changed->name, "Signature");
    EXPECT_EQ(changed->keyword, "sg");
    EXPECT_FALSE(changed->autoExpands);
    EXPECT_FALSE(changed->isEnabled);
    EXPECT_TRUE(changed->pendingReview);

    auto before = fixture.store.documents();
    EXPECT_EQ(fixture.call("update_snippet", R"({"id": "s-agent", "keyword": ""})"),
        failure("A keyword can't be empty or contain spaces."));
    EXPECT_EQ(fixture.call("update_snippet", R"({"id": "s-agent", "keyword": "a b"})"),
        failure("A keyword can't be empty or contain spaces."));
    EXPECT_EQ(fixture.call("update_snippet", R"({"id": "s-user", "content": "x"})"),
        failure("\"Snippet addr\" was made by the user; agents can only change snippets they "
                "created."));
    EXPECT_EQ(fixture.call("update_snippet", R"({"id": "starter-date", "content": "x"})"),
        failure("\"Today's date\" was made by the user; agents can only change snippets they "
                "created."));
    EXPECT_EQ(fixture.call("update_snippet", R"({"id": "none"})"),
        failure("No snippet with id \"none\". Use list_snippets."));
    EXPECT_EQ(fixture.call("delete_snippet", R"({"id": "s-user"})"),
        failure("\"Snippet addr\" was made by the user; agents can only delete snippets they "
                "created."));
    EXPECT_EQ(fixture.call("delete_snippet", R"({"id": "none"})"),
        failure("No snippet with id \"none\". Use list_snippets."));
    EXPECT_EQ(fixture.store.documents(), before);

    EXPECT_EQ(fixture.call("delete_snippet", R"({"id": "s-agent"})"),
        success("Deleted snippet \"Signature\"."));
    EXPECT_EQ(fixture.snippet("s-agent"), nullptr);
    EXPECT_NE(fixture.snippet("s-user"), nullptr);
}

TEST(AgentTools, ListSnippetsShowsWhatToTypeForEach)
{
    Fixture fixture;
    auto list = json(fixture.call("list_snippets").text.c_str());
    ASSERT_EQ(list["collections"].size(), 2u);
    EXPECT_EQ(list["collections"][0]["snippets"][0], json(R"({"id": "starter-date",
        "name": "Today's date", "keyword": "date", "type": ";date", "content": "{date:d MMMM yyyy}",
        "enabled": true, "autoExpand": true, "pendingReview": false, "createdByAgent": false})"));
    auto own = list["collections"][1];
    own.erase("snippets");
    EXPECT_EQ(own,
        json(
            R"({"id": "agent-snippets", "name": "From AI Agents", "prefix": ";", "enabled": true})"));
    EXPECT_EQ(list["collections"][1]["snippets"][0]["type"], ";sig");
}

TEST(AgentTools, PreviewRendersThePlaceholdersAndSaysWhatIsLeftToTheUser)
{
    Fixture fixture;
    EXPECT_EQ(fixture.call("preview_snippet",
                  R"({"content": "Hi {fill:Name=you} {fill:Day}, {clipboard}{cursor}."})"),
        success("Hi you , ‹clipboard›.\n\n(cursor ends 1 character before the end)\n(asks the user "
                "for: Name, Day)"));
    EXPECT_EQ(fixture.call("preview_snippet", R"({"content": "{fill:Name}: {clipboard}{cursor}!!",
        "fills": {"Name": "Ann", "Other": 3}, "clipboard": "copied"})"),
        success("Ann: copied!!\n\n(cursor ends 2 characters before the end)"));
    EXPECT_EQ(fixture.call("preview_snippet", R"({"content": "{fill:n}", "fills": {"n": 4.5}})"),
        success("4.5"));
    EXPECT_EQ(fixture.call("preview_snippet", R"({"content": "{{plain}}"})"), success("{plain}"));
    EXPECT_EQ(fixture.call("preview_snippet", R"({"content": "{fill:A}"})"),
        success("\n\n(asks the user for: A)"));
    EXPECT_EQ(fixture.call("preview_snippet", "{}"), failure("\"content\" is required."));
}

TEST(AgentTools, TheGuideDescribesEveryNodeAndTheLinuxDesktop)
{
    Fixture fixture;
    auto guide = fixture.call("describe_zeph");
    EXPECT_FALSE(guide.isError);
    auto& text = guide.text;
    EXPECT_TRUE(text.starts_with("# Zeph Launcher\n"));
    auto rules
        = text.find("\n\n## Review rules\n- Everything you create or change is installed DISABLED");
    auto inputs
        = text.find("\n\nInput nodes:\n- keyword — fields: keyword, title, subtitle, argument "
                    "(required|optional|none)\n  Starts the workflow when you type the "
                    "keyword in the launcher. Text typed after the keyword becomes {query}.\n"
                    "- hotkey — fields: ");
    auto actions = text.find("\n\nAction nodes:\n- openURL — fields: url\n");
    auto utilities = text.find("\n\nUtility nodes:\n- setVariable — fields: name, value\n");
    auto scripts = text.find("\n\n## Scripts\n");
    ASSERT_NE(rules, std::string::npos);
    EXPECT_LT(rules, text.find("  In openURL, {query} is URL-encoded (slashes kept).\n"));
    EXPECT_LT(text.find("  In openURL, {query} is URL-encoded (slashes kept).\n"), inputs);
    EXPECT_LT(inputs, actions);
    EXPECT_LT(actions, utilities);
    EXPECT_LT(utilities, scripts);
    EXPECT_NE(scripts, std::string::npos);
    for (auto* line : { "- revealInFinder — fields: path\n  Reveals a file in the file manager.\n",
             "- openFile — fields: path, app (desktop file id, optional)\n",
             "- notification — fields: title, body\n  Posts a desktop notification.\n",
             "- condition — fields: value, operator (equals|notEquals|contains|startsWith|endsWith|"
             "matchesRegex|isEmpty|isNotEmpty), compareTo\n  Branches: connect from port \"true\" "
             "or "
             "\"false\".\n",
             "perl. appleScript and javaScript run only on macOS.\n",
             "anywhere on the computer and replaced with the content.",
             "(python3's json.dumps is easiest).\n", "  {{ and }} insert literal braces.\n" }) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
    for (auto* word : { "in Finder", "on the Mac", "JXA's", "Library/Application Support" })
        EXPECT_EQ(text.find(word), std::string::npos) << word;

    auto home = agentGuide("/home/ann/.local/share/Zeph Launcher/Workflows", "/home/ann");
    EXPECT_NE(home.find("- Scripts run in the workflow's own folder: ~/.local/share/Zeph "
                        "Launcher/Workflows/<id>/.\n"),
        std::string::npos);
    auto elsewhere = agentGuide("/home/anna/data/Workflows", "/home/ann");
    EXPECT_NE(elsewhere.find("own folder: /home/anna/data/Workflows/<id>/.\n"), std::string::npos);
}

} // namespace zeph
