#include "Workflows/WorkflowTestRun.h"

#include "Support/Text.h"
#include "Workflows/DryRunEnvironment.h"
#include "Workflows/ScriptFilterOutput.h"
#include "Workflows/WorkflowRunner.h"

namespace zeph::WorkflowTestRun {

namespace {

// Runs a script filter start as the launcher would and reports its rows; the first row that can be
// chosen goes on as the query. Nothing when there is none, and the report ends.
struct FilterStart {
    std::vector<std::string> report {};
    std::optional<std::string> query {};
    Variables variables {};
};

FilterStart runScriptFilter(const Workflow& workflow, const NodeKind::ScriptFilter& filter,
    ScriptRunning& scripts, const std::string& query, Seconds timeout)
{
    FilterStart start;
    auto result = scripts.run(filter.language, filter.script, query, workflow.variables, timeout);
    start.report.push_back("Script filter exit code " + std::to_string(result.exitCode)
        + (result.timedOut ? " (timed out)." : "."));
    auto errors = std::string(trimmedWhitespaceAndNewlines(result.stderrText()));
    if (!errors.empty())
        start.report.push_back("stderr:\n" + errors);
    auto output = ScriptFilterOutput::ofRun(result);
    start.report.push_back("Items (" + std::to_string(output.items.size()) + "):");
    for (auto& item : output.items) {
        start.report.push_back("- " + item.title + " | " + item.subtitle + " | arg: "
            + item.arg.value_or("∅") + (item.valid && item.arg ? "" : " | not actionable"));
    }
    auto* chosen = output.firstActionableItem();
    if (!chosen) {
        start.report.push_back("No actionable item, so nothing runs after the filter.");
        return start;
    }
    start.report.push_back(
        "Continuing as if the first actionable item was chosen (arg \"" + *chosen->arg + "\").");
    start.query = *chosen->arg;
    start.variables = output.variablesOfChoice(*chosen);
    return start;
}

} // namespace

std::vector<std::string> report(const Workflow& workflow, const WorkflowNode& start,
    const std::string& query, ScriptRunning& scripts, Seconds timeout)
{
    DryRunEnvironment environment;
    WorkflowRunner runner(environment, scripts, timeout);
    std::vector<std::string> lines;
    std::optional<std::string> runQuery = query;
    Variables variables;
    if (auto* filter = start.kind.get<NodeKind::ScriptFilter>()) {
        auto filterStart = runScriptFilter(workflow, *filter, scripts, query, timeout);
        lines = std::move(filterStart.report);
        runQuery = std::move(filterStart.query);
        variables = std::move(filterStart.variables);
    } else if (auto* list = start.kind.get<NodeKind::ListFilter>()) {
        if (list->items.empty()) {
            lines.push_back("The list filter has no items.");
            runQuery.reset();
        } else {
            lines.push_back("Continuing as if \"" + list->items.front().title + "\" was chosen.");
            runQuery = list->items.front().argument;
        }
    }
    if (runQuery) {
        auto log = runner.run(workflow, start.id, *runQuery, variables);
        lines.push_back("Steps:");
        for (auto& step : log.steps)
            lines.push_back("- " + step.nodeName + ": " + step.message);
        auto actions = environment.actions();
        if (actions.empty())
            lines.push_back("No actions.");
        else
            lines.push_back("Actions that would run:");
        for (auto& action : actions)
            lines.push_back("- " + description(action));
    }
    return lines;
}

} // namespace zeph::WorkflowTestRun
