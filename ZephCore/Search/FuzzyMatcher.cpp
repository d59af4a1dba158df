#include "Search/FuzzyMatcher.h"

namespace zeph::FuzzyMatcher {

Pattern makePattern(const QueryText& query)
{
    Pattern pattern { .chars = query.chars, .compact = query.compact };
    for (auto character : query.compact)
        pattern.mask |= characterClassBit(character);
    for (auto character : query.chars)
        pattern.charsMask |= characterClassBit(character);
    for (auto character : query.chars) {
        if (character >= 0x80 || pattern.asciiSlots[character] != Pattern::noSlot
            || pattern.asciiCharacters.size() == Pattern::maxAsciiSlots)
            continue;
        pattern.asciiSlots[character] = static_cast<std::uint8_t>(pattern.asciiCharacters.size());
        pattern.asciiCharacters.push_back(static_cast<char>(character));
    }
    auto slotsOf = [&](const std::u32string& characters) {
        std::basic_string<std::uint8_t> slots;
        for (auto character : characters) {
            if (character >= 0x80 || pattern.asciiSlots[character] == Pattern::noSlot)
                return std::basic_string<std::uint8_t> {};
            slots.push_back(pattern.asciiSlots[character]);
        }
        return slots;
    };
    pattern.charSlots = slotsOf(pattern.chars);
    pattern.compactSlots = slotsOf(pattern.compact);
#if defined(__SSE2__)
    for (std::size_t slot = 0; slot < pattern.asciiCharacters.size(); ++slot) {
        auto character = pattern.asciiCharacters[slot];
        pattern.slotBlocks[slot] = _mm_set1_epi8(character);
        pattern.slotCaseBits[slot]
            = _mm_set1_epi8(Detail::caseBitOf(static_cast<unsigned char>(character)));
    }
#endif
    return pattern;
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
