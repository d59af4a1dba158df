#include "CommandLine.h"
#include "Search/Ranker.h"
#include "Support/Text.h"
#include "TerminalEnvironment.h"
#include "WorkflowChoice.h"
#include "Workflows/DryRunEnvironment.h"
#include "Workflows/ProcessScriptRunner.h"
#include "Workflows/ScriptFilterOutput.h"
#include "Workflows/WorkflowRunner.h"

#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

struct RunOptions {
    bool dryRun = false;
    bool json = false;
    std::string workflow {};
    std::vector<std::string> queryWords {};
    std::string modifier = "none";
    std::optional<std::string> clipboard {};
    std::optional<std::string> selection {};
    std::optional<double> timeout {};
};

// What choosing the row hands the run: its query and the variables on top of the workflow's.
struct Start {
    std::string query {};
    Variables variables {};
};

// The row a script filter offers first that can be chosen, as if the user took it with `modifier`
// held: its argument, or the modifier's, and the variables of the output, the row and the
// modifier, each over the one before.
Result<Start> chooseScriptFilterRow(const Workflow& workflow, const NodeKind::ScriptFilter& filter,
    ScriptRunning& scripts, const std::string& query, Seconds timeout, ConnectionModifier modifier)
{
    auto result = scripts.run(filter.language, filter.script, query, workflow.variables, timeout);
    auto output = ScriptFilterOutput::ofRun(result);
    if (auto* item = output.firstActionableItem()) {
        auto* held = item->modifier(modifier);
        if (held && held->valid == false)
            return Error { "The row \"" + item->title + "\" cannot be chosen with "
                + std::string(toString(modifier)) + " held." };
        Start start { .query = held && held->arg ? *held->arg : *item->arg,
            .variables = output.variablesOfChoice(*item) };
        if (held && held->variables) {
            for (auto& [name, value] : *held->variables)
                start.variables.insert_or_assign(name, value);
        }
        return start;
    }
    auto reason = output.items.size() == 1 && !output.items[0].valid
        ? " (" + output.items[0].title + ": " + output.items[0].subtitle + ")"
        : std::string();
    return Error { "The script filter offered no row that can be chosen" + reason + "." };
}

// The list filter's row that the launcher puts first for the query: the best match of the titles,
// or the first row for no query.
Result<Start> chooseListRow(
    const WorkflowChoice& choice, const NodeKind::ListFilter& list, const std::string& query)
{
    if (list.items.empty())
        return Error { "The list filter has no items." };
    if (trimmedWhitespaceAndNewlines(query).empty())
        return Start { .query = list.items.front().argument };
    std::vector<IndexedItem> items;
    for (auto& item : list.items) {
        items.push_back(makeIndexedItem(
            { .id = "wf:" + choice.workflow.id + ":" + choice.startNodeID + ":" + item.id,
                .title = item.title,
                .subtitle = item.subtitle,
                .kind = ItemKind::workflow,
                .argument = item.argument }));
    }
    auto ranked = Ranker {}.rank(items, makeQueryText(query), {}, 1);
    if (ranked.empty())
        return Error { "No item of the list filter matches \"" + query + "\"." };
    return Start { .query = ranked.front().item.argument.value_or("") };
}

Result<Start> chooseRow(const WorkflowChoice& choice, ScriptRunning& scripts,
    const std::string& query, const RunOptions& options, ConnectionModifier modifier)
{
    auto& kind = choice.workflow.nodeWithID(choice.startNodeID)->kind;
    if (auto* filter = kind.get<NodeKind::ScriptFilter>())
        return chooseScriptFilterRow(choice.workflow, *filter, scripts, query,
            options.timeout ? Seconds(*options.timeout) : scriptFilterTimeout, modifier);
    if (auto* list = kind.get<NodeKind::ListFilter>())
        return chooseListRow(choice, *list, query);
    return Start { .query = query };
}

// A script that failed does not stop the run, but the terminal should hear of it.
void warnAboutScripts(const WorkflowRunLog& log)
{
    for (auto& step : log.steps) {
        if (step.message.starts_with("Timed out after ") || step.message.starts_with("Exited "))
            warn(step.nodeName + ": " + step.message);
    }
}

