#pragma once

#include "Search/MatchText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zeph {

struct Match {
    double score = 0;
    std::vector<int> indices {}; // Positions in the target's characters, ascending.
    bool operator==(const Match&) const = default;
};

namespace FuzzyMatcher {

std::optional<Match> match(const QueryText& query, const MatchText& target);

// A query prepared for matching many targets.
struct Pattern {
    std::u32string chars {};
    std::u32string compact {};
    std::uint64_t mask = 0; // The character classes of `compact`.
    std::uint64_t charsMask = 0; // Of `chars`, spaces included.
    // The first eight distinct ASCII characters of `chars`, spaces included, each with its slot
    // in `asciiSlots`, for targets that keep a bit mask of each one's positions.
    static constexpr std::uint8_t noSlot = 0xFF;
    static constexpr std::size_t maxAsciiSlots = 8;
    std::array<std::uint8_t, 128> asciiSlots = [] {
        std::array<std::uint8_t, 128> slots {};
        slots.fill(noSlot);
        return slots;
    }();
    std::string asciiCharacters {}; // By slot.
    // The slot of each of `chars` in turn, or nothing when one of them has none; the same of
    // `compact`.
    std::basic_string<std::uint8_t> charSlots {};
    std::basic_string<std::uint8_t> compactSlots {};
#if defined(__SSE2__)
    // Each slot's character in all sixteen bytes, to compare folded blocks of a target with, and
    // what OR-ing into a byte folds it to the character: the case bit of a letter.
    __m128i slotBlocks[maxAsciiSlots] {};
    __m128i slotCaseBits[maxAsciiSlots] {};
#endif
};
Pattern makePattern(const QueryText& query);

// A target is anything with these members, so that prepared records and arenas share one matcher:
//   std::uint32_t count() const;
//   Character at(std::uint32_t position) const;               // the folded character
//   bool isWordStart(std::uint32_t position) const;
//   std::uint32_t find(Character, std::uint32_t from) const;  // first position >= from, or count()
//   std::uint32_t wordStartCount() const;
// and may have
//   std::uint32_t findWordStart(Character, std::uint32_t from) const;  // find() at word starts

// Whether the compacted query is a subsequence of the target, one character at a time.
template <typename Target> bool containsByFinding(const Pattern& pattern, const Target& target)
{
    std::uint32_t from = 0;
    auto count = target.count();
    for (auto character : pattern.compact) {
        auto position = target.find(character, from);
        if (position >= count)
            return false;
        from = position + 1;
    }
    return true;
}

// True when the compacted query is a subsequence of the target. Every stage that succeeds implies
// it, and the scattered stage succeeds exactly when it holds. A target may know faster.
template <typename Target> bool contains(const Pattern& pattern, const Target& target)
{
    if constexpr (requires { target.contains(pattern); })
        return target.contains(pattern);
    else
        return containsByFinding(pattern, target);
}

namespace Detail {

// What OR-ing into an ASCII byte folds it to `folded`: the case bit for letters, nothing otherwise.
constexpr char caseBitOf(Character folded)
{
    return folded >= 'a' && folded <= 'z' ? 0x20 : 0;
}

// The first byte from `begin` on that equals `byte` once `caseBit` is OR-ed into it, or `end`.
// Inline, because most searches stop within a few blocks, before a call to memchr would pay.
inline const unsigned char* findByte(
    const unsigned char* begin, const unsigned char* end, unsigned char byte, unsigned char caseBit)
{
#if defined(__SSE2__)
    const auto needle = _mm_set1_epi8(static_cast<char>(byte));
    const auto caseBits = _mm_set1_epi8(static_cast<char>(caseBit));
    for (; end - begin >= 16; begin += 16) {
        auto block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(begin));
        auto hits = _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_or_si128(block, caseBits), needle));
        if (hits)
            return begin + std::countr_zero(static_cast<unsigned>(hits));
    }
#endif
    for (; begin < end; ++begin) {
        if ((*begin | caseBit) == byte)
            return begin;
    }
    return end;
}

#if defined(__SSE2__)
// The block at `offset`, near the end of the `readable` bytes from `bytes` on, padded with NUL.
[[gnu::cold]] inline __m128i lastBlock(
    const unsigned char* bytes, std::size_t readable, std::size_t offset)
{
    alignas(16) unsigned char padded[16] = {};
    if (offset < readable)
        std::memcpy(padded, bytes + offset, std::min<std::size_t>(16, readable - offset));
    return _mm_load_si128(reinterpret_cast<const __m128i*>(padded));
}

