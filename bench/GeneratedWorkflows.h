#pragma once

#include "Support/UUID.h"
#include "Workflows/Workflow.h"

#include <string>
#include <vector>

// Workflows of the size and shape the benchmarks of the workflow documents share.
namespace zeph::Bench {

// 20 nodes with UUIDs for ids, as the editor makes them: two typed inputs and a hot key, a script,
// a condition with both branches, and a chain of actions and utilities, wired through addConnection
// as the editor wires them.
inline Workflow generatedWorkflow(std::size_t number)
{
    auto suffix = std::to_string(number);
    Workflow workflow { .id = makeUUID(),
        .name = "Workflow " + suffix,
        .summary = "Does the things workflow " + suffix + " does",
        .variables = { { "token", "secret-" + suffix }, { "base", "https://example.com" } } };
    auto add = [&](NodeKind kind) {
        workflow.nodes.push_back({ .id = makeUUID(),
            .position = { .x = 60.0 + 270.0 * static_cast<double>(workflow.nodes.size() % 5),
                .y = 80.0 + 120.0 * static_cast<double>(workflow.nodes.size() / 5) },
            .kind = std::move(kind) });
        return workflow.nodes.back().id;
    };
    auto keyword = add(NodeKind::Keyword { .keyword = "kw" + suffix,
        .title = "Run workflow " + suffix,
        .subtitle = "With an argument",
        .argument = ArgumentRequirement::required });
    auto filter = add(NodeKind::ScriptFilter { .keyword = "sf" + suffix,
        .title = "Filter " + suffix,
        .language = ScriptLanguage::python3,
        .script = "import json, sys\nprint(json.dumps({\"items\": [{\"title\": sys.argv[1]}]}))" });
    auto hotkey = add(NodeKind::Hotkey {
        .combo = KeyCombo { .keyCode = 40, .modifiers = KeyCombo::Modifiers::command },
        .input = HotkeyInput::selectedText });
    auto script = add(NodeKind::RunScript { .script = "echo -n \"$1\" | tr a-z A-Z" });
    auto condition = add(NodeKind::Condition {
        .value = "{query}", .op = ConditionOperator::contains, .compareTo = "x" });
    workflow.addConnection(keyword, "out", script, ConnectionModifier::none);
    workflow.addConnection(filter, "out", script, ConnectionModifier::none);
    workflow.addConnection(hotkey, "out", condition, ConnectionModifier::none);
    workflow.addConnection(script, "out", condition, ConnectionModifier::none);
    auto previous = condition;
    const NodeKind actions[] = {
        NodeKind::OpenURL { .url = "{var:base}/search?q={query}" },
        NodeKind::CopyToClipboard { .text = "{query}", .paste = true },
        NodeKind::SetVariable { .name = "last", .value = "{query}" },
        NodeKind::Notification { .title = "Done", .body = "{query} with {var:token}" },
        NodeKind::ReplaceQuery { .value = "{var:last}!" },
    };
    for (std::size_t index = 0; workflow.nodes.size() < 20; ++index) {
        auto next = add(actions[index % std::size(actions)]);
        auto port = previous == condition ? (index % 2 == 0 ? "true" : "false") : "out";
        workflow.addConnection(previous, port, next,
            index % 3 == 0 ? ConnectionModifier::command : ConnectionModifier::none);
        if (index % 2 == 1)
            previous = next;
    }
    return workflow;
}

// "workflows.json" with `count` generated workflows, as the store writes it.
inline std::string documentOf(std::size_t count)
{
    std::vector<Workflow> workflows;
    for (std::size_t number = 0; number < count; ++number)
        workflows.push_back(generatedWorkflow(number));
    return *Json::documentText(DocumentCoding<std::vector<Workflow>>::encode(workflows));
}

} // namespace zeph::Bench
