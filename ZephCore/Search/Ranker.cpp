#include "Search/Ranker.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <unordered_map>

namespace zeph {

std::optional<RankedResult> Ranker::score(
    const IndexedItem& indexed, const QueryText& query, const Boosts& boosts) const
{
    return score(indexed, FuzzyMatcher::makePattern(query), boosts);
}

std::optional<RankedResult> Ranker::score(
    const IndexedItem& indexed, const FuzzyMatcher::Pattern& pattern, const Boosts& boosts) const
{
    RankedResult result;
    auto best = FuzzyMatcher::score(
        pattern, FuzzyMatcher::MatchTextTarget(indexed.titleText), 0, &result.highlight);
    for (auto& keyword : indexed.keywordTexts) {
        auto keywordScore = FuzzyMatcher::score(pattern, FuzzyMatcher::MatchTextTarget(keyword));
        if (!keywordScore)
            continue;
        // A keyword overtakes the title only when it is better even after its discount.
        double discounted = *keywordScore * 0.95;
        if (!best || discounted > *best) {
            best = discounted;
            result.highlight.clear();
        }
    }
    if (!best)
        return std::nullopt;
    auto boost = boosts.find(indexed.item.id);
    result.learnedBoost = boost == boosts.end() ? 0 : boost->second;
    // A scattered match of a known favourite survives a threshold that a stranger would not.
    if (*best < minimumMatchScore && !(result.learnedBoost > 0))
        return std::nullopt;
    result.matchScore = *best;
    result.score = learningWeight * result.learnedBoost + *best + rankingBonus(indexed.item.kind);
    result.item = indexed.item;
    return result;
}

std::vector<RankedResult> Ranker::rank(const std::vector<IndexedItem>& items,
    const QueryText& query, const Boosts& boosts, int limit) const
{
    if (query.compact.empty() || limit <= 0)
        return {};
    auto pattern = FuzzyMatcher::makePattern(query);
    std::vector<RankedResult> results;
    results.reserve(std::min<std::size_t>(items.size(), 256));
    for (auto& indexed : items) {
        if (auto result = score(indexed, pattern, boosts))
            results.push_back(std::move(*result));
    }
    return top(std::move(results), limit);
}

std::vector<RankedResult> Ranker::top(std::vector<RankedResult> results, int limit)
{
    auto kept = static_cast<std::size_t>(std::max(limit, 0));
    auto precedesResult
        = [](const RankedResult& a, const RankedResult& b) { return precedes(a, b); };
    if (kept < results.size()) {
        std::partial_sort(results.begin(), results.begin() + static_cast<std::ptrdiff_t>(kept),
            results.end(), precedesResult);
        results.resize(kept);
    } else {
        std::sort(results.begin(), results.end(), precedesResult);
    }
    return results;
}

std::vector<RankedResult> Ranker::merge(
    const std::vector<std::vector<RankedResult>>& groups, int limit)
{
    std::vector<RankedResult> kept;
    std::unordered_map<std::string, std::size_t> positions;
    for (auto& group : groups) {
        for (auto& result : group) {
            auto [entry, isNew] = positions.try_emplace(result.item.id, kept.size());
            if (isNew)
                kept.push_back(result);
            else if (result.score > kept[entry->second].score)
                kept[entry->second] = result;
        }
    }
    return top(std::move(kept), limit);
}

namespace {

// Lower-cases and compares scalar by scalar while both texts stay in the Latin table, where
// every scalar lower-cases to one scalar and text is already NFC; nothing when they leave it.
std::optional<int> compareLatinLowercased(std::string_view a, std::string_view b)
{
    std::size_t offsetA = 0;
    std::size_t offsetB = 0;
    while (offsetA < a.size() && offsetB < b.size()) {
        auto scalarA = decodeScalar(a, offsetA);
        auto scalarB = decodeScalar(b, offsetB);
        if (scalarA >= latinLimit || scalarB >= latinLimit)
            return std::nullopt;
        auto lowerA = latinScalar(scalarA).lowercased;
        auto lowerB = latinScalar(scalarB).lowercased;
        if (!lowerA || !lowerB)
            return std::nullopt;
        // A combining mark after either scalar may compose with it: the full comparison decides.
        bool markFollows = (offsetA < a.size() && static_cast<unsigned char>(a[offsetA]) >= 0xCC)
            || (offsetB < b.size() && static_cast<unsigned char>(b[offsetB]) >= 0xCC);
        if (markFollows)
            return std::nullopt;
        if (lowerA != lowerB)
            return lowerA < lowerB ? -1 : 1;
    }
    // The longer text is the greater one, whatever its remaining characters lower-case to.
    return (offsetA < a.size()) - (offsetB < b.size());
}

} // namespace

void Ranker::appendSortKey(std::string_view title, std::string& key)
{
    auto start = key.size();
    // A lower-cased Latin scalar takes at most three bytes for two; others take no more than
    // their capitals.
    key.resize(start + title.size() + title.size() / 2);
    auto* out = reinterpret_cast<unsigned char*>(key.data()) + start;
    for (std::size_t offset = 0; offset < title.size();) {
        // Eight ASCII bytes at a time: titles are mostly ASCII, Latin ones too.
        if (title.size() - offset >= 8) {
            std::uint64_t word;
            std::memcpy(&word, title.data() + offset, 8);
            auto folded = Ascii::foldWord(word);
            std::memcpy(out, &folded, 8);
            auto nonAscii = word & Ascii::highBits;
            auto asciiCount = nonAscii ? std::countr_zero(nonAscii) / 8u : 8u;
            offset += asciiCount;
            out += asciiCount;
            if (asciiCount == 8)
                continue;
        }
        auto byte = static_cast<unsigned char>(title[offset]);
        if (byte < 0x80) {
            *out++ = Ascii::fold(byte);
            ++offset;
            continue;
        }
        // Latin text is already NFC, and lower-cases scalar by scalar, unless a mark follows;
        // so do most scalars of other scripts, which take the table of their own.
        auto scalar = decodeScalar(title, offset);
        auto lower = scalar < latinLimit ? char32_t { latinScalar(scalar).lowercased }
                                         : lowercasedAlone(scalar);
        bool markFollows = false;
        if (offset < title.size() && static_cast<unsigned char>(title[offset]) >= 0xCC) {
            auto next = offset;
            markFollows = !standsAlone(decodeScalar(title, next));
        }
        if (!lower || markFollows) {
            key.resize(start);
            key += normalizedText(lowercasedText(title));
            return;
        }
        out = writeUTF8(lower, out);
    }
    key.resize(static_cast<std::size_t>(out - reinterpret_cast<unsigned char*>(key.data())));
}

int Ranker::compareAsciiLowercased(std::string_view a, std::string_view b)
{
    auto length = std::min(a.size(), b.size());
    for (std::size_t index = 0; index < length; ++index) {
        auto left = Ascii::fold(static_cast<unsigned char>(a[index]));
        auto right = Ascii::fold(static_cast<unsigned char>(b[index]));
        if (left != right)
            return left < right ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int Ranker::compareLowercased(std::string_view a, std::string_view b)
{
    if (isASCII(a) && isASCII(b))
        return compareAsciiLowercased(a, b);
    if (auto order = compareLatinLowercased(a, b))
        return *order;
    // Canonically equivalent titles are the same title.
    return normalizedText(lowercasedText(a)).compare(normalizedText(lowercasedText(b)));
}

bool Ranker::precedes(const OrderKey& a, const OrderKey& b)
{
    if (a.score != b.score)
        return a.score > b.score;
    if (a.titleCount != b.titleCount)
        return a.titleCount < b.titleCount;
    if (auto order = compareLowercased(a.title, b.title))
        return order < 0;
    return a.id < b.id;
}

bool Ranker::precedes(const RankedResult& a, const RankedResult& b)
{
    return precedes(OrderKey { a.score, graphemeCount(a.item.title), a.item.title, a.item.id },
        OrderKey { b.score, graphemeCount(b.item.title), b.item.title, b.item.id });
}

} // namespace zeph
