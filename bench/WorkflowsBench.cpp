// Loading the workflows as the application does on start and on every change an agent makes: the
// text of "workflows.json" parsed and decoded, and each workflow validated against all of them, as
// the settings show their problems.
#include "Support/UUID.h"
#include "Workflows/WorkflowLibrary.h"

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace zeph;

using Coding = DocumentCoding<std::vector<Workflow>>;

// 20 nodes with UUIDs for ids, as the editor makes them: two typed inputs and a hot key, a script,
// a condition with both branches, and a chain of actions and utilities, wired through addConnection
// as the editor wires them.
Workflow generatedWorkflow(std::size_t number)
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

std::string documentOf(std::size_t count)
{
    std::vector<Workflow> workflows;
    for (std::size_t number = 0; number < count; ++number)
        workflows.push_back(generatedWorkflow(number));
    return *Json::documentText(Coding::encode(workflows));
}

void decodeAndValidate(benchmark::State& state)
{
    auto text = documentOf(200);
    std::size_t problems = 0;
    for (auto _ : state) {
        auto workflows = *Coding::decode(*Json::parse(text));
        problems = 0;
        for (auto& workflow : workflows)
            problems += WorkflowLibrary::validate(workflow, workflows).size();
        benchmark::DoNotOptimize(problems);
    }
    state.SetLabel("200 workflows of 20 nodes, " + std::to_string(text.size() / 1024) + " KB, "
        + std::to_string(problems) + " problems");
}
BENCHMARK(decodeAndValidate)->Unit(benchmark::kMillisecond);

void decodeOnly(benchmark::State& state)
{
    auto text = documentOf(200);
    for (auto _ : state)
        benchmark::DoNotOptimize(Coding::decode(*Json::parse(text)));
}
BENCHMARK(decodeOnly)->Unit(benchmark::kMillisecond);

void validateAll(benchmark::State& state)
{
    auto text = documentOf(200);
    auto workflows = *Coding::decode(*Json::parse(text));
    for (auto _ : state) {
        for (auto& workflow : workflows)
            benchmark::DoNotOptimize(WorkflowLibrary::validate(workflow, workflows));
    }
}
BENCHMARK(validateAll)->Unit(benchmark::kMillisecond);

} // namespace