// Whether the compacted query, whose characters all have slots, is a subsequence of `count`
// bytes, ASCII or folded below 256, of which `readable` may be read. Each block of sixteen is
// loaded once, and looked at for as many of the query's characters as it holds in turn.
inline bool containsInBlocks(
    const unsigned char* bytes, std::uint32_t count, std::size_t readable, const Pattern& pattern)
{
    auto slot = pattern.compactSlots.begin();
    auto end = pattern.compactSlots.end();
    // True once the block's bytes in `inTarget` hold the rest of the query.
    auto holdsRest = [&](__m128i block, unsigned inTarget) {
        for (;;) {
            auto folded = _mm_or_si128(block, pattern.slotCaseBits[*slot]);
            auto hits = static_cast<unsigned>(
                            _mm_movemask_epi8(_mm_cmpeq_epi8(folded, pattern.slotBlocks[*slot])))
                & inTarget;
            if (!hits)
                return false;
            if (++slot == end)
                return true;
            // The next character is looked for past this one.
            inTarget &= ~((2u << std::countr_zero(hits)) - 1);
        }
    };
    std::uint32_t offset = 0;
    for (; count - offset >= 16; offset += 16) {
        if (holdsRest(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + offset)), 0xFFFF))
            return true;
    }
    if (offset == count)
        return false;
    auto last = readable - offset >= 16
        ? _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + offset))
        : lastBlock(bytes, readable, offset);
    return holdsRest(last, (1u << (count - offset)) - 1);
}
#endif

// Whether a target of bytes, ASCII or folded below 256, of which `readable` may be read, holds the
// compacted query: a block at a time when each of the query's characters has a slot.
template <typename Target>
bool containsBytes(
    const Target& target, const unsigned char* bytes, std::size_t readable, const Pattern& pattern)
{
#if defined(__SSE2__)
    if (!pattern.compactSlots.empty())
        return containsInBlocks(bytes, target.count(), readable, pattern);
#else
    (void)bytes;
    (void)readable;
#endif
    return containsByFinding(pattern, target);
}

template <typename Target>
bool equalsAt(const Target& target, std::uint32_t position, const std::u32string& characters)
{
    for (std::uint32_t index = 0; index < characters.size(); ++index) {
        if (target.at(position + index) != characters[index])
            return false;
    }
    return true;
}

// The next position from `from` on where the query's first two characters stand together (its
// first, for a one-character query). A target may find pairs faster than characters one by one.
template <typename Target>
std::uint32_t findLead(const Pattern& pattern, const Target& target, std::uint32_t from)
{
    auto lead = pattern.chars[0];
    if (pattern.chars.size() < 2)
        return target.find(lead, from);
    if constexpr (requires { target.findPair(lead, lead, from); }) {
        return target.findPair(lead, pattern.chars[1], from);
    } else {
        auto count = target.count();
        for (auto position = target.find(lead, from); position + 1 < count;
             position = target.find(lead, position + 1)) {
            if (target.at(position + 1) == pattern.chars[1])
                return position;
        }
        return count;
    }
}

// The next position from `from` on where the query's characters all stand in order, or count().
// A target may keep where they do.
template <typename Target>
std::uint32_t findOccurrence(const Pattern& pattern, const Target& target, std::uint32_t from)
{
    if constexpr (requires { target.findOccurrence(pattern, from); }) {
        return target.findOccurrence(pattern, from);
    } else {
        auto count = target.count();
        if (pattern.chars.size() > count)
            return count;
        auto lastStart = static_cast<std::uint32_t>(count - pattern.chars.size());
        for (auto position = findLead(pattern, target, from); position <= lastStart;
             position = findLead(pattern, target, position + 1)) {
            if (equalsAt(target, position, pattern.chars))
                return position;
        }
        return count;
    }
}

// The first position from `from` on that holds `character` at a word start, or count(), found
// through the character, because word starts are dearer to find than characters.
template <typename Target>
std::uint32_t findWordStartByFinding(const Target& target, Character character, std::uint32_t from)
{
    auto count = target.count();
    auto position = target.find(character, from);
    while (position < count && !target.isWordStart(position))
        position = target.find(character, position + 1);
    return std::min(position, count);
}

// The same, from the target when it knows better.
template <typename Target>
std::uint32_t findWordStart(const Target& target, Character character, std::uint32_t from)
{
    if constexpr (requires { target.findWordStart(character, from); })
        return target.findWordStart(character, from);
    else
        return findWordStartByFinding(target, character, from);
}

inline std::optional<double> accept(
    double score, std::uint32_t start, std::size_t length, std::vector<int>* indices)
{
    if (indices) {
        indices->resize(length);
        for (std::size_t index = 0; index < length; ++index)
            (*indices)[index] = static_cast<int>(start + index);
    }
    return score;
}

struct ScatterWalk {
    std::uint32_t starts = 0;
    std::uint32_t runs = 0;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    bool operator==(const ScatterWalk&) const = default;

    // Takes `pick` after the picks so far, of which there are `picked`.
    void add(std::size_t picked, std::uint32_t pick, bool isWordStart)
    {
        if (!picked)
            first = pick;
        else if (pick == last + 1)
            ++runs;
        starts += isWordStart;
        last = pick;
    }
};

