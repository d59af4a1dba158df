#include "Workflows/NodeKind.h"

#include "Support/RecordTesting.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

// Every case with every field away from its default, so that a field the coding forgets or mixes
// up with another shows.
std::vector<NodeKind> everyKindFilledIn()
{
    using Kind = NodeKind;
    return {
        Kind::Keyword { .keyword = "k",
            .title = "t",
            .subtitle = "s",
            .argument = ArgumentRequirement::required },
        Kind::Hotkey { .combo = KeyCombo { .keyCode = 96, .modifiers = KeyCombo::Modifiers::shift },
            .input = HotkeyInput::clipboard },
        Kind::Hotkey { .input = HotkeyInput::selectedText },
        Kind::ScriptFilter { .keyword = "k",
            .title = "t",
            .language = ScriptLanguage::ruby,
            .script = "puts 1\n",
            .argument = ArgumentRequirement::none },
        Kind::ListFilter { .keyword = "k",
            .title = "t",
            .items = { { .id = "1", .title = "a", .subtitle = "b", .argument = "c" },
                { .id = "2", .title = "ä", .subtitle = "", .argument = "{query}" } } },
        Kind::OpenURL { .url = "https://example.com/{query}" },
        Kind::OpenFile { .path = "~/x", .appBundleID = "code" },
        Kind::RevealInFinder { .path = "/tmp" },
        Kind::RunScript { .language = ScriptLanguage::perl, .script = "print 1" },
        Kind::CopyToClipboard { .text = "x", .paste = true },
        Kind::Notification { .title = "t", .body = "b" },
        Kind::LargeType { .text = "big" },
        Kind::SetVariable { .name = "n", .value = "v" },
        Kind::ReplaceQuery { .value = "q" },
        Kind::Condition {
            .value = "{var:x}", .op = ConditionOperator::matchesRegex, .compareTo = "^a" },
    };
}

} // namespace

TEST(NodeKind, EveryKindReadsBackWhatItWrites)
{
    auto kinds = everyKindFilledIn();
    auto& templates = NodeKind::nodeTemplates();
    kinds.insert(kinds.end(), templates.begin(), templates.end());
    for (auto& kind : kinds) {
        auto encoded = toJSON(kind);
        SCOPED_TRACE(encoded.dump());
        ASSERT_EQ(encoded.size(), 1u);
        EXPECT_EQ(encoded.begin().key(), kind.typeKey());
        EXPECT_EQ(nodeKindFromJSON(encoded).value(), kind);
    }
}

TEST(NodeKind, JSONFormIsTheCaseNameOverItsWholePayload)
{
    struct Case {
        NodeKind kind;
        const char* json;
    };
    const Case cases[] = {
        { NodeKind::OpenURL { .url = "https://x/{query}" },
            R"({"openURL": {"url": "https://x/{query}"}})" },
        { NodeKind::Condition { .value = "{query}" },
            R"({"condition": {"value": "{query}", "op": "isNotEmpty", "compareTo": ""}})" },
        // A hot key without a shortcut leaves the key out.
        { NodeKind::Hotkey { .input = HotkeyInput::selectedText },
            R"({"hotkey": {"input": "selectedText"}})" },
        { NodeKind::Hotkey { .combo = KeyCombo { .keyCode = 40, .modifiers = { 9 } } },
            R"({"hotkey": {"combo": {"keyCode": 40, "modifiers": 9}, "input": "none"}})" },
        { NodeKind::OpenFile {}, R"({"openFile": {"path": "", "appBundleID": ""}})" },
        { NodeKind::ListFilter { .items = { { .id = "i" } } },
            R"({"listFilter": {"keyword": "", "title": "",
                "items": [{"id": "i", "title": "", "subtitle": "", "argument": ""}]}})" },
        { NodeKind::RunScript { .language = ScriptLanguage::javaScript },
            R"({"runScript": {"language": "javaScript", "script": ""}})" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.json);
        EXPECT_EQ(toJSON(testCase.kind), json(testCase.json));
        EXPECT_EQ(nodeKindFromJSON(json(testCase.json)).value(), testCase.kind);
    }
    // A null combo is no combo, as a missing one is.
    EXPECT_EQ(
        nodeKindFromJSON(json(R"({"hotkey": {"combo": null, "input": "clipboard"}})")).value(),
        NodeKind(NodeKind::Hotkey { .input = HotkeyInput::clipboard }));
}

