#include "Agents/ReviewLedger.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using Kind = ChangedLine::Kind;

std::string render(const std::vector<ChangedLine>& changes)
{
    std::string text;
    for (const auto& line : changes)
        text += (line.kind == Kind::kept           ? " "
                        : line.kind == Kind::added ? "+"
                                                   : "-")
            + line.text + "\n";
    return text;
}

TEST(ChangedLines, KeepsWhatBothShareAndMarksTheRest)
{
    EXPECT_EQ(render(changedLines("a\nb\nc\nd", "a\nc\nx\nd")), " a\n-b\n c\n+x\n d\n");
    EXPECT_EQ(render(changedLines("", "one\ntwo")), "+one\n+two\n");
    EXPECT_EQ(render(changedLines("one\ntwo", "")), "-one\n-two\n");
    EXPECT_EQ(render(changedLines("same\n", "same\n")), " same\n");
    // A line moved: one removal and one addition, never more.
    auto moved = changedLines("a\nb\nc", "b\nc\na");
    EXPECT_EQ(std::count_if(
                  moved.begin(), moved.end(), [](auto& line) { return line.kind != Kind::kept; }),
        2);
}

TEST(ReviewLedger, ShowsWhatChangedSinceTheLastApprovalAndForgetsWhatIsGone)
{
    Workflow workflow { .id = "w1",
        .name = "Open Notes",
        .isEnabled = false,
        .createdByAgent = true,
        .pendingReview = true };
    ReviewLedger ledger;
    auto unseen = ledger.changesSinceApproval(workflow);
    EXPECT_TRUE(std::all_of(
        unseen.begin(), unseen.end(), [](auto& line) { return line.kind == Kind::added; }));

    ledger.approve(workflow);
    workflow.name = "Open Journal";
    auto changes = render(ledger.changesSinceApproval(workflow));
    EXPECT_NE(changes.find("-  \"name\": \"Open Notes\","), std::string::npos) << changes;
    EXPECT_NE(changes.find("+  \"name\": \"Open Journal\","), std::string::npos) << changes;

    Snippet snippet { .id = "s1", .name = "Sig", .content = "Best" };
    ledger.approve(snippet);
    ledger.keepOnly({}, { SnippetCollection { .id = "c", .snippets = { snippet } } });
    EXPECT_TRUE(ledger.workflows.empty());
    EXPECT_EQ(ledger.snippets.size(), 1u);
}

TEST(ReviewLedger, ReadsBackWhatItWritesAndToleratesStrayEntries)
{
    ReviewLedger ledger;
    ledger.approve(Workflow { .id = "w1" });
    ledger.approve(Snippet { .id = "s1", .content = "x" });
    auto json = DocumentCoding<ReviewLedger>::encode(ledger);
    EXPECT_EQ(*DocumentCoding<ReviewLedger>::decode(json), ledger);

    auto stray = Json::parse(R"({"workflows": {"w1": 3, "w2": {"id": "w2"}}, "snippets": []})");
    auto decoded = DocumentCoding<ReviewLedger>::decode(*stray);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->workflows.size(), 1u);
    EXPECT_TRUE(decoded->snippets.empty());
    EXPECT_FALSE(DocumentCoding<ReviewLedger>::decode(Json::Value::array()));
}

} // namespace