// How walks find the compacted query's characters in a target, each by its place in the query:
// through the target's own search for the character. A target that knows where each character
// stands may hand walks picks of its own, with the same members.
template <typename Target> class FindingPicks {
public:
    FindingPicks(const Pattern& pattern, const Target& target)
        : m_compact(pattern.compact)
        , m_target(target)
    {
    }
    std::size_t size() const { return m_compact.size(); }
    std::uint32_t count() const { return m_target.count(); }
    // The first place from `from` on that holds the character at `index`, or count() or more.
    std::uint32_t find(std::size_t index, std::uint32_t from) const
    {
        return m_target.find(m_compact[index], from);
    }
    // The same at word starts.
    std::uint32_t findWordStart(std::size_t index, std::uint32_t from) const
    {
        return Detail::findWordStart(m_target, m_compact[index], from);
    }
    // Whether `position`, below the count, holds the character at `index`.
    bool holds(std::size_t index, std::uint32_t position) const
    {
        return m_target.at(position) == m_compact[index];
    }
    bool isWordStart(std::uint32_t position) const { return m_target.isWordStart(position); }

private:
    const std::u32string& m_compact;
    const Target& m_target;
};

// Picks the compacted query's characters left to right from the one at `index` on, after the
// picks of `walk`, at `from` or later; with `preferWordStarts`, a run is continued first and a word
// start is preferred to the first plain occurrence.
template <typename Picks>
std::optional<ScatterWalk> continueWalk(const Picks& picks, bool preferWordStarts, ScatterWalk walk,
    std::size_t index, std::uint32_t from, std::vector<int>* indices)
{
    auto count = picks.count();
    for (; index < picks.size(); ++index) {
        auto pick = count;
        if (preferWordStarts && index && from < count && picks.holds(index, from)) {
            pick = from;
        } else {
            if (preferWordStarts)
                pick = picks.findWordStart(index, from);
            if (pick == count) {
                pick = picks.find(index, from);
                if (pick >= count)
                    return std::nullopt;
            }
        }
        walk.add(index, pick, picks.isWordStart(pick));
        from = pick + 1;
        if (indices)
            indices->push_back(static_cast<int>(pick));
    }
    return walk;
}

// A whole walk, from the first character on.
template <typename Target>
std::optional<ScatterWalk> walkSubsequence(
    const Pattern& pattern, const Target& target, bool preferWordStarts, std::vector<int>* indices)
{
    if (indices)
        indices->clear();
    return continueWalk(FindingPicks(pattern, target), preferWordStarts, {}, 0, 0, indices);
}

struct ScatterWalks {
    std::optional<ScatterWalk> plain {};
    std::optional<ScatterWalk> preferring {};
};

// Both walks, sharing their picks for as long as they agree: while the plain walk's pick continues
// a run or starts a word, the preferring walk takes it too, and it takes another only when a word
// start after it holds the character.
template <typename Picks> ScatterWalks walkBothWith(const Picks& picks)
{
    auto count = picks.count();
    ScatterWalk walk;
    std::uint32_t from = 0;
    for (std::size_t index = 0; index < picks.size(); ++index) {
        auto pick = picks.find(index, from);
        if (pick >= count)
            return {};
        bool isWordStart = picks.isWordStart(pick);
        if (!isWordStart && !(index && pick == from)) {
            auto start = picks.findWordStart(index, pick + 1);
            if (start < count) {
                auto plain = walk;
                plain.add(index, pick, false);
                auto preferring = walk;
                preferring.add(index, start, true);
                return { continueWalk(picks, false, plain, index + 1, pick + 1, nullptr),
                    continueWalk(picks, true, preferring, index + 1, start + 1, nullptr) };
            }
        }
        walk.add(index, pick, isWordStart);
        from = pick + 1;
    }
    return { walk, walk };
}

// The same for a target, with its own picks when it has them.
template <typename Target> ScatterWalks walkBoth(const Pattern& pattern, const Target& target)
{
    if constexpr (requires { target.walkBoth(pattern); })
        return target.walkBoth(pattern);
    else
        return walkBothWith(FindingPicks(pattern, target));
}

// The shares of a walk's score that its picks at word starts and in runs earn, by how many picks
// it makes and how many of them do.
inline constexpr double startsShare(std::uint32_t starts, std::size_t picked)
{
    return (starts * 0.15) / static_cast<double>(picked);
}
inline constexpr double runsShare(std::uint32_t runs, std::size_t picked)
{
    return (runs * 0.12) / std::max(1.0, static_cast<double>(picked) - 1);
}

// Both shares worked out for walks of up to sixteen picks, the same to the last bit: two
// divisions a walk cost more than looking them up.
struct ScatterShares {
    static constexpr std::size_t maxPicked = 16;
    double starts[maxPicked + 1][maxPicked + 1] {};
    double runs[maxPicked + 1][maxPicked + 1] {};
};
inline constexpr auto scatterShares = [] {
    ScatterShares shares;
    for (std::size_t picked = 1; picked <= ScatterShares::maxPicked; ++picked) {
        for (std::uint32_t count = 0; count <= picked; ++count) {
            shares.starts[picked][count] = startsShare(count, picked);
            shares.runs[picked][count] = runsShare(count, picked);
        }
    }
    return shares;
}();

// The most that a walk without a pick at a word start or in a run can score.
inline constexpr double bareWalkCeiling = 0.25;

