#include "CommandLine.h"
#include "Support/Text.h"
#include "WorkflowChoice.h"
#include "Workflows/ProcessScriptRunner.h"
#include "Workflows/ScriptFilterOutput.h"

#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

struct FilterScriptOptions {
    bool json = false;
    std::string workflow {};
    std::vector<std::string> queryWords {};
    std::optional<double> timeout {};
};

void printRow(const ScriptFilterItem& item)
{
    std::printf("%s\t%s\t%s%s\n", item.title.c_str(), item.subtitle.c_str(),
        item.arg ? item.arg->c_str() : "-", item.valid ? "" : " (not valid)");
}

int filterScript(const FilterScriptOptions& options, const GlobalOptions& global)
{
    auto choice = chooseWorkflow(installedWorkflows(global), options.workflow,
        { .accepts
            = [](const NodeKind& kind) { return kind.get<NodeKind::ScriptFilter>() != nullptr; },
            .name = "script filter" });
    if (!choice)
        return notFound(choice.error().message);
    auto& filter
        = *choice->workflow.nodeWithID(choice->startNodeID)->kind.get<NodeKind::ScriptFilter>();
    ProcessScriptRunner scripts(Paths::workflowDirectory(global.dataFolder(), choice->workflow.id));
    auto result = scripts.run(filter.language, filter.script,
        sanitizedUTF8(joinedWords(options.queryWords)), choice->workflow.variables,
        options.timeout ? Seconds(*options.timeout) : scriptFilterTimeout);
    // A script that printed rows and then failed still shows them; its failure is worth a word.
    if (!result.stdout.empty() && (result.exitCode != 0 || result.timedOut)) {
        warn(result.timedOut ? "The script timed out."
                             : "The script exited " + std::to_string(result.exitCode) + ": "
                    + std::string(trimmedWhitespaceAndNewlines(result.stderrText())));
    }
    auto output = ScriptFilterOutput::ofRun(result);
    for (auto& item : output.items) {
        if (options.json)
            printJSON(toJSON(item));
        else
            printRow(item);
    }
    return output.items.empty() ? nothingFound : success;
}

} // namespace

void addFilterScriptCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto options = std::make_shared<FilterScriptOptions>();
    auto* command = app.add_subcommand("filter-script",
        "Run a workflow's script filter with QUERY in the workflow's folder and print its rows as "
        "the launcher would show them: title, subtitle and argument, \"(not valid)\" for a row "
        "that cannot be chosen. Exit status 1 when there are no rows.");
    command->add_flag(
        "--json", options->json, "One JSON object a row, in the format script filters print");
    command
        ->add_option("--timeout", options->timeout,
            "Seconds the script may run before it is asked to stop (default 15)")
        ->check(CLI::NonNegativeNumber);
    command->add_option("workflow", options->workflow, "The workflow's id or its filter's keyword")
        ->required();
    command->add_option("query", options->queryWords,
        "The text typed after the keyword; words are joined by spaces");
    command->callback([&action, &global, options] {
        action = [&global, options] { return filterScript(*options, global); };
    });
}

} // namespace zeph::CommandLine
