#include "Workflows/WorkflowLibrary.h"

#include <algorithm>
#include <set>

namespace zeph {

std::string WorkflowEntry::itemID() const
{
    return "wf:" + workflowID + ":" + nodeID;
}

namespace WorkflowLibrary {

namespace {

const std::string& orDefault(const std::string& text, const std::string& fallback)
{
    return text.empty() ? fallback : text;
}

// The nodes of the enabled workflows, in list and node order.
template <typename Visit>
void forEachEnabledNode(const std::vector<Workflow>& workflows, Visit&& visit)
{
    for (auto& workflow : workflows) {
        if (!workflow.isEnabled)
            continue;
        for (auto& node : workflow.nodes)
            visit(workflow, node);
    }
}

} // namespace

std::vector<WorkflowEntry> entries(const std::vector<Workflow>& workflows)
{
    std::vector<WorkflowEntry> found;
    forEachEnabledNode(workflows, [&](const Workflow& workflow, const WorkflowNode& node) {
        auto* keyword = node.kind.keyword();
        if (!keyword || keyword->empty())
            return;
        WorkflowEntry entry { .workflowID = workflow.id,
            .nodeID = node.id,
            .keyword = *keyword,
            .subtitle = workflow.summary,
            .symbolName = std::string(node.kind.symbolName()) };
        if (auto* input = node.kind.get<NodeKind::Keyword>()) {
            entry.title = orDefault(input->title, workflow.name);
            entry.subtitle = orDefault(input->subtitle, workflow.summary);
            entry.argument = input->argument;
        } else if (auto* filter = node.kind.get<NodeKind::ScriptFilter>()) {
            entry.title = orDefault(filter->title, workflow.name);
            entry.argument = filter->argument;
        } else if (auto* list = node.kind.get<NodeKind::ListFilter>()) {
            entry.title = orDefault(list->title, workflow.name);
            entry.argument = ArgumentRequirement::optional;
        }
        found.push_back(std::move(entry));
    });
    return found;
}

std::vector<WorkflowHotkey> hotkeyBindings(const std::vector<Workflow>& workflows)
{
    std::vector<WorkflowHotkey> found;
    forEachEnabledNode(workflows, [&](const Workflow& workflow, const WorkflowNode& node) {
        auto* hotkey = node.kind.get<NodeKind::Hotkey>();
        if (hotkey && hotkey->combo && hotkey->combo->isValid())
            found.push_back(
                { .workflowID = workflow.id, .nodeID = node.id, .combo = *hotkey->combo });
    });
    return found;
}

std::vector<std::string> validate(const Workflow& workflow, const std::vector<Workflow>& others)
{
    std::vector<std::string> problems;
    auto inputs = workflow.inputNodes();
    if (inputs.empty())
        problems.push_back("Add a Keyword, Hotkey or Filter so the workflow can be started.");
    for (auto* node : inputs) {
        if (auto* keyword = node->kind.keyword()) {
            if (keyword->empty())
                problems.push_back(std::string(node->kind.displayName()) + " has no keyword.");
            else if (keyword->find(' ') != std::string::npos)
                problems.push_back("Keyword '" + *keyword + "' cannot contain spaces.");
        } else if (auto* hotkey = node->kind.get<NodeKind::Hotkey>(); hotkey && !hotkey->combo) {
            problems.push_back("Hotkey has no shortcut recorded.");
        }
        bool isConnected = std::any_of(workflow.connections.begin(), workflow.connections.end(),
            [&](const WorkflowConnection& connection) { return connection.from == node->id; });
        if (!isConnected)
            problems.push_back(
                std::string(node->kind.displayName()) + " is not connected to anything.");
    }

    auto ownKeywords = workflow.keywords();
    if (ownKeywords.empty())
        return problems;
    std::sort(ownKeywords.begin(), ownKeywords.end());
    for (auto& other : others) {
        if (other.id == workflow.id || !other.isEnabled)
            continue;
        // Sorted and without repeats, so each shared keyword is told once, in order.
        std::set<std::string_view> shared;
        for (auto& node : other.nodes) {
            auto* keyword = node.kind.keyword();
            if (keyword && !keyword->empty()
                && std::binary_search(ownKeywords.begin(), ownKeywords.end(), *keyword))
                shared.insert(*keyword);
        }
        for (auto keyword : shared)
            problems.push_back(
                "Keyword '" + std::string(keyword) + "' is also used by '" + other.name + "'.");
    }
    return problems;
}

} // namespace WorkflowLibrary

} // namespace zeph
