#include "Agents/WorkflowSpec.h"

#include "Support/RecordTesting.h"
#include "Workflows/WorkflowTemplate.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

// A workflow spec whose one node is `node`, behind a keyword that leads to it when it is no input.
Json::Value withNode(const char* node)
{
    auto spec = json(R"({"name": "Test", "nodes": [{"id": "start", "type": "keyword"}]})");
    spec["nodes"].push_back(json(node));
    return spec;
}

std::string problem(const Json::Value& spec)
{
    auto workflow = WorkflowSpec::parse(spec);
    return workflow ? "parsed" : workflow.error().message;
}

NodeKind secondKind(const char* node)
{
    auto workflow = WorkflowSpec::parse(withNode(node));
    EXPECT_TRUE(workflow) << (workflow ? "" : workflow.error().message);
    return workflow ? workflow->nodes.at(1).kind : NodeKind {};
}

const std::string types = "Types: keyword, hotkey, scriptFilter, listFilter, openURL, openFile, "
                          "revealInFinder, runScript, copyToClipboard, notification, largeType, "
                          "setVariable, replaceQuery, condition.";

} // namespace

TEST(WorkflowSpec, NeedsANameAndNodes)
{
    const std::pair<const char*, const char*> cases[] = {
        { R"({"nodes": [{"type": "keyword"}]})", "A workflow needs a \"name\"." },
        { R"({"name": "  \n", "nodes": [{"type": "keyword"}]})", "A workflow needs a \"name\"." },
        { R"({"name": 7, "nodes": [{"type": "keyword"}]})", "A workflow needs a \"name\"." },
        { R"([{"name": "x"}])", "A workflow needs a \"name\"." },
        { R"({"name": "x"})", "A workflow needs a non-empty \"nodes\" array." },
        { R"({"name": "x", "nodes": []})", "A workflow needs a non-empty \"nodes\" array." },
        { R"({"name": "x", "nodes": {"type": "keyword"}})",
            "A workflow needs a non-empty \"nodes\" array." },
        { R"({"name": "x", "nodes": [{"type": "keyword"}, "largeType"]})",
            "A workflow needs a non-empty \"nodes\" array." },
    };
    for (auto& [spec, message] : cases) {
        SCOPED_TRACE(spec);
        EXPECT_EQ(problem(json(spec)), message);
    }
}

TEST(WorkflowSpec, EachNodeProblemIsOneSentenceNamingTheNode)
{
    const std::pair<const char*, std::string> cases[] = {
        { R"({"id": "x"})", "Node 2 needs a \"type\". " + types },
        { R"({"type": ["keyword"]})", "Node 2 needs a \"type\". " + types },
        { R"({"type": "openurl2"})", "Node 2: unknown type \"openurl2\". " + types },
        { R"({"type": "keyword", "argument": "maybe"})",
            "Node 2: argument must be required, optional or none." },
        { R"({"type": "hotkey", "input": "selection"})",
            "Node 2: input must be none, selectedText or clipboard." },
        { R"({"type": "scriptFilter", "keyword": "x"})",
            "Node 2 (scriptFilter) needs a \"script\"." },
        { R"({"type": "runScript", "script": "  "})", "Node 2 (runScript) needs a \"script\"." },
        { R"({"type": "runScript", "script": "echo", "language": "cobol"})",
            "Node 2: unknown language \"cobol\". Use one of: zsh, bash, python3, appleScript, "
            "javaScript, ruby, perl." },
        { R"({"type": "openURL"})", "Node 2 (openURL) needs a \"url\"." },
        { R"({"type": "setVariable", "value": "v"})", "Node 2 (setVariable) needs a \"name\"." },
        { R"({"type": "condition", "op": "Equals"})",
            "Node 2: unknown operator \"Equals\". Use one of: equals, notEquals, contains, "
            "startsWith, endsWith, matchesRegex, isEmpty, isNotEmpty." },
        { R"({"type": "hotkey", "shortcut": "k"})",
            "Node 2: can't read shortcut \"k\". Write it like \"cmd+shift+k\" or "
            "\"ctrl+opt+space\"; it needs a modifier unless it's an F-key." },
        { R"({"type": "hotkey", "shortcut": "hyper+k"})",
            "Node 2: can't read shortcut \"hyper+k\". Write it like \"cmd+shift+k\" or "
            "\"ctrl+opt+space\"; it needs a modifier unless it's an F-key." },
    };
    for (auto& [node, message] : cases) {
        SCOPED_TRACE(node);
        EXPECT_EQ(problem(withNode(node)), message);
    }
    // The first problem is the one told, here that of the language before the missing script.
    EXPECT_EQ(problem(withNode(R"({"type": "runScript", "language": "cobol"})")),
        "Node 2: unknown language \"cobol\". Use one of: zsh, bash, python3, appleScript, "
        "javaScript, ruby, perl.");
}