inline double scatterScore(const ScatterWalk& walk, std::size_t picked, std::uint32_t targetCount)
{
    bool known = picked <= ScatterShares::maxPicked;
    double starts
        = known ? scatterShares.starts[picked][walk.starts] : startsShare(walk.starts, picked);
    double runs = known ? scatterShares.runs[picked][walk.runs] : runsShare(walk.runs, picked);
    auto gaps = static_cast<double>(walk.last - walk.first + 1) - static_cast<double>(picked);
    double raw = bareWalkCeiling + starts + runs - std::min(walk.first * 0.125, 1.0) * 0.05
        - std::min(gaps / std::max(1.0, static_cast<double>(targetCount)), 1.0) * 0.05;
    return std::min(std::max(raw, 0.1), 0.58);
}

inline constexpr double acronymCeiling = 0.78;

} // namespace Detail

// The best score that any stage could give a target of `count` characters. Inline, because
// indexes bound lines with it, some of them every line.
inline double bestPossibleScore(const Pattern& pattern, std::uint32_t count)
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

// The same for a target whose first character is known: unless it is the query's, neither the
// exact nor the prefix stage can match, and long targets fall below a word start's floor.
inline double bestPossibleScore(const Pattern& pattern, std::uint32_t count, Character first)
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

// The stages' score bands, best first. Bands never overlap, so a target that scores nothing with a
// band's floor as its floor is known to score below that band, and a later look at it may start
// at the next band.
enum class Band : std::uint8_t { exactOrPrefix, wordStart, acronymOrSubstring, scattered };
inline constexpr std::size_t bandCount = 4;
inline constexpr double bandFloors[bandCount] = { 0.9, 0.8, 0.62, 0.1 };
// The scattered stage's best is 0.25 + 0.15 + 0.12: every pick a word start and every pick in a
// run.
inline constexpr double bandCeilings[bandCount] = { 1.0, 0.88, Detail::acronymCeiling, 0.52 };

constexpr double floorOf(Band band)
{
    return bandFloors[static_cast<std::size_t>(band)];
}
constexpr double ceilingOf(Band band)
{
    return bandCeilings[static_cast<std::size_t>(band)];
}

// The scattered stage alone: for targets that hold the query as a subsequence and that no earlier
// stage matches.
template <typename Target>
std::optional<double> scoreScattered(const Pattern& pattern, const Target& target, double floor = 0,
    std::vector<int>* indices = nullptr)
{
    using namespace Detail;
    auto count = target.count();
    auto compactCount = pattern.compact.size();
    if (ceilingOf(Band::scattered) < floor)
        return std::nullopt;
    // The preferring walk can run out where the plain one does not: a word start taken early may
    // leave no room for the rest.
    auto [plain, preferred] = walkBoth(pattern, target);
    if (!plain)
        return std::nullopt;
    double plainScore = scatterScore(*plain, compactCount, count);
    // The walks mostly agree throughout.
    double preferredScore = !preferred ? 0
        : *preferred == *plain         ? plainScore
                                       : scatterScore(*preferred, compactCount, count);
    bool plainWins = plainScore > preferredScore;
    double best = plainWins ? plainScore : preferredScore;
    if (best < floor)
        return std::nullopt;
    if (indices)
        walkSubsequence(pattern, target, !plainWins, indices);
    return best;
}

