#include "Workflows/WorkflowLibrary.h"

#include "Workflows/WorkflowTesting.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

using Problems = std::vector<std::string>;

NodeKind keyword(std::string word)
{
    return NodeKind::Keyword { .keyword = std::move(word) };
}

// A workflow whose every input node leads to one action, so that only what a test adds is wrong.
Workflow wired(std::string id, std::vector<WorkflowNode> inputs, bool isEnabled = true)
{
    Workflow workflow { .id = id, .name = "Flow " + id, .isEnabled = isEnabled };
    workflow.nodes = std::move(inputs);
    workflow.nodes.push_back(node("action", NodeKind::LargeType {}));
    for (auto& input : workflow.nodes) {
        if (input.kind.category() == NodeKind::Category::input)
            workflow.addConnection(input.id, "out", "action", ConnectionModifier::none);
    }
    return workflow;
}

KeyCombo combo(std::uint32_t keyCode, KeyCombo::Modifiers modifiers = {})
{
    return { .keyCode = keyCode, .modifiers = modifiers };
}

} // namespace

TEST(WorkflowLibrary, EntriesComeFromEnabledTypedInputs)
{
    Workflow shown { .id = "w",
        .name = "X",
        .summary = "Y",
        .nodes = {
            node("k1", NodeKind::Keyword { .keyword = "a" }),
            node("hot", NodeKind::Hotkey { .combo = combo(96) }),
            node("k2",
                NodeKind::Keyword { .keyword = "b",
                    .title = "Title",
                    .subtitle = "Sub",
                    .argument = ArgumentRequirement::required }),
            node("empty", NodeKind::Keyword { .title = "No keyword" }),
            node("filter",
                NodeKind::ScriptFilter { .keyword = "c", .argument = ArgumentRequirement::none }),
            node("titled", NodeKind::ScriptFilter { .keyword = "d", .title = "Own" }),
            node("list", NodeKind::ListFilter { .keyword = "e", .title = "List" }),
            node("action", NodeKind::OpenURL {}),
        } };
    Workflow hidden { .id = "off", .isEnabled = false, .nodes = { node("k", keyword("a")) } };
    Workflow clashing { .id = "v", .name = "V", .nodes = { node("k", keyword("a")) } };

    using enum ArgumentRequirement;
    const std::vector<WorkflowEntry> expected {
        { "w", "k1", "a", "X", "Y", optional, "textformat" },
        { "w", "k2", "b", "Title", "Sub", required, "textformat" },
        // A script filter's subtitle is always the summary.
        { "w", "filter", "c", "X", "Y", none, "line.3.horizontal.decrease.circle" },
        { "w", "titled", "d", "Own", "Y", optional, "line.3.horizontal.decrease.circle" },
        { "w", "list", "e", "List", "Y", optional, "list.bullet" },
        // Two workflows may offer the same keyword; both rows appear.
        { "v", "k", "a", "V", "", optional, "textformat" },
    };
    EXPECT_EQ(WorkflowLibrary::entries({ hidden, shown, clashing }), expected);
    EXPECT_EQ(expected[2].itemID(), "wf:w:filter");

    // A list filter always takes an argument, whatever its node says elsewhere.
    EXPECT_EQ(WorkflowLibrary::entries({ clashing })[0].argument, optional);
}

TEST(WorkflowLibrary, HotkeysNeedAModifierUnlessOnAFunctionKey)
{
    const auto command = KeyCombo::Modifiers::command;
    Workflow workflow { .id = "w",
        .nodes = {
            node("f5", NodeKind::Hotkey { .combo = combo(96) }),
            node("k", NodeKind::Hotkey { .combo = combo(40) }),
            node("cmdK", NodeKind::Hotkey { .combo = combo(40, command) }),
            node("none", NodeKind::Hotkey {}),
            node("keyword", keyword("k")),
        } };
    auto disabled = workflow;
    disabled.id = "off";
    disabled.isEnabled = false;
    const std::vector<WorkflowHotkey> expected {
        { "w", "f5", combo(96) },
        { "w", "cmdK", combo(40, command) },
    };
    EXPECT_EQ(WorkflowLibrary::hotkeyBindings({ disabled, workflow }), expected);
}