int runWorkflow(const RunOptions& options, const GlobalOptions& global)
{
    auto choice = chooseWorkflow(installedWorkflows(global), options.workflow,
        { .accepts = [](const NodeKind&) { return true; }, .name = "input node" });
    if (!choice)
        return notFound(choice.error().message);
    auto modifier
        = fromString<ConnectionModifier>(options.modifier).value_or(ConnectionModifier::none);
    // Scripts run in the workflow's own folder, as in the launcher.
    ProcessScriptRunner scripts(Paths::workflowDirectory(global.dataFolder(), choice->workflow.id));
    auto query = sanitizedUTF8(joinedWords(options.queryWords));
    // The launcher's row for such a keyword cannot be chosen until something is typed after it.
    auto* keyword = choice->workflow.nodeWithID(choice->startNodeID)->kind.get<NodeKind::Keyword>();
    if (keyword && keyword->argument == ArgumentRequirement::required
        && trimmedWhitespaceAndNewlines(query).empty())
        return fail("\"" + keyword->keyword + "\" needs an argument: zeph run " + keyword->keyword
            + " TEXT");
    auto start = chooseRow(*choice, scripts, query, options, modifier);
    if (!start)
        return notFound(start.error().message);

    std::unique_ptr<DryRunEnvironment> dryRun;
    std::unique_ptr<TerminalEnvironment> terminal;
    WorkflowEnvironment* environment = nullptr;
    if (options.dryRun) {
        dryRun = std::make_unique<DryRunEnvironment>(options.clipboard.value_or("‹clipboard›"),
            options.selection.value_or("‹selected text›"));
        environment = dryRun.get();
    } else {
        terminal = std::make_unique<TerminalEnvironment>(options.clipboard, options.selection);
        environment = terminal.get();
    }
    WorkflowRunner runner(
        *environment, scripts, options.timeout ? Seconds(*options.timeout) : workflowScriptTimeout);
    auto log = runner.run(
        choice->workflow, choice->startNodeID, start->query, start->variables, modifier);
    warnAboutScripts(log);
    for (auto& action : dryRun ? dryRun->actions() : terminal->actions()) {
        if (options.json)
            printJSON(toJSON(action));
        else
            std::printf("%s\n", sanitizedUTF8(description(action)).c_str());
    }
    return success;
}

} // namespace

void addRunCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto options = std::make_shared<RunOptions>();
    auto* command = app.add_subcommand("run",
        "Run a workflow as the launcher would after choosing its row, and print each action it "
        "takes. From a terminal, scripts run, xdg-open opens, wl-copy, xclip or xsel copy and "
        "notify-send notifies; pasting and Large Type need the launcher and are only listed.");
    command->add_flag("--dry-run", options->dryRun,
        "Open, copy, paste and notify nothing: only print what would be done (scripts still run)");
    command->add_flag("--json", options->json, "One JSON object an action");
    command
        ->add_option("--modifier", options->modifier,
            "The key held while choosing: none, command, option, control or shift")
        ->check(CLI::IsMember({ "none", "command", "option", "control", "shift" }));
    command->add_option("--clipboard", options->clipboard,
        "The clipboard text for a hot key that reads it (default: the desktop's)");
    command->add_option("--selection", options->selection,
        "The selected text for a hot key that reads it (default: the desktop's primary selection)");
    command
        ->add_option("--timeout", options->timeout,
            "Seconds each script may run before it is asked to stop (default 30, 15 for a script "
            "filter)")
        ->check(CLI::NonNegativeNumber);
    command->add_option("workflow", options->workflow, "The workflow's id or one of its keywords")
        ->required();
    command->add_option("query", options->queryWords,
        "The text typed after the keyword; several words are joined by spaces. A script filter's "
        "first row that can be chosen, or the list filter's best match, is taken");
    command->callback([&action, &global, options] {
        action = [&global, options] { return runWorkflow(*options, global); };
    });
}

} // namespace zeph::CommandLine