// Scores a target through the six stages, or yields nothing when it does not match or when the
// first stage that succeeds scores below `floor` (the bands never overlap, so no later stage could
// do better). Fills `indices` only when it is given. The stages of bands before `firstBand` are
// skipped: the caller knows that the target scores below them, or below its floor. Without
// `mayOccur`, the caller knows that the target holds no occurrence of the query (it lacks one of
// its characters, a space say), and the literal stages are skipped; without `mayBeAcronym`, that
// its word starts lack one of the query's characters, and the acronym stage is skipped.
template <typename Target>
std::optional<double> score(const Pattern& pattern, const Target& target, double floor = 0,
    std::vector<int>* indices = nullptr, Band firstBand = Band::exactOrPrefix, bool mayOccur = true,
    bool mayBeAcronym = true)
{
    using namespace Detail;
    auto count = target.count();
    auto queryCount = pattern.chars.size();
    auto compactCount = pattern.compact.size();
    if (compactCount == 0 || count < compactCount)
        return std::nullopt;
    if (firstBand == Band::scattered)
        return scoreScattered(pattern, target, floor, indices);
    double ratio = static_cast<double>(queryCount) / static_cast<double>(count);

    // The literal stages: exact, prefix, word start, and (after the acronym) substring.
    mayOccur = mayOccur && queryCount <= count;
    std::uint32_t firstOccurrence = count;
    bool occurrenceSought = false;
    auto lastStart = static_cast<std::uint32_t>(count - std::min<std::size_t>(count, queryCount));
    if (mayOccur && firstBand <= Band::wordStart) {
        if (firstBand == Band::exactOrPrefix) {
            double exactOrPrefix = queryCount == count ? 1.0 : 0.9 + 0.08 * ratio;
            if (exactOrPrefix < floor)
                return std::nullopt;
            if (equalsAt(target, 0, pattern.chars))
                return accept(exactOrPrefix, 0, queryCount, indices);
        }
        double wordStartScore = 0.8 + 0.08 * ratio;
        if (wordStartScore < floor)
            return std::nullopt;
        for (auto position = findOccurrence(pattern, target, 1); position <= lastStart;
             position = findOccurrence(pattern, target, position + 1)) {
            if (target.isWordStart(position))
                return accept(wordStartScore, position, queryCount, indices);
            firstOccurrence = std::min(firstOccurrence, position);
        }
        occurrenceSought = true;
    }

    if (acronymCeiling < floor)
        return std::nullopt;
    // A query of one character that no word start holds past the first position (the word-start
    // stage looked) nor the first (the prefix stage did) is no acronym either.
    bool acronymRuledOut = !mayBeAcronym
        || (queryCount == 1 && occurrenceSought && firstBand == Band::exactOrPrefix);
    if (!acronymRuledOut) {
        // Each character of the query at the next word start that holds it.
        std::size_t matched = 0;
        if (indices)
            indices->clear();
        for (std::uint32_t from = 0; matched < compactCount; ++matched) {
            auto start = findWordStart(target, pattern.compact[matched], from);
            if (start >= count)
                break;
            if (indices)
                indices->push_back(static_cast<int>(start));
            from = start + 1;
        }
        if (matched == compactCount) {
            double acronym = 0.72
                + 0.06
                    * (static_cast<double>(compactCount)
                        / std::max<std::uint32_t>(1, target.wordStartCount()));
            return acronym < floor ? std::nullopt : std::optional(acronym);
        }
    }

    // Known to hold no occurrence at a word start, the target's first occurrence is enough.
    if (mayOccur && !occurrenceSought)
        firstOccurrence = findOccurrence(pattern, target, 1);
    if (firstOccurrence < count) {
        double substring = 0.62 + 0.05 * ratio;
        if (substring < floor)
            return std::nullopt;
        return accept(substring, firstOccurrence, queryCount, indices);
    }

    return scoreScattered(pattern, target, floor, indices);
}

// A prepared record as a target.
class MatchTextTarget {
public:
    explicit MatchTextTarget(const MatchText& text)
        : m_text(text)
    {
    }
    std::uint32_t count() const { return static_cast<std::uint32_t>(m_text.chars.size()); }
    Character at(std::uint32_t position) const { return m_text.chars[position]; }
    bool isWordStart(std::uint32_t position) const { return m_text.wordStart[position]; }
    std::uint32_t find(Character character, std::uint32_t from) const
    {
        auto position = m_text.chars.find(character, from);
        return position == std::u32string::npos ? count() : static_cast<std::uint32_t>(position);
    }
    std::uint32_t wordStartCount() const
    {
        return static_cast<std::uint32_t>(m_text.wordStarts.size());
    }

private:
    const MatchText& m_text;
};

// False when no word start of a target whose word starts hold `wordStartClasses` holds
// `character`. NUL has no class, and may start a word.
constexpr bool mayStartWord(Character character, std::uint64_t wordStartClasses)
{
    auto classBit = characterClassBit(character);
    return !classBit || (classBit & wordStartClasses);
}