TEST(NodeKind, EveryPayloadKeyButTheComboIsRequired)
{
    for (auto& kind : everyKindFilledIn()) {
        auto encoded = toJSON(kind);
        auto typeKey = std::string(kind.typeKey());
        for (auto& [key, value] : encoded[typeKey].items()) {
            SCOPED_TRACE(typeKey + "." + key);
            auto without = encoded;
            without[typeKey].erase(key);
            auto decoded = nodeKindFromJSON(without);
            if (key == "combo") {
                EXPECT_TRUE(decoded);
                continue;
            }
            ASSERT_FALSE(decoded);
            EXPECT_EQ(decoded.error().message, typeKey + ": \"" + key + "\" is missing.");
        }
    }

    struct Case {
        const char* json;
        const char* message;
    };
    const Case cases[] = {
        { R"({"openURL": {"url": 5}})", "openURL: \"url\" must be a string." },
        { R"({"openURL": {"url": null}})", "openURL: \"url\" must be a string." },
        { R"({"copyToClipboard": {"text": "", "paste": "yes"}})",
            "copyToClipboard: \"paste\" must be true or false." },
        { R"({"runScript": {"language": "fish", "script": ""}})",
            "runScript: \"fish\" is not a valid \"language\"." },
        { R"({"condition": {"value": "", "op": "Equals", "compareTo": ""}})",
            "condition: \"Equals\" is not a valid \"op\"." },
        { R"({"keyword": {"keyword": "", "title": "", "subtitle": "", "argument": "REQUIRED"}})",
            "keyword: \"REQUIRED\" is not a valid \"argument\"." },
        { R"({"hotkey": {"combo": {"keyCode": 1}, "input": "none"}})",
            "hotkey: combo: \"modifiers\" is missing." },
        { R"({"hotkey": {"combo": "cmd+k", "input": "none"}})",
            "hotkey: combo: A key combination must be a JSON object with \"keyCode\" and "
            "\"modifiers\"." },
        { R"({"listFilter": {"keyword": "", "title": ""}})", "listFilter: \"items\" is missing." },
        { R"({"listFilter": {"keyword": "", "title": "", "items": [{"id": "a", "title": ""}]}})",
            "listFilter: items: item 1: \"subtitle\" is missing." },
        { R"({"listFilter": {"keyword": "", "title": "", "items": {}}})",
            "listFilter: items: The items must be a JSON array." },
        { R"({"largeType": "big"})", "largeType: The settings of the node must be a JSON object." },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.json);
        auto decoded = nodeKindFromJSON(json(testCase.json));
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, testCase.message);
    }
}

TEST(NodeKind, AKindNeedsExactlyOneKnownCaseName)
{
    for (auto* text : { R"({})", R"({"bogus": {"url": ""}})", R"({"OpenURL": {"url": ""}})",
             R"({"keyword": {"keyword": "", "title": "", "subtitle": "", "argument": "none"},
                 "hotkey": {"input": "none"}})" }) {
        SCOPED_TRACE(text);
        auto decoded = nodeKindFromJSON(json(text));
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, "Invalid number of keys found, expected one.");
    }
    // A key that names no kind counts as no key at all.
    EXPECT_EQ(nodeKindFromJSON(json(R"({"openURL": {"url": "u"}, "later": 1})")).value(),
        NodeKind(NodeKind::OpenURL { .url = "u" }));
    for (auto* text : { R"("openURL")", R"([{"openURL": {"url": ""}}])", "null" }) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(nodeKindFromJSON(json(text)));
    }
}

