#include "Search/FuzzyMatcher.h"

namespace zeph::FuzzyMatcher {

Pattern makePattern(const QueryText& query)
{
    Pattern pattern { .chars = query.chars, .compact = query.compact };
    for (auto character : query.compact)
        pattern.mask |= characterClassBit(character);
    pattern.asciiSlots.fill(Pattern::noSlot);
    for (auto character : query.chars) {
        if (character >= 0x80 || pattern.asciiSlots[character] != Pattern::noSlot
            || pattern.asciiCharacters.size() == Pattern::maxAsciiSlots)
            continue;
        pattern.asciiSlots[character] = static_cast<std::uint8_t>(pattern.asciiCharacters.size());
        pattern.asciiCharacters.push_back(static_cast<char>(character));
    }
    return pattern;
}

double bestPossibleScore(const Pattern& pattern, std::uint32_t count)
{
    auto queryCount = pattern.chars.size();
    if (pattern.compact.empty() || count < pattern.compact.size())
        return 0;
    if (queryCount == count)
        return 1.0;
    if (queryCount < count)
        return 0.9 + 0.08 * (static_cast<double>(queryCount) / static_cast<double>(count));
    return Detail::acronymCeiling;
}

double bestPossibleScore(const Pattern& pattern, std::uint32_t count, Character first)
{
    auto best = bestPossibleScore(pattern, count);
    if (best == 0 || first == pattern.chars[0])
        return best;
    auto queryCount = pattern.chars.size();
    if (queryCount >= count)
        return Detail::acronymCeiling;
    double wordStart = 0.8 + 0.08 * (static_cast<double>(queryCount) / static_cast<double>(count));
    return std::max(wordStart, Detail::acronymCeiling);
}

std::optional<Match> match(const QueryText& query, const MatchText& target)
{
    Match result;
    auto found = score(makePattern(query), MatchTextTarget(target), 0, &result.indices);
    if (!found)
        return std::nullopt;
    result.score = *found;
    return result;
}

} // namespace zeph::FuzzyMatcher