// Pure-ASCII text as a target, matched on its original bytes: folding and word starts are worked
// out on the fly, so that a large index keeps only one byte per character.
class AsciiTarget {
public:
    // `readable` bytes from `bytes` on may be read, when more than `count`. An index may know
    // the classes of the characters at word starts, so that a character of another class is
    // known to stand at none without a scan.
    AsciiTarget(const char* bytes, std::uint32_t count, std::size_t readable = 0,
        std::uint64_t wordStartClasses = ~std::uint64_t { 0 })
        : m_bytes(reinterpret_cast<const unsigned char*>(bytes))
        , m_count(count)
        , m_readable(std::max<std::size_t>(readable, count))
        , m_wordStartClasses(wordStartClasses)
    {
    }
    bool contains(const Pattern& pattern) const
    {
        return Detail::containsBytes(*this, m_bytes, m_readable, pattern);
    }
    std::uint32_t count() const { return m_count; }
    Character at(std::uint32_t position) const { return Ascii::fold(m_bytes[position]); }
    bool isWordStart(std::uint32_t position) const
    {
        if (position == 0)
            return !Ascii::isSeparator(m_bytes[0]);
        return Ascii::isWordStart(m_bytes[position - 1], m_bytes[position]);
    }
    std::uint32_t find(Character character, std::uint32_t from) const
    {
        if (from >= m_count || character >= 0x80)
            return m_count;
        return static_cast<std::uint32_t>(
            Detail::findByte(m_bytes + from, m_bytes + m_count,
                static_cast<unsigned char>(character),
                static_cast<unsigned char>(Detail::caseBitOf(character)))
            - m_bytes);
    }
    // The first position from `from` on that holds `first` followed by `second`, or count().
    std::uint32_t findPair(Character first, Character second, std::uint32_t from) const
    {
        if (from + 1 >= m_count || first >= 0x80 || second >= 0x80)
            return m_count;
        auto* position = m_bytes + from;
        auto* last = m_bytes + m_count - 1; // The last place a pair can start.
#if defined(__SSE2__)
        const auto firstNeedle = _mm_set1_epi8(static_cast<char>(first));
        const auto firstCase = _mm_set1_epi8(Detail::caseBitOf(first));
        const auto secondNeedle = _mm_set1_epi8(static_cast<char>(second));
        const auto secondCase = _mm_set1_epi8(Detail::caseBitOf(second));
        for (; last - position >= 16; position += 16) {
            auto leading = _mm_loadu_si128(reinterpret_cast<const __m128i*>(position));
            auto trailing = _mm_loadu_si128(reinterpret_cast<const __m128i*>(position + 1));
            auto hits = _mm_movemask_epi8(
                _mm_and_si128(_mm_cmpeq_epi8(_mm_or_si128(leading, firstCase), firstNeedle),
                    _mm_cmpeq_epi8(_mm_or_si128(trailing, secondCase), secondNeedle)));
            if (hits)
                return static_cast<std::uint32_t>(
                    position + std::countr_zero(static_cast<unsigned>(hits)) - m_bytes);
        }
#endif
        for (; position < last; ++position) {
            if (Character(position[0] | Detail::caseBitOf(first)) == first
                && Character(position[1] | Detail::caseBitOf(second)) == second)
                return static_cast<std::uint32_t>(position - m_bytes);
        }
        return m_count;
    }
    std::uint32_t findWordStart(Character character, std::uint32_t from) const
    {
        if (!mayStartWord(character, m_wordStartClasses))
            return m_count;
        return Detail::findWordStartByFinding(*this, character, from);
    }
    // Asked of every line that is an acronym of the query, however long.
    std::uint32_t wordStartCount() const
    {
        std::uint32_t starts = 0;
        std::uint32_t position = 0;
#if defined(__SSE2__)
        // Sixteen bytes at a time, each block's first after the last of the one before.
        unsigned before = Ascii::Detail::separator;
        for (; position + 16 <= m_count; position += 16) {
            auto block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m_bytes + position));
            starts
                += static_cast<std::uint32_t>(std::popcount(Ascii::blockWordStarts(block, before)));
            before = Ascii::Detail::classes[m_bytes[position + 15]];
        }
#endif
        for (; position < m_count; ++position)
            starts += isWordStart(position);
        return starts;
    }

protected:
    const unsigned char* m_bytes;
    std::uint32_t m_count;
    std::size_t m_readable;
    std::uint64_t m_wordStartClasses;
};

// Pure-ASCII text of at most 64 characters, with a bit mask of where each of the query's ASCII
// characters stands, worked out once when the target is made, and of where the whole query
// stands, worked out when a stage first asks: the stages then find characters, pairs and
// occurrences by counting bits instead of scanning the bytes again for each one.
class ShortAsciiTarget : public AsciiTarget {
public:
    static constexpr std::uint32_t maxCount = 64;