TEST(WorkflowSpec, LeftOutFieldsTakeTheirDefaults)
{
    using namespace NodeKinds;
    EXPECT_EQ(secondKind(R"({"type": "openFile"})"), NodeKind(OpenFile { .path = "{query}" }));
    EXPECT_EQ(secondKind(R"({"type": "revealInFinder"})"),
        NodeKind(RevealInFinder { .path = "{query}" }));
    EXPECT_EQ(secondKind(R"({"type": "copyToClipboard"})"),
        NodeKind(CopyToClipboard { .text = "{query}" }));
    EXPECT_EQ(secondKind(R"({"type": "notification"})"),
        NodeKind(Notification { .title = "Zeph Launcher", .body = "{query}" }));
    EXPECT_EQ(secondKind(R"({"type": "largeType"})"), NodeKind(LargeType { .text = "{query}" }));
    EXPECT_EQ(secondKind(R"({"type": "setVariable", "name": "n"})"),
        NodeKind(SetVariable { .name = "n", .value = "{query}" }));
    EXPECT_EQ(
        secondKind(R"({"type": "replaceQuery"})"), NodeKind(ReplaceQuery { .value = "{query}" }));
    EXPECT_EQ(secondKind(R"({"type": "condition"})"),
        NodeKind(Condition { .value = "{query}", .op = ConditionOperator::isNotEmpty }));
    EXPECT_EQ(secondKind(R"({"type": "runScript", "script": "echo"})"),
        NodeKind(RunScript { .language = ScriptLanguage::zsh, .script = "echo" }));
    EXPECT_EQ(secondKind(R"({"type": "hotkey"})"), NodeKind(Hotkey {}));
    EXPECT_EQ(secondKind(R"({"type": "hotkey", "shortcut": ""})"), NodeKind(Hotkey {}));
    EXPECT_EQ(secondKind(R"({"type": "listFilter"})"), NodeKind(ListFilter {}));
}

