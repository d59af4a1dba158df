#include "Logic/AgentReview.h"

#include "FakeFolderWatching.h"
#include "FakeMainLoop.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using Kind = PendingReview::Kind;

struct AgentReviewFixture : testing::Test {
    TemporaryDirectory folder;
    FakeMainLoop loop;
    FakeFolderWatching watching;
    AppModel model { folder.path(), loop, watching, "/home/ann" };

    AgentReviewFixture()
    {
        model.workflows().set({ Workflow { .id = "mine", .name = "Mine" },
            Workflow { .id = "agent",
                .name = "Agent's",
                .isEnabled = false,
                .createdByAgent = true,
                .pendingReview = true } });
        model.snippetCollections().set({ SnippetCollection { .id = "c",
            .name = "Agent Snippets",
            .snippets = { Snippet { .id = "s",
                .name = "Sig",
                .content = "Best",
                .isEnabled = false,
                .createdByAgent = true,
                .pendingReview = true } } } });
    }
};

TEST_F(AgentReviewFixture, ListsWhatIsPendingAndApprovalEnablesItAndRemembersIt)
{
    AgentReview review(model);
    auto pending = review.pending();
    ASSERT_EQ(pending.size(), 2u);
    EXPECT_EQ(pending[0].kind, Kind::workflow);
    EXPECT_EQ(pending[0].id, "agent");
    EXPECT_EQ(pending[1].collectionName, "Agent Snippets");
    EXPECT_TRUE(std::all_of(pending[0].changes.begin(), pending[0].changes.end(),
        [](auto& line) { return line.kind == ChangedLine::Kind::added; }));

    EXPECT_TRUE(review.approve(Kind::workflow, "agent"));
    EXPECT_FALSE(review.approve(Kind::workflow, "agent"));
    EXPECT_FALSE(review.approve(Kind::workflow, "mine"));
    const auto& approved = model.workflows().get()[1];
    EXPECT_TRUE(approved.isEnabled);
    EXPECT_FALSE(approved.pendingReview);
    EXPECT_TRUE(approved.createdByAgent);

    // The agent changes it again: back in review, showing only what it changed.
    model.workflows().change([](auto& workflows) {
        workflows[1].name = "Agent's, renamed";
        workflows[1].isEnabled = false;
        workflows[1].pendingReview = true;
    });
    AgentReview again(model); // As after a restart: the approval was kept in the file.
    auto changes = again.pending()[0].changes;
    auto changed = std::count_if(changes.begin(), changes.end(),
        [](auto& line) { return line.kind != ChangedLine::Kind::kept; });
    EXPECT_EQ(changed, 6) << "name, isEnabled and pendingReview, each removed and added";
}

TEST_F(AgentReviewFixture, DeletesOnlyWhatAnAgentMade)
{
    AgentReview review(model);
    EXPECT_FALSE(review.remove(Kind::workflow, "mine"));
    EXPECT_TRUE(review.remove(Kind::snippet, "s"));
    EXPECT_TRUE(review.remove(Kind::workflow, "agent"));
    EXPECT_EQ(model.workflows().get().size(), 1u);
    EXPECT_TRUE(model.snippetCollections().get()[0].snippets.empty());
    EXPECT_TRUE(review.pending().empty());
}

} // namespace