    // `readable` bytes from `bytes` on, at least `count`, may be read, so that whole blocks of
    // sixteen can be loaded. An index may know the word starts, a bit a character.
    ShortAsciiTarget(const char* bytes, std::uint32_t count, std::size_t readable,
        const Pattern& pattern, std::optional<std::uint64_t> knownWordStarts = std::nullopt)
        : AsciiTarget(bytes, count, readable)
        , m_slots(pattern.asciiSlots)
        , m_wordStarts(knownWordStarts.value_or(0))
        , m_hasWordStarts(knownWordStarts.has_value())
    {
#if defined(__SSE2__)
        // Two or four whole blocks, whatever the count: a loop over just enough of them would
        // turn as often one way as another.
        if (count <= 32)
            findSlots(readable, pattern, std::make_integer_sequence<std::uint32_t, 2>());
        else
            findSlots(readable, pattern, std::make_integer_sequence<std::uint32_t, 4>());
#else
        (void)readable;
        for (std::uint32_t position = 0; position < count; ++position) {
            auto byte = m_bytes[position];
            auto slot = byte < 0x80 ? m_slots[Ascii::fold(byte)] : Pattern::noSlot;
            if (slot != Pattern::noSlot)
                m_masks[slot] |= std::uint64_t { 1 } << position;
        }
#endif
    }
    // The target keeps the pattern's slots: a pattern made for the call would not outlive it.
    ShortAsciiTarget(const char*, std::uint32_t, std::size_t, Pattern&&) = delete;
    std::uint32_t find(Character character, std::uint32_t from) const
    {
        if (from >= m_count || character >= 0x80)
            return m_count;
        auto slot = m_slots[character];
        if (slot == Pattern::noSlot)
            return AsciiTarget::find(character, from);
        return firstFrom(m_masks[slot], from);
    }
    std::uint32_t findPair(Character first, Character second, std::uint32_t from) const
    {
        if (from >= m_count || first >= 0x80 || second >= 0x80)
            return m_count;
        auto firstSlot = m_slots[first];
        auto secondSlot = m_slots[second];
        if (firstSlot == Pattern::noSlot || secondSlot == Pattern::noSlot)
            return AsciiTarget::findPair(first, second, from);
        return firstFrom(m_masks[firstSlot] & (m_masks[secondSlot] >> 1), from);
    }
    bool isWordStart(std::uint32_t position) const
    {
        if (m_hasWordStarts)
            return (m_wordStarts >> position) & 1;
        return AsciiTarget::isWordStart(position);
    }
    std::uint32_t findWordStart(Character character, std::uint32_t from) const
    {
        if (from >= m_count || character >= 0x80)
            return m_count;
        auto slot = m_slots[character];
        if (slot == Pattern::noSlot)
            return AsciiTarget::findWordStart(character, from);
        if (m_hasWordStarts)
            return firstFrom(m_masks[slot] & m_wordStarts, from);
        // Working out every word start costs more than testing a few places.
        for (auto bits = m_masks[slot] >> from << from; bits != 0; bits &= bits - 1) {
            auto position = static_cast<std::uint32_t>(std::countr_zero(bits));
            if (AsciiTarget::isWordStart(position))
                return position;
        }
        return m_count;
    }
    bool contains(const Pattern& pattern) const
    {
        if (pattern.compactSlots.empty())
            return containsByFinding(pattern, *this);
        std::uint32_t from = 0;
        for (auto slot : pattern.compactSlots) {
            if (from >= m_count)
                return false;
            auto bits = m_masks[slot] >> from;
            if (!bits)
                return false;
            from += static_cast<std::uint32_t>(std::countr_zero(bits)) + 1;
        }
        return true;
    }
    // `pattern` is the one the target was made for.
    std::uint32_t findOccurrence(const Pattern& pattern, std::uint32_t from) const
    {
        if (pattern.charSlots.empty())
            return Detail::findOccurrence(pattern, static_cast<const AsciiTarget&>(*this), from);
        // A query longer than the line stands nowhere in it, and would shift its masks too far.
        if (from >= m_count || pattern.chars.size() > m_count)
            return m_count;
        if (!m_hasOccurrences) {
            auto occurrences = ~std::uint64_t { 0 };
            for (std::size_t index = 0; index < pattern.charSlots.size() && occurrences; ++index)
                occurrences &= m_masks[pattern.charSlots[index]] >> index;
            m_occurrences = occurrences;
            m_hasOccurrences = true;
        }
        return firstFrom(m_occurrences, from);
    }
    std::uint32_t wordStartCount() const
    {
        return static_cast<std::uint32_t>(std::popcount(wordStarts()));
    }
    // Detail::walkBoth's two walks, on the masks when every character of the compacted query
    // has a slot: each pick is a bit found, not a character looked up and then found.
    Detail::ScatterWalks walkBoth(const Pattern& pattern) const
    {
        if (pattern.compactSlots.empty())
            return Detail::walkBothWith(Detail::FindingPicks(pattern, *this));
        return Detail::walkBothWith(MaskPicks { *this, pattern.compactSlots, wordStarts() });
    }

private:
    // Detail::FindingPicks' members, from the masks of the compacted query's slots.
    struct MaskPicks {
        const ShortAsciiTarget& target;
        const std::basic_string<std::uint8_t>& slots;
        std::uint64_t starts;

        std::size_t size() const { return slots.size(); }
        std::uint32_t count() const { return target.m_count; }
        std::uint32_t find(std::size_t index, std::uint32_t from) const
        {
            return from < count() ? target.firstFrom(bits(index), from) : count();
        }
        std::uint32_t findWordStart(std::size_t index, std::uint32_t from) const
        {
            return from < count() ? target.firstFrom(bits(index) & starts, from) : count();
        }
        bool holds(std::size_t index, std::uint32_t position) const
        {
            return (bits(index) >> position) & 1;
        }
        bool isWordStart(std::uint32_t position) const { return (starts >> position) & 1; }
        std::uint64_t bits(std::size_t index) const { return target.m_masks[slots[index]]; }
    };
    std::uint64_t inTarget() const
    {
        return m_count < maxCount ? (std::uint64_t { 1 } << m_count) - 1 : ~std::uint64_t { 0 };
    }
    // The first set bit at `from` (below the count) or later, or the count.
    std::uint32_t firstFrom(std::uint64_t bits, std::uint32_t from) const
    {
        bits >>= from;
        return bits ? from + static_cast<std::uint32_t>(std::countr_zero(bits)) : m_count;
    }
#if defined(__SSE2__)
    // Loads the blocks, and marks where each slot's character stands in them: each block is
    // folded once and compared with every slot's character.
    template <std::uint32_t... block>
    void findSlots(std::size_t readable, const Pattern& pattern,
        std::integer_sequence<std::uint32_t, block...>)
    {
        __m128i folded[sizeof...(block)];
        for (std::uint32_t index = 0; index < sizeof...(block); ++index) {
            if (16 * (index + 1) <= readable) [[likely]]
                m_blocks[index]
                    = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m_bytes + 16 * index));
            else
                m_blocks[index] = Detail::lastBlock(m_bytes, readable, 16 * index);
            folded[index] = Ascii::foldBlock(m_blocks[index]);
        }
        auto slotCount = pattern.asciiCharacters.size();
        for (std::size_t slot = 0; slot < slotCount; ++slot) {
            auto needle = pattern.slotBlocks[slot];
            auto hits = [&](std::uint32_t index) {
                return std::uint64_t { static_cast<unsigned>(
                           _mm_movemask_epi8(_mm_cmpeq_epi8(folded[index], needle))) }
                << (16 * index);
            };
            m_masks[slot] = (hits(block) | ...) & inTarget();
        }
    }
