#include "Logic/AgentReview.h"

#include "Workflows/WorkflowLibrary.h"

#include <algorithm>

namespace zeph {

AgentReview::AgentReview(AppModel& model)
    : m_model(model)
    , m_store(std::string(Paths::reviewFile), model.dataFolder())
    , m_ledger(m_store.load().value_or(ReviewLedger {}))
{
}

std::vector<PendingReview> AgentReview::pending() const
{
    std::vector<PendingReview> found;
    const auto& workflows = m_model.workflows().get();
    for (const auto& workflow : workflows) {
        if (workflow.pendingReview)
            found.push_back({ .kind = PendingReview::Kind::workflow,
                .id = workflow.id,
                .name = workflow.name,
                .changes = m_ledger.changesSinceApproval(workflow),
                .problems = WorkflowLibrary::validate(workflow, workflows) });
    }
    for (const auto& collection : m_model.snippetCollections().get()) {
        for (const auto& snippet : collection.snippets) {
            if (snippet.pendingReview)
                found.push_back({ .kind = PendingReview::Kind::snippet,
                    .id = snippet.id,
                    .name = snippet.name,
                    .collectionName = collection.name,
                    .changes = m_ledger.changesSinceApproval(snippet) });
        }
    }
    return found;
}

bool AgentReview::approve(PendingReview::Kind kind, const std::string& id)
{
    auto ledger = m_ledger;
    bool approved = false;
    // Workflows and snippets carry the same flags.
    auto approveIfPending = [&](auto& record) {
        if (record.id != id || !record.pendingReview)
            return;
        record.isEnabled = true;
        record.pendingReview = false;
        ledger.approve(record);
        approved = true;
    };
    if (kind == PendingReview::Kind::workflow) {
        m_model.workflows().change([&](std::vector<Workflow>& workflows) {
            std::for_each(workflows.begin(), workflows.end(), approveIfPending);
        });
    } else {
        m_model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
            for (auto& collection : collections)
                std::for_each(
                    collection.snippets.begin(), collection.snippets.end(), approveIfPending);
        });
    }
    if (approved)
        remember(std::move(ledger));
    return approved;
}

bool AgentReview::remove(PendingReview::Kind kind, const std::string& id)
{
    bool removed = false;
    if (kind == PendingReview::Kind::workflow) {
        m_model.workflows().change([&](std::vector<Workflow>& workflows) {
            removed = std::erase_if(workflows, [&](const Workflow& workflow) {
                return workflow.id == id && workflow.createdByAgent;
            }) > 0;
        });
    } else {
        m_model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
            for (auto& collection : collections) {
                removed = std::erase_if(collection.snippets,
                              [&](const Snippet& snippet) {
                                  return snippet.id == id && snippet.createdByAgent;
                              })
                        > 0
                    || removed;
            }
        });
    }
    if (removed)
        remember(m_ledger);
    return removed;
}

void AgentReview::remember(ReviewLedger ledger)
{
    ledger.keepOnly(m_model.workflows().get(), m_model.snippetCollections().get());
    if (ledger == m_ledger && m_store.load())
        return;
    m_ledger = std::move(ledger);
    m_store.save(m_ledger);
}

} // namespace zeph