TEST(WorkflowSpec, ReadsFieldsAsLenientlyAsAgentsWriteThem)
{
    using namespace NodeKinds;
    // Numbers are text, texts are booleans, and names of languages and arguments take any case.
    EXPECT_EQ(secondKind(R"json({"type": "scriptFilter", "keyword": 42, "title": null,
        "language": "Python", "script": "print(1)", "argument": "REQUIRED"})json"),
        NodeKind(ScriptFilter { .keyword = "42",
            .language = ScriptLanguage::python3,
            .script = "print(1)",
            .argument = ArgumentRequirement::required }));
    EXPECT_EQ(secondKind(R"({"type": "copyToClipboard", "text": 1.5, "paste": "Yes"})"),
        NodeKind(CopyToClipboard { .text = "1.5", .paste = true }));
    for (auto* paste : { R"("1")", "true", R"("TRUE")" })
        EXPECT_EQ(
            secondKind(
                (R"({"type": "copyToClipboard", "paste": )" + std::string(paste) + "}").c_str()),
            NodeKind(CopyToClipboard { .text = "{query}", .paste = true }))
            << paste;
    for (auto* paste : { "1", R"("no")", "null", R"("on")" })
        EXPECT_EQ(
            secondKind(
                (R"({"type": "copyToClipboard", "paste": )" + std::string(paste) + "}").c_str()),
            NodeKind(CopyToClipboard { .text = "{query}" }))
            << paste;

    const std::pair<const char*, ScriptLanguage> languages[] = { { "sh", ScriptLanguage::zsh },
        { "Shell", ScriptLanguage::zsh }, { "bash", ScriptLanguage::bash },
        { "py", ScriptLanguage::python3 }, { "osascript", ScriptLanguage::appleScript },
        { "AppleScript", ScriptLanguage::appleScript }, { "JXA", ScriptLanguage::javaScript },
        { "js", ScriptLanguage::javaScript }, { "rb", ScriptLanguage::ruby },
        { "pl", ScriptLanguage::perl } };
    for (auto& [name, language] : languages) {
        auto node
            = R"({"type": "runScript", "script": "x", "language": ")" + std::string(name) + R"("})";
        EXPECT_EQ(
            secondKind(node.c_str()), NodeKind(RunScript { .language = language, .script = "x" }))
            << name;
    }

    // The document's own key wins over the short one; the short one is what is written.
    EXPECT_EQ(secondKind(R"({"type": "openFile", "path": "~/x", "app": "code",
        "appBundleID": "org.gnome.gedit"})"),
        NodeKind(OpenFile { .path = "~/x", .appBundleID = "org.gnome.gedit" }));
    EXPECT_EQ(secondKind(R"({"type": "openFile", "app": "code"})"),
        NodeKind(OpenFile { .path = "{query}", .appBundleID = "code" }));
    EXPECT_EQ(secondKind(R"({"type": "condition", "operator": "contains", "compareTo": "x"})"),
        NodeKind(
            Condition { .value = "{query}", .op = ConditionOperator::contains, .compareTo = "x" }));
    EXPECT_EQ(secondKind(R"({"type": "condition", "op": "isEmpty", "operator": "contains"})"),
        NodeKind(Condition { .value = "{query}", .op = ConditionOperator::isEmpty }));
    EXPECT_EQ(
        secondKind(R"({"type": "hotkey", "shortcut": "Cmd + Shift + K", "input": "SelectedText"})"),
        NodeKind(Hotkey {
            .combo = KeyCombo::parse("cmd+shift+k"), .input = HotkeyInput::selectedText }));
    EXPECT_EQ(secondKind(R"({"type": "hotkey", "shortcut": "f5"})"),
        NodeKind(Hotkey { .combo = KeyCombo::parse("f5") }));

    // An item's argument is "argument", else "arg", else its title; each item gets an id.
    auto list = secondKind(R"({"type": "listFilter", "keyword": "l", "items": [
        {"title": "A", "subtitle": "a", "argument": "1", "arg": "2"}, {"title": "B", "arg": 3},
        {"title": "C"}, "not an item"]})");
    auto* items = list.get<NodeKind::ListFilter>();
    ASSERT_NE(items, nullptr);
    ASSERT_EQ(items->items.size(), 3u);
    EXPECT_EQ(items->items[0].argument, "1");
    EXPECT_EQ(items->items[0].subtitle, "a");
    EXPECT_EQ(items->items[1].argument, "3");
    EXPECT_EQ(items->items[2].argument, "C");
    EXPECT_TRUE(looksLikeUUID(items->items[2].id));
    EXPECT_NE(items->items[1].id, items->items[2].id);
}

TEST(WorkflowSpec, TheWorkflowTakesTheGivenIDOrANewOneAndNoReviewFlags)
{
    auto spec = json(R"({"name": "  Time Zones ", "summary": "Now", "enabled": false,
        "createdByAgent": true, "pendingReview": true, "id": "ignored", "unknown": 1,
        "variables": {"format": "HH:mm", "count": 3, "on": true, "list": [1, "a"], "none": null},
        "nodes": [{"id": "in", "type": "keyword", "keyword": "tz", "label": "Start here"}]})");
    auto workflow = WorkflowSpec::parse(spec, "given");
    ASSERT_TRUE(workflow);
    EXPECT_EQ(workflow->id, "given");
    EXPECT_EQ(workflow->name, "Time Zones");
    EXPECT_EQ(workflow->summary, "Now");
    EXPECT_TRUE(workflow->isEnabled);
    EXPECT_FALSE(workflow->createdByAgent);
    EXPECT_FALSE(workflow->pendingReview);
    EXPECT_EQ(workflow->variables,
        (Variables { { "count", "3" }, { "format", "HH:mm" }, { "list", "[1,\"a\"]" },
            { "none", "null" }, { "on", "true" } }));
    EXPECT_EQ(workflow->nodes[0].note, "Start here");
    EXPECT_TRUE(workflow->connections.empty());

    auto fresh = WorkflowSpec::parse(spec);
    ASSERT_TRUE(fresh);
    EXPECT_TRUE(looksLikeUUID(fresh->id));
}

