#pragma once

#include "Agents/ReviewLedger.h"
#include "Logic/AppModel.h"

#include <string>
#include <vector>

namespace zeph {

// A workflow or snippet that an agent made or changed and the user has not approved yet.
struct PendingReview {
    enum class Kind { workflow, snippet };
    Kind kind = Kind::workflow;
    std::string id {};
    std::string name {};
    std::string collectionName {}; // The snippet's collection; empty for a workflow.
    std::vector<ChangedLine> changes {}; // Since the user last approved it.
    std::vector<std::string> problems {}; // What is wrong with a workflow, as the editor says.
};

// The review of what agents made: everything pending, what changed since the user last approved
// it ("review.json"), and the user's two answers. Approval enables the item and clears its review
// flag; it stays the agent's, so a later change by the agent sends it back to review. Main thread.
class AgentReview {
public:
    explicit AgentReview(AppModel& model);

    // Workflows first, in the user's order, then snippets collection by collection.
    std::vector<PendingReview> pending() const;
    // "Approve and Enable"; false when the item is gone or no longer pending.
    bool approve(PendingReview::Kind kind, const std::string& id);
    // Deletes the item; false when it is gone or the user made it.
    bool remove(PendingReview::Kind kind, const std::string& id);

private:
    void remember(ReviewLedger ledger);

    AppModel& m_model;
    JSONFileStore<ReviewLedger> m_store;
    ReviewLedger m_ledger;
};

} // namespace zeph
