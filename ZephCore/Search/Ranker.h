#pragma once

#include "Search/FuzzyMatcher.h"
#include "Search/SearchItem.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zeph {

// What the knowledge base learned: item id to a boost in [0, 1).
using Boosts = std::unordered_map<std::string, double>;

// Turns matcher scores into final scores and orders results.
struct Ranker {
    double learningWeight = 0.9;
    double minimumMatchScore = 0.2;

    std::optional<RankedResult> score(
        const IndexedItem& indexed, const QueryText& query, const Boosts& boosts) const;
    std::optional<RankedResult> score(const IndexedItem& indexed,
        const FuzzyMatcher::Pattern& pattern, const Boosts& boosts) const;
    std::vector<RankedResult> rank(const std::vector<IndexedItem>& items, const QueryText& query,
        const Boosts& boosts, int limit) const;

    // Sorts, then keeps the first `limit`.
    static std::vector<RankedResult> top(std::vector<RankedResult> results, int limit);
    // Keeps one result per id: the first met, unless a later one scores strictly higher.
    static std::vector<RankedResult> merge(
        const std::vector<std::vector<RankedResult>>& groups, int limit);

    // The order of results, on its own for callers that keep results in another shape: higher
    // score, then shorter title (in characters), then lower-cased title, then id.
    struct OrderKey {
        double score = 0;
        std::size_t titleCount = 0;
        std::string_view title {};
        std::string_view id {};
    };
    static bool precedes(const OrderKey& a, const OrderKey& b);
    static bool precedes(const RankedResult& a, const RankedResult& b);
    // Compares two titles lower-cased, as plain strings: negative, zero or positive.
    static int compareLowercased(std::string_view a, std::string_view b);
    // The same for two texts known to be ASCII.
    static int compareAsciiLowercased(std::string_view a, std::string_view b);
    // Appends the title's sort key: bytes whose plain order (shorter first) is compareLowercased's
    // order, so that titles sorted many times over are lower-cased and normalised only once.
    static void appendSortKey(std::string_view title, std::string& key);
};

} // namespace zeph