TEST(WorkflowSpec, BadNodeIDsAreMendedAndConnectionsUseTheGivenOnes)
{
    auto spec = json(R"({"name": "x", "nodes": [
        {"id": "a", "type": "keyword", "keyword": "k"},
        {"id": "a", "type": "largeType"},
        {"id": "with space", "type": "largeType"},
        {"type": "largeType"},
        {"id": "node6", "type": "largeType"},
        {"type": "largeType"},
        {"id": "ok-_9", "type": "largeType"}],
        "connections": [{"from": "a", "to": "with space"}, {"from": "with space", "to": "ok-_9"}]})");
    spec["nodes"][3]["id"] = std::string(65, 'n');
    auto workflow = WorkflowSpec::parse(spec);
    ASSERT_TRUE(workflow) << workflow.error().message;
    std::vector<std::string> ids;
    for (auto& node : workflow->nodes)
        ids.push_back(node.id);
    EXPECT_EQ(ids[0], "a");
    EXPECT_EQ(ids[1], "node2");
    EXPECT_EQ(ids[2], "node3");
    EXPECT_EQ(ids[3], "node4");
    EXPECT_EQ(ids[4], "node6");
    // "node6" is taken by the agent's own fifth node, so the sixth gets a UUID.
    EXPECT_TRUE(looksLikeUUID(ids[5])) << ids[5];
    EXPECT_EQ(ids[6], "ok-_9");
    ASSERT_EQ(workflow->connections.size(), 2u);
    EXPECT_EQ(workflow->connections[0].from, "a");
    EXPECT_EQ(workflow->connections[0].to, "node3");
    EXPECT_EQ(workflow->connections[1].from, "node3");
    spec["nodes"][3]["id"] = std::string(64, 'n');
    EXPECT_EQ(WorkflowSpec::parse(spec)->nodes[3].id, std::string(64, 'n'));
}

TEST(WorkflowSpec, EachConnectionProblemNamesTheConnection)
{
    auto spec = json(R"({"name": "x", "nodes": [{"id": "k", "type": "keyword", "keyword": "k"},
        {"id": "c", "type": "condition"}, {"id": "o", "type": "openURL", "url": "u"},
        {"id": "h", "type": "hotkey"}]})");
    auto withConnection = [&](const char* connection) {
        auto copy = spec;
        copy["connections"] = json(R"([{"from": "k", "to": "c"}])");
        copy["connections"].push_back(json(connection));
        return problem(copy);
    };
    const std::string notAllowed
        = " is not allowed: it may point into an input node, use a port "
          "the node doesn't have (only conditions have \"true\"/\"false\"), "
          "repeat another connection, or create a loop.";
    const std::pair<const char*, std::string> cases[] = {
        { R"({"to": "o"})", "Connection 2 needs \"from\" and \"to\" node ids." },
        { R"({"from": "c", "to": ""})", "Connection 2 needs \"from\" and \"to\" node ids." },
        { R"("c")", "Connection 2 needs \"from\" and \"to\" node ids." },
        { R"({"from": "z", "to": "o"})", "Connection 2: no node with id \"z\"." },
        { R"({"from": "c", "to": "y"})", "Connection 2: no node with id \"y\"." },
        { R"({"from": "c", "to": "o", "port": "true", "modifier": "hyper"})",
            "Connection 2: unknown modifier \"hyper\" (none, command, option, control, shift)." },
        { R"({"from": "c", "to": "k", "port": "true"})",
            "Connection 2 (c → k, port true)" + notAllowed },
        { R"({"from": "o", "to": "h"})", "Connection 2 (o → h, port out)" + notAllowed },
        { R"({"from": "c", "to": "o"})", "Connection 2 (c → o, port out)" + notAllowed },
        { R"({"from": "k", "to": "c"})", "Connection 2 (k → c, port out)" + notAllowed },
        { R"({"from": "k", "to": "k"})", "Connection 2 (k → k, port out)" + notAllowed },
        { R"({"from": "c", "to": "o", "port": "true", "modifier": "CMD"})", "parsed" },
    };
    for (auto& [connection, message] : cases) {
        SCOPED_TRACE(connection);
        EXPECT_EQ(withConnection(connection), message);
    }
    // Text that is no list of connections counts as none.
    spec["connections"] = "k → c";
    EXPECT_EQ(problem(spec), "parsed");

    const std::pair<const char*, ConnectionModifier> modifiers[]
        = { { "none", ConnectionModifier::none }, { "cmd", ConnectionModifier::command },
              { "command", ConnectionModifier::command }, { "opt", ConnectionModifier::option },
              { "alt", ConnectionModifier::option }, { "option", ConnectionModifier::option },
              { "ctrl", ConnectionModifier::control }, { "control", ConnectionModifier::control },
              { "shift", ConnectionModifier::shift } };
    for (auto& [name, modifier] : modifiers) {
        spec["connections"]
            = Json::Value::array({ { { "from", "k" }, { "to", "o" }, { "modifier", name } } });
        auto workflow = WorkflowSpec::parse(spec);
        ASSERT_TRUE(workflow) << name;
        EXPECT_EQ(workflow->connections[0].modifier, modifier) << name;
        EXPECT_EQ(workflow->connections[0].fromPort, "out");
    }
}

