#pragma once

#include "Snippets/Snippet.h"
#include "Support/Json.h"
#include "Workflows/Workflow.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// One line of a comparison of two texts: kept, removed (only in the older) or added.
struct ChangedLine {
    enum class Kind { kept, removed, added };
    Kind kind = Kind::kept;
    std::string text {};
    bool operator==(const ChangedLine&) const = default;
};

// The lines of `before` and `after` in order, with the fewest removals and additions: a longest
// common subsequence of whole lines.
std::vector<ChangedLine> changedLines(std::string_view before, std::string_view after);

// "review.json": for each workflow and snippet an agent made or changed, the record as the user
// last approved it, so that the review can show what the agent changed since. An item never
// approved has no entry, and the whole record is new.
struct ReviewLedger {
    std::map<std::string, Json::Value> workflows {}; // By workflow id.
    std::map<std::string, Json::Value> snippets {}; // By snippet id.
    bool operator==(const ReviewLedger&) const = default;

    void approve(const Workflow& workflow);
    void approve(const Snippet& snippet);
    // What changed since the last approval, as document text; everything added when there was none.
    std::vector<ChangedLine> changesSinceApproval(const Workflow& workflow) const;
    std::vector<ChangedLine> changesSinceApproval(const Snippet& snippet) const;
    // Drops the entries of items that are gone, so that the file does not grow for ever.
    void keepOnly(
        const std::vector<Workflow>& workflows, const std::vector<SnippetCollection>& collections);
};

// Tolerant: an entry that is not an object is dropped, and a missing map is empty.
template <> struct DocumentCoding<ReviewLedger> {
    static Json::Value encode(const ReviewLedger& ledger);
    static Result<ReviewLedger> decode(const Json::Value& json);
};

} // namespace zeph