TEST(NodeKind, CasesKeepThePaletteOrderAndItsFacts)
{
    struct Case {
        const char* typeKey;
        NodeKind::Category category;
        const char* displayName;
        const char* symbolName;
    };
    using enum NodeKind::Category;
    const Case cases[] = {
        { "keyword", input, "Keyword", "textformat" },
        { "hotkey", input, "Hotkey", "keyboard" },
        { "scriptFilter", input, "Script Filter", "line.3.horizontal.decrease.circle" },
        { "listFilter", input, "List Filter", "list.bullet" },
        { "openURL", action, "Open URL", "globe" },
        { "openFile", action, "Open File", "doc" },
        { "revealInFinder", action, "Reveal in File Manager", "folder" },
        { "runScript", action, "Run Script", "terminal" },
        { "copyToClipboard", action, "Copy to Clipboard", "doc.on.clipboard" },
        { "notification", action, "Post Notification", "bell" },
        { "largeType", action, "Large Type", "textformat.size.larger" },
        { "setVariable", utility, "Set Variable", "x.squareroot" },
        { "replaceQuery", utility, "Replace Query", "arrow.triangle.2.circlepath" },
        { "condition", utility, "Condition", "arrow.triangle.branch" },
    };
    auto& templates = NodeKind::nodeTemplates();
    ASSERT_EQ(templates.size(), std::size(cases));
    for (std::size_t index = 0; index < templates.size(); ++index) {
        auto& kind = templates[index];
        auto& expected = cases[index];
        SCOPED_TRACE(expected.typeKey);
        EXPECT_EQ(kind.payload.index(), index);
        EXPECT_EQ(kind.typeKey(), expected.typeKey);
        EXPECT_EQ(kind.category(), expected.category);
        EXPECT_EQ(kind.displayName(), expected.displayName);
        EXPECT_EQ(kind.symbolName(), expected.symbolName);
        using Ports = std::vector<std::string_view>;
        auto ports = kind.outputPorts();
        EXPECT_EQ(Ports(ports.begin(), ports.end()),
            index == 13 ? (Ports { "true", "false" }) : (Ports { "out" }));
        // Only the three inputs that are typed have a keyword; a hot key has none.
        EXPECT_EQ(kind.keyword() != nullptr, index == 0 || index == 2 || index == 3);
    }
    EXPECT_EQ(sectionTitle(utility), "Utilities");
}

TEST(NodeKind, TemplatesAreTheDefaultsOfANewNode)
{
    auto& templates = NodeKind::nodeTemplates();
    EXPECT_EQ(
        templates[0], NodeKind(NodeKind::Keyword { .argument = ArgumentRequirement::optional }));
    EXPECT_EQ(templates[1], NodeKind(NodeKind::Hotkey {}));
    auto* filter = templates[2].get<NodeKind::ScriptFilter>();
    ASSERT_TRUE(filter);
    EXPECT_EQ(filter->language, ScriptLanguage::zsh);
    EXPECT_EQ(filter->argument, ArgumentRequirement::optional);
    EXPECT_EQ(filter->script,
        "# Print Alfred-style JSON. $1 is the query.\n"
        "cat <<JSON\n"
        "{\"items\": [\n"
        "  {\"title\": \"You typed: $1\", \"subtitle\": \"Return to continue\", \"arg\": \"$1\"}\n"
        "]}\n"
        "JSON");
    auto* url = templates[4].get<NodeKind::OpenURL>();
    ASSERT_TRUE(url);
    EXPECT_TRUE(url->url.ends_with("example.com/search?q={query}")) << url->url;
    EXPECT_EQ(templates[7], NodeKind(NodeKind::RunScript { .script = "echo -n \"$1\"" }));
    EXPECT_EQ(templates[9],
        NodeKind(NodeKind::Notification { .title = "Zeph Launcher", .body = "{query}" }));
    EXPECT_EQ(
        templates[11], NodeKind(NodeKind::SetVariable { .name = "name", .value = "{query}" }));
    EXPECT_EQ(templates[13],
        NodeKind(NodeKind::Condition {
            .value = "{query}", .op = ConditionOperator::isNotEmpty, .compareTo = "" }));
}

} // namespace zeph