TEST(WorkflowLibrary, ValidateReportsEachProblemInOrder)
{
    struct Case {
        const char* what;
        Workflow workflow;
        Problems problems;
    };
    const Case cases[] = {
        { "no nodes", Workflow { .id = "w" },
            { "Add a Keyword, Hotkey or Filter so the workflow can be started." } },
        { "only actions, whatever they hold",
            Workflow { .id = "w", .nodes = { node("a", NodeKind::OpenURL { .url = "" }) } },
            { "Add a Keyword, Hotkey or Filter so the workflow can be started." } },
        { "a bare keyword node", Workflow { .id = "w", .nodes = { node("k", keyword("")) } },
            { "Keyword has no keyword.", "Keyword is not connected to anything." } },
        { "every input with a problem",
            wired("w",
                { node("k", keyword("")), node("s", NodeKind::ScriptFilter {}),
                    node("l", NodeKind::ListFilter { .keyword = "two words" }),
                    node("h", NodeKind::Hotkey {}), node("tab", keyword("tab\there")) }),
            { "Keyword has no keyword.", "Script Filter has no keyword.",
                "Keyword 'two words' cannot contain spaces.",
                "Hotkey has no shortcut recorded." } },
        { "inputs that lead nowhere",
            Workflow { .id = "w",
                .nodes = { node("s", NodeKind::ScriptFilter { .keyword = "s" }),
                    node("h", NodeKind::Hotkey { .combo = combo(96) }),
                    node("l", NodeKind::ListFilter { .keyword = "l" }) } },
            { "Script Filter is not connected to anything.", "Hotkey is not connected to anything.",
                "List Filter is not connected to anything." } },
        { "a connection on any port counts",
            [] {
                auto workflow = wired("w", { node("k", keyword("k")) });
                workflow.connections[0].fromPort = "true";
                return workflow;
            }(),
            {} },
        { "a valid workflow", wired("w", { node("k", keyword("k")) }), {} },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.what);
        EXPECT_EQ(WorkflowLibrary::validate(testCase.workflow, {}), testCase.problems);
    }
}

TEST(WorkflowLibrary, ValidateReportsKeywordsThatOtherEnabledWorkflowsUse)
{
    auto own = wired("w",
        { node("a", keyword("zeta")), node("b", keyword("alpha")),
            node("c", NodeKind::ListFilter { .keyword = "Go" }), node("d", keyword("has space")) });
    std::vector<Workflow> others {
        own, // Itself: never a clash.
        wired("1",
            { node("x", keyword("zeta")), node("y", keyword("alpha")),
                node("z", keyword("alpha")) }),
        wired("2", { node("x", keyword("go")) }), // Keywords compare exactly.
        wired("3", { node("x", keyword("alpha")) }, /*isEnabled=*/false),
        wired("4", { node("x", NodeKind::ScriptFilter { .keyword = "has space" }) }),
    };
    auto sameID = wired("w", { node("x", keyword("zeta")) });
    sameID.name = "Copy of own";
    others.push_back(sameID);

    Problems expected {
        "Keyword 'has space' cannot contain spaces.",
        "Keyword 'alpha' is also used by 'Flow 1'.",
        "Keyword 'zeta' is also used by 'Flow 1'.",
        "Keyword 'has space' is also used by 'Flow 4'.",
    };
    EXPECT_EQ(WorkflowLibrary::validate(own, others), expected);
    // A workflow's own state does not matter; the other's does.
    own.isEnabled = false;
    EXPECT_EQ(WorkflowLibrary::validate(own, others), expected);
    // Clashes within one workflow are not reported.
    EXPECT_EQ(WorkflowLibrary::validate(others[1], { others[1] }), Problems {});
}

} // namespace zeph
