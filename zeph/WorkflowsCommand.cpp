#include "CommandLine.h"
#include "Storage/JSONFileStore.h"
#include "WorkflowChoice.h"
#include "Workflows/WorkflowLibrary.h"
#include "Workflows/WorkflowTemplate.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

using Workflows = std::vector<Workflow>;

// What starts the workflow: its keywords, then the shortcuts of its hot keys.
std::string triggers(const Workflow& workflow)
{
    auto words = workflow.keywords();
    for (auto& node : workflow.nodes) {
        if (auto* hotkey = node.kind.get<NodeKind::Hotkey>(); hotkey && hotkey->combo)
            words.push_back(hotkey->combo->textForm());
    }
    std::string text;
    for (auto& word : words)
        text.append(text.empty() ? "" : ", ").append(word);
    return text.empty() ? "-" : text;
}

int listWorkflows(bool json, const GlobalOptions& global)
{
    for (auto& workflow : installedWorkflows(global)) {
        if (json) {
            printJSON(toJSON(workflow));
            continue;
        }
        std::printf("%s\t%s\t%s%s%s\n", workflow.id.c_str(), triggers(workflow).c_str(),
            workflow.name.c_str(), workflow.isEnabled ? "" : " (disabled)",
            workflow.pendingReview ? " (pending review)" : "");
    }
    return success;
}

int showWorkflow(const std::string& id, bool json, const GlobalOptions& global)
{
    auto workflows = installedWorkflows(global);
    auto found = std::find_if(
        workflows.begin(), workflows.end(), [&](auto& workflow) { return workflow.id == id; });
    if (found == workflows.end())
        return notFound("No workflow has the id \"" + id + "\"; `zeph workflows list` lists them.");
    return printRecord(toJSON(*found), json);
}

Result<Workflows> decodeWorkflows(const Json::Value& json)
{
    if (json.is_array())
        return DocumentCoding<Workflows>::decode(json);
    auto workflow = workflowFromJSON(json);
    if (!workflow)
        return workflow.error();
    return Workflows { std::move(*workflow) };
}

// One workflow is checked against the data folder's, as if it were added to them; a whole list,
// such as a copy of workflows.json, against itself.
int check(const std::string& file, const GlobalOptions& global)
{
    auto input = file == "-" ? readStandardInput() : InputBuffer::readFile(file);
    if (!input)
        return fail(input.error().message);
    auto name = file == "-" ? std::string("Standard input") : file;
    auto json = Json::parse(input->text());
    if (!json)
        return fail(name + " is not valid JSON.");
    bool isList = json->is_array();
    auto workflows = decodeWorkflows(*json);
    if (!workflows)
        return fail(name + " is not valid: " + workflows.error().message);
    auto others = isList ? *workflows : installedWorkflows(global);
    bool hasProblems = false;
    for (auto& workflow : *workflows) {
        for (auto& problem : WorkflowLibrary::validate(workflow, others)) {
            hasProblems = true;
            if (isList)
                std::printf("%s: %s\n", workflow.id.c_str(), problem.c_str());
            else
                std::printf("%s\n", problem.c_str());
        }
    }
    return hasProblems ? nothingFound : success;
}

enum class WorkflowChange { enable, disable, remove };

// Under the data folder's lock, on a fresh read, so that no other writer's workflow is lost.
int change(const std::string& id, WorkflowChange change, const GlobalOptions& global)
{
    bool found = false;
    auto changed = changeReporting(
        global.dataFolder(), Paths::workflowsFile, WorkflowTemplate::examples(),
        [&](Workflows& workflows) {
            auto isChosen = [&](const Workflow& workflow) { return workflow.id == id; };
            found = std::any_of(workflows.begin(), workflows.end(), isChosen);
            if (change == WorkflowChange::remove)
                return std::erase_if(workflows, isChosen) > 0;
            bool isEnabled = change == WorkflowChange::enable;
            bool isChanged = false;
            for (auto& workflow : workflows) {
                if (isChosen(workflow) && workflow.isEnabled != isEnabled) {
                    workflow.isEnabled = isEnabled;
                    isChanged = true;
                }
            }
            return isChanged;
        },
        ", and the example workflows stand in for it.");
    if (!changed)
        return fail(changed.error().message);
    if (!found)
        return notFound("No workflow has the id \"" + id + "\"; `zeph workflows list` lists them.");
    return success;
}

void addChangeCommand(CLI::App& workflows, Action& action, const GlobalOptions& global,
    const char* name, const char* description, WorkflowChange kind)
{
    auto* command = workflows.add_subcommand(name, description);
    auto id = std::make_shared<std::string>();
    command->add_option("id", *id, "The workflow's id, as `zeph workflows list` shows it")
        ->required();
    command->callback([&action, &global, id, kind] {
        action = [&global, id, kind] { return change(*id, kind, global); };
    });
}

struct WorkflowOptions {
    bool json = false;
    std::string id {};
    std::string file {};
};

} // namespace

void addWorkflowsCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto options = std::make_shared<WorkflowOptions>();
    auto* workflows = app.add_subcommand(
        "workflows", "Show, check, enable, disable and delete the workflows of the data folder.");
    workflows->require_subcommand(1);

    auto* listCommand = workflows->add_subcommand("list",
        "Print each workflow: id, keywords and hot keys, name and state; the example workflows "
        "when there is no workflows.json.");
    listCommand->add_flag(
        "--json", options->json, "One JSON object a workflow, as workflows.json holds it");
    listCommand->callback([&action, &global, options] {
        action = [&global, options] { return listWorkflows(options->json, global); };
    });

    auto* showCommand = workflows->add_subcommand(
        "show", "Print one workflow with its nodes and connections, as workflows.json holds it.");
    showCommand->add_flag("--json", options->json, "As one compact line");
    showCommand->add_option("id", options->id, "The workflow's id")->required();
    showCommand->callback([&action, &global, options] {
        action = [&global, options] { return showWorkflow(options->id, options->json, global); };
    });

    auto* checkCommand = workflows->add_subcommand("check",
        "Print what is wrong with the workflow in FILE, one problem a line, checking its keywords "
        "against the data folder's workflows; a list of workflows is checked against itself. Exit "
        "status 1 when there are problems, 2 when FILE cannot be read or decoded.");
    checkCommand
        ->add_option("file", options->file, "A workflow JSON document; - for standard input")
        ->required();
    checkCommand->callback([&action, &global, options] {
        action = [&global, options] { return check(options->file, global); };
    });

    addChangeCommand(
        *workflows, action, global, "enable", "Enable a workflow.", WorkflowChange::enable);
    addChangeCommand(*workflows, action, global, "disable",
        "Disable a workflow: its keywords and hot keys are gone until it is enabled again.",
        WorkflowChange::disable);
    addChangeCommand(
        *workflows, action, global, "delete", "Delete a workflow.", WorkflowChange::remove);
}

} // namespace zeph::CommandLine