TEST(WorkflowSpec, NodesAreLaidOutByTheirLongestDistanceFromAnInput)
{
    // A→B, A→C, B→C: C goes to column 2. The hot key has nothing connected, yet is an input.
    auto workflow = WorkflowSpec::parse(json(R"({"name": "x", "nodes": [
        {"id": "C", "type": "largeType"}, {"id": "A", "type": "keyword", "keyword": "a"},
        {"id": "B", "type": "replaceQuery"}, {"id": "H", "type": "hotkey"},
        {"id": "loose", "type": "largeType"}],
        "connections": [{"from": "A", "to": "B"}, {"from": "A", "to": "C"}, {"from": "B", "to": "C"}]})"));
    ASSERT_TRUE(workflow);
    std::vector<CanvasPoint> positions;
    for (auto& node : workflow->nodes)
        positions.push_back(node.position);
    EXPECT_EQ(positions,
        (std::vector<CanvasPoint> { { 580, 60 }, { 60, 60 }, { 320, 60 }, { 60, 180 },
            // A node no input reaches counts as column 0.
            { 60, 300 } }));
}

TEST(WorkflowSpec, ToSpecWritesWhatParseReadsBack)
{
    for (auto& example : WorkflowTemplate::examples()) {
        SCOPED_TRACE(example.id);
        auto spec = WorkflowSpec::toSpec(example);
        auto back = WorkflowSpec::parse(spec, example.id);
        ASSERT_TRUE(back) << back.error().message;
        // Positions are laid out anew, and connections and list items get ids of their own.
        auto expected = example;
        expected.isEnabled = true;
        for (std::size_t index = 0; index < expected.nodes.size(); ++index)
            expected.nodes[index].position = back->nodes[index].position;
        ASSERT_EQ(back->connections.size(), expected.connections.size());
        for (std::size_t index = 0; index < expected.connections.size(); ++index)
            expected.connections[index].id = back->connections[index].id;
        EXPECT_EQ(*back, expected);
        EXPECT_EQ(WorkflowSpec::toSpec(*back), spec);
    }

    Workflow workflow { .id = "w",
        .name = "All",
        .isEnabled = false,
        .nodes = {
            { .id = "h",
                .kind = NodeKind::Hotkey { .combo = KeyCombo::parse("ctrl+opt+space"),
                    .input = HotkeyInput::clipboard },
                .note = "Grab" },
            { .id = "l",
                .kind = NodeKind::ListFilter { .keyword = "l",
                    .items = { { .id = "i", .title = "T", .subtitle = "S", .argument = "A" } } } },
            { .id = "c", .kind = NodeKind::Condition { .op = ConditionOperator::endsWith } },
            { .id = "f", .kind = NodeKind::OpenFile { .path = "p", .appBundleID = "code" } },
            { .id = "n", .kind = NodeKind::Hotkey {} },
        },
        .variables = { { "v", "1" } },
        .createdByAgent = true,
        .pendingReview = true };
    workflow.addConnection("h", "out", "c", ConnectionModifier::none);
    workflow.addConnection("c", "false", "f", ConnectionModifier::shift);
    EXPECT_EQ(WorkflowSpec::toSpec(workflow), json(R"({
        "id": "w", "name": "All", "summary": "", "enabled": false, "createdByAgent": true,
        "pendingReview": true, "variables": {"v": "1"},
        "nodes": [
            {"id": "h", "type": "hotkey", "shortcut": "ctrl+opt+space", "input": "clipboard",
             "label": "Grab"},
            {"id": "l", "type": "listFilter", "keyword": "l", "title": "",
             "items": [{"title": "T", "subtitle": "S", "argument": "A"}]},
            {"id": "c", "type": "condition", "value": "", "operator": "endsWith", "compareTo": ""},
            {"id": "f", "type": "openFile", "path": "p", "app": "code"},
            {"id": "n", "type": "hotkey", "shortcut": "", "input": "none"}],
        "connections": [{"from": "h", "to": "c"},
            {"from": "c", "to": "f", "port": "false", "modifier": "shift"}]})"));
}

} // namespace zeph
