#include "WorkflowChoice.h"

#include "Support/Text.h"
#include "Workflows/WorkflowLibrary.h"
#include "Workflows/WorkflowTemplate.h"

#include <algorithm>

namespace zeph::CommandLine {

std::vector<Workflow> installedWorkflows(const GlobalOptions& options)
{
    return documentToShow(options.dataFolder(), Paths::workflowsFile, WorkflowTemplate::examples(),
        "the example workflows stand in for it.");
}

Result<WorkflowChoice> chooseWorkflow(const std::vector<Workflow>& workflows,
    const std::string& idOrKeyword, const StartingNodes& starting)
{
    auto byID = std::find_if(workflows.begin(), workflows.end(),
        [&](const Workflow& workflow) { return workflow.id == idOrKeyword; });
    if (byID != workflows.end()) {
        for (auto* input : byID->inputNodes()) {
            if (starting.accepts(input->kind))
                return WorkflowChoice { .workflow = *byID, .startNodeID = input->id };
        }
        return Error { "The workflow \"" + byID->name + "\" has no " + starting.name
            + " to start from." };
    }
    auto keyword = lowercasedText(idOrKeyword);
    for (auto& entry : WorkflowLibrary::entries(workflows)) {
        if (lowercasedText(entry.keyword) != keyword)
            continue;
        auto& workflow = *std::find_if(workflows.begin(), workflows.end(),
            [&](const Workflow& candidate) { return candidate.id == entry.workflowID; });
        if (starting.accepts(workflow.nodeWithID(entry.nodeID)->kind))
            return WorkflowChoice { .workflow = workflow, .startNodeID = entry.nodeID };
    }
    return Error { "\"" + idOrKeyword
        + "\" is neither a workflow's id nor the keyword of an enabled " + "workflow's "
        + starting.name + "; `zeph workflows list` lists them." };
}

} // namespace zeph::CommandLine