#endif
    // Every word start at once, kept once worked out.
    std::uint64_t wordStarts() const
    {
        if (m_hasWordStarts)
            return m_wordStarts;
#if defined(__SSE2__)
        Ascii::ClassMasks classes;
        for (std::uint32_t block = 0; block < (m_count + 15) / 16; ++block)
            Ascii::addClasses(m_blocks[block], 16 * block, classes);
        m_wordStarts = Ascii::wordStarts(classes) & inTarget();
#else
        for (std::uint32_t position = 0; position < m_count; ++position)
            m_wordStarts |= std::uint64_t { AsciiTarget::isWordStart(position) } << position;
#endif
        m_hasWordStarts = true;
        return m_wordStarts;
    }
#if defined(__SSE2__)
    __m128i m_blocks[maxCount / 16];
#endif
    const std::array<std::uint8_t, 128>& m_slots;
    std::array<std::uint64_t, Pattern::maxAsciiSlots> m_masks {};
    // Where the whole query stands, when each of its characters has a slot.
    mutable std::uint64_t m_occurrences = 0;
    mutable bool m_hasOccurrences = false;
    mutable std::uint64_t m_wordStarts;
    mutable bool m_hasWordStarts;
};

// Folded characters in an arena, one byte each when every code is below 256, with a bit array
// of word starts beside them.
template <typename Code> class FoldedTarget {
public:
    // `readable` characters from `chars` on may be read, when more than `count`. The classes at
    // word starts may be known, as for AsciiTarget.
    FoldedTarget(const Code* chars, std::uint32_t count, const std::uint64_t* wordStartBits,
        std::uint64_t firstBit, std::size_t readable = 0,
        std::uint64_t wordStartClasses = ~std::uint64_t { 0 })
        : m_chars(chars)
        , m_count(count)
        , m_readable(std::max<std::size_t>(readable, count))
        , m_bits(wordStartBits)
        , m_firstBit(firstBit)
        , m_wordStartClasses(wordStartClasses)
    {
    }
    std::uint32_t findWordStart(Character character, std::uint32_t from) const
    {
        if (!mayStartWord(character, m_wordStartClasses))
            return m_count;
        return Detail::findWordStartByFinding(*this, character, from);
    }
    bool contains(const Pattern& pattern) const
    {
        if constexpr (sizeof(Code) == 1)
            return Detail::containsBytes(*this, m_chars, m_readable, pattern);
        else
            return containsByFinding(pattern, *this);
    }
    std::uint32_t count() const { return m_count; }
    Character at(std::uint32_t position) const { return m_chars[position]; }
    bool isWordStart(std::uint32_t position) const
    {
        auto bit = m_firstBit + position;
        return (m_bits[bit / 64] >> (bit % 64)) & 1;
    }
    std::uint32_t find(Character character, std::uint32_t from) const
    {
        if (from >= m_count)
            return m_count;
        if constexpr (sizeof(Code) == 1) {
            if (character > 0xFF)
                return m_count;
            return static_cast<std::uint32_t>(Detail::findByte(m_chars + from, m_chars + m_count,
                                                  static_cast<unsigned char>(character), 0)
                - m_chars);
        } else {
            return static_cast<std::uint32_t>(
                std::find(m_chars + from, m_chars + m_count, character) - m_chars);
        }
    }
    std::uint32_t wordStartCount() const
    {
        // Whole words of bits at a time, the first and last masked to this target's bits.
        std::uint32_t starts = 0;
        auto end = m_firstBit + m_count;
        for (auto bit = m_firstBit; bit < end;) {
            auto word = m_bits[bit / 64] >> (bit % 64);
            auto taken = std::min<std::uint64_t>(64 - bit % 64, end - bit);
            if (taken < 64)
                word &= (std::uint64_t { 1 } << taken) - 1;
            starts += static_cast<std::uint32_t>(std::popcount(word));
            bit += taken;
        }
        return starts;
    }

private:
    const Code* m_chars;
    std::uint32_t m_count;
    std::size_t m_readable;
    const std::uint64_t* m_bits;
    std::uint64_t m_firstBit;
    std::uint64_t m_wordStartClasses;
};

} // namespace FuzzyMatcher

} // namespace zeph
