#include "Search/LineFilter.h"

#include "Search/LineScan.h"
#include "Search/Ranker.h"
#include "Support/Verify.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <limits>
#include <numeric>
#include <optional>
#include <thread>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zeph {

namespace {

// Below this many items to search, hits to put in order or Latin lines to fold, starting threads
// costs more than it saves.
constexpr std::size_t itemsPerThread = 50'000;
constexpr std::size_t hitsPerThread = 8192;
constexpr std::size_t latinLinesPerThread = 10'000;
constexpr std::uint32_t chunkSize = 8192;
// Below this many bytes, the input is prepared on one thread.
constexpr std::size_t bytesPerThread = std::size_t { 4 } << 20;

bool isSubsequence(std::u32string_view needle, std::u32string_view haystack)
{
    std::size_t from = 0;
    for (auto character : needle) {
        from = haystack.find(character, from);
        if (from == std::u32string_view::npos)
            return false;
        ++from;
    }
    return true;
}

void setBits(std::uint64_t* bits, std::size_t firstBit, const std::vector<std::uint8_t>& values)
{
    for (std::size_t index = 0; index < values.size(); ++index) {
        if (values[index])
            bits[(firstBit + index) / 64] |= std::uint64_t { 1 } << ((firstBit + index) % 64);
    }
}

// ORs `count` bits of `source` into `bits` from bit `firstBit` on, writing no word that holds none
// of them, so that stretches of bits that share no word may be written on threads of their own.
void orBits(
    std::uint64_t* bits, std::size_t firstBit, const std::uint64_t* source, std::size_t count)
{
    auto shift = firstBit % 64;
    auto* words = bits + firstBit / 64;
    for (std::size_t index = 0; 64 * index < count; ++index) {
        words[index] |= source[index] << shift;
        if (auto carried = shift ? source[index] >> (64 - shift) : 0)
            words[index + 1] |= carried;
    }
}

// Enough 64-bit words for `bits` bits, and one more, so that a word-wise scan may read past the
// end.
std::size_t wordsFor(std::size_t bits)
{
    return bits / 64 + 2;
}

std::size_t roundedToWord(std::size_t bits)
{
    return (bits + 63) / 64 * 64;
}

// The line that starts at `offset`, without its line break.
std::string_view lineAt(std::string_view input, std::size_t offset)
{
    auto end = input.find('\n', offset);
    if (end == std::string_view::npos)
        end = input.size();
    else if (end > offset && input[end - 1] == '\r')
        --end;
    return input.substr(offset, end - offset);
}

// Latin text folded into one byte a character, with its word starts.
struct LatinScratch {
    std::vector<std::uint8_t> chars;
    std::vector<std::uint64_t> wordStarts;

    // Room for a text of `characters` in `bytes`, with every word-start bit clear. Folding
    // writes whole blocks of sixteen.
    void makeRoom(std::size_t characters, std::size_t bytes)
    {
        chars.resize(std::max(chars.size(), bytes + 16));
        wordStarts.assign(wordsFor(characters), 0);
    }
};

// A Latin line folded for one query: its characters at once, its word starts only when a stage
// asks for them, since most lines fail before any stage does.
class LatinTarget {
public:
    // `readable` bytes from the text's start, at least its size, may be read.
    LatinTarget(
        std::string_view text, std::size_t readable, std::uint32_t count, LatinScratch& scratch)
        : m_text(text)
        , m_readable(readable)
        , m_scratch(scratch)
        , m_folded(folded(text, readable, count, scratch))
    {
    }
    bool contains(const FuzzyMatcher::Pattern& pattern) const { return m_folded.contains(pattern); }
    std::uint32_t count() const { return m_folded.count(); }
    Character at(std::uint32_t position) const { return m_folded.at(position); }
    std::uint32_t find(Character character, std::uint32_t from) const
    {
        return m_folded.find(character, from);
    }
    bool isWordStart(std::uint32_t position) const
    {
        knowWordStarts();
        return m_folded.isWordStart(position);
    }
    std::uint32_t wordStartCount() const
    {
        knowWordStarts();
        return m_folded.wordStartCount();
    }

private:
    static FuzzyMatcher::FoldedTarget<std::uint8_t> folded(
        std::string_view text, std::size_t readable, std::uint32_t count, LatinScratch& scratch)
    {
        scratch.makeRoom(count, text.size());
        foldLatinBytes(text, readable, scratch.chars.data());
        return { scratch.chars.data(), count, scratch.wordStarts.data(), 0, scratch.chars.size() };
    }
    void knowWordStarts() const
    {
        if (m_hasWordStarts)
            return;
        findLatinWordStarts(m_text, m_readable, m_scratch.wordStarts.data());
        m_hasWordStarts = true;
    }

    std::string_view m_text;
    std::size_t m_readable;
    LatinScratch& m_scratch;
    FuzzyMatcher::FoldedTarget<std::uint8_t> m_folded;
    mutable bool m_hasWordStarts = false;
};

// A pair of adjacent classes (characterClassBit's bit indices) as one of 64 bits: the sum of a
// share of each, so that a table can hold every character's shares.
constexpr unsigned pairFirstShare(unsigned first)
{
    return first * 7 + (first >> 3);
}
constexpr unsigned pairSecondShare(unsigned second)
{
    return second * 3;
}

// A character's class bit and its shares of the bit of a pair; NUL, without a class, takes the
// shares of a space.
struct TraitCharacter {
    std::uint64_t classBit = 0;
    std::uint8_t firstShare = 0;
    std::uint8_t secondShare = 0;
};

constexpr TraitCharacter traitCharacter(Character folded)
{
    auto bit = characterClassBit(folded);
    auto index = bit ? static_cast<unsigned>(std::countr_zero(bit)) : 0;
    return TraitCharacter { .classBit = bit,
        .firstShare = static_cast<std::uint8_t>(pairFirstShare(index) & 63),
        .secondShare = static_cast<std::uint8_t>(pairSecondShare(index) & 63) };
}

constexpr auto asciiTraitCharacters = [] {
    std::array<TraitCharacter, 128> table {};
    for (unsigned byte = 0; byte < table.size(); ++byte)
        table[byte] = traitCharacter(byte);
    return table;
}();

TraitCharacter traitCharacterOf(Character folded)
{
    static constexpr auto beyondAscii = traitCharacter(0x80);
    return folded < 0x80 ? asciiTraitCharacters[folded] : beyondAscii;
}

std::uint64_t pairBit(const TraitCharacter& first, const TraitCharacter& second)
{
    return std::uint64_t { 1 } << ((first.firstShare + second.secondShare) & 63);
}

// The classes of a text read a character at a time, and those that came more than once.
struct ClassTally {
    std::uint64_t seen = 0;
    std::uint64_t repeated = 0;
    void add(std::uint64_t classBit)
    {
        repeated |= seen & classBit;
        seen |= classBit;
    }
};

// Hits and runs of hits in order of score, then of count: what orders them before their titles.
constexpr auto byNumbers = [](const auto& a, const auto& b) {
    return a.score != b.score ? a.score > b.score : a.characterCount < b.characterCount;
};

unsigned threadCount(unsigned requested)
{
    // Asked once: the C library reads a file of the system's for it, every time.
    static const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    return requested ? requested : cores;
}

// Runs `work` on every worker, the first on this thread.
template <typename Worker, typename Work> void inParallel(std::vector<Worker>& workers, Work&& work)
{
    std::vector<std::jthread> helpers;
    for (std::size_t index = 1; index < workers.size(); ++index)
        helpers.emplace_back([&, index] { work(workers[index]); });
    work(workers[0]);
}

} // namespace

// The best scores that lines of up to a few hundred characters could reach, worked out once a
// search: every line that holds the query's letters is bounded by its length and lead before it
// is looked at.
struct LineFilter::Bounds {
    static constexpr std::uint32_t countLimit = 256;

    explicit Bounds(const FuzzyMatcher::Pattern& searched)
        : pattern(searched)
        , queryLead(leadOf(searched.chars[0]))
    {
        // A line that holds the query holds twice every class that the query holds twice.
        ClassTally classes;
        for (auto character : pattern.compact)
            classes.add(characterClassBit(character));
        repeatedClasses = classes.repeated;
        // A line that holds the query holds its pairs; one that holds it at a word start, or
        // starts with it, holds its first character there, and its first pair, unless the query
        // starts with a separator or NUL.
        auto& chars = pattern.chars;
        for (std::size_t index = 0; index + 1 < chars.size(); ++index) {
            auto first = traitCharacterOf(chars[index]);
            auto second = traitCharacterOf(chars[index + 1]);
            if (first.classBit && second.classBit)
                pairs |= pairBit(first, second);
        }
        auto first = traitCharacterOf(chars[0]);
        if (first.classBit
            && !(chars[0] < 0x80 && Ascii::isSeparator(static_cast<unsigned char>(chars[0])))) {
            firstClass = first.classBit;
            auto second = chars.size() > 1 ? traitCharacterOf(chars[1]) : TraitCharacter {};
            firstPair = second.classBit ? pairBit(first, second) : 0;
        }
        // A scattered walk scores more than a bare walk only with a pick at a word start or in a
        // run: of a character whose class stands at a word start, or of a pair that stands.
        auto& compact = pattern.compact;
        for (std::size_t index = 0; index < compact.size(); ++index) {
            auto current = traitCharacterOf(compact[index]);
            scatterClasses |= current.classBit;
            bareUnknown = bareUnknown || !current.classBit;
            if (index) {
                auto before = traitCharacterOf(compact[index - 1]);
                scatterPairs |= pairBit(before, current);
            }
        }
        auto otherFirst = pattern.chars[0] + 1;
        for (std::uint32_t count = 0; count < countLimit; ++count) {
            anyFirst[count] = FuzzyMatcher::bestPossibleScore(pattern, count);
            anotherFirst[count] = FuzzyMatcher::bestPossibleScore(pattern, count, otherFirst);
        }
    }
    double best(std::uint32_t count, std::uint8_t lead) const
    {
        bool anyLead = lead == queryLead || lead == unknownLead;
        if (count < countLimit) [[likely]]
            return anyLead ? anyFirst[count] : anotherFirst[count];
        return anyLead ? FuzzyMatcher::bestPossibleScore(pattern, count)
                       : FuzzyMatcher::bestPossibleScore(pattern, count, lead);
    }

    const FuzzyMatcher::Pattern& pattern;
    std::uint8_t queryLead;
    std::uint64_t repeatedClasses = 0;
    std::uint64_t pairs = 0;
    std::uint64_t firstClass = 0; // None when a word start need not hold the first character.
    std::uint64_t firstPair = 0;
    std::uint64_t scatterClasses = 0; // Of the compacted query's characters.
    std::uint64_t scatterPairs = 0; // Of each of them and the one after it.
    bool bareUnknown = false; // When one of them has no class: no line is known to walk bare.
    double anyFirst[countLimit];
    double anotherFirst[countLimit];
};

// Workers write to their members all the time: each takes cache lines of its own.
struct alignas(64) LineFilter::Worker {
    const FuzzyMatcher::Pattern& pattern;
    const Bounds& bounds;
    const Options& options;
    std::vector<Hit> hits {};
    std::vector<std::uint32_t> candidates {};
    // Matched, but scoring below the band of the last look: looked at again, from the next band
    // on, while the answer's floor leaves room for them.
    std::vector<std::uint32_t> deferred {};
    std::vector<std::uint32_t> nextDeferred {};
    // Could score only in the scattered stage, and a bare walk's score at best: looked at last,
    // and only while the answer's floor leaves room for them.
    std::vector<std::uint32_t> atMostBare {};
    double floor = 0;
};

// The score that a hit must reach to enter the answer, once the hits found so far fill it.
double LineFilter::answerFloor(const std::vector<Worker>& workers, const Options& options)
{
    std::vector<double> scores;
    for (auto& worker : workers) {
        for (auto& hit : worker.hits)
            scores.push_back(hit.score);
    }
    if (!options.limit || scores.size() < *options.limit)
        return options.minimumScore;
    auto last = scores.begin() + static_cast<std::ptrdiff_t>(*options.limit - 1);
    std::nth_element(scores.begin(), last, scores.end(), std::greater<>());
    return std::max(*last, options.minimumScore);
}

LineFilter::LineFilter(InputBuffer input, unsigned threads)
    : m_input(std::move(input))
{
    auto text = m_input.text();
    verify(text.size() < std::numeric_limits<std::uint32_t>::max());
    auto stretches = static_cast<unsigned>(std::min<std::size_t>(
        threadCount(threads), std::max<std::size_t>(1, text.size() / bytesPerThread)));
    // Stretches start at line starts; every non-empty line takes at least two bytes but the last.
    std::vector<std::size_t> bounds { 0 };
    for (unsigned index = 1; index < stretches; ++index) {
        auto from = std::max(bounds.back(), text.size() * index / stretches);
        auto newline = text.find('\n', from);
        bounds.push_back(newline == std::string_view::npos ? text.size() : newline + 1);
    }
    bounds.push_back(text.size());
    m_index = Segment(text.size() / 2 + 1);
    std::vector<Segment> others;
    for (unsigned index = 1; index < stretches; ++index)
        others.emplace_back((bounds[index + 1] - bounds[index]) / 2 + 1);
    {
        std::vector<std::jthread> helpers;
        for (unsigned index = 1; index < stretches; ++index)
            helpers.emplace_back(
                [&, index] { others[index - 1].addLines(text, bounds[index], bounds[index + 1]); });
        m_index.addLines(text, bounds[0], bounds[1]);
    }
    for (auto& other : others)
        m_index.append(std::move(other));
}

// One pass finds each line's end and gathers its class bits, as long as the line is ASCII; a line
// with other bytes is measured from its first one on.
void LineFilter::Segment::addLines(std::string_view input, std::size_t begin, std::size_t end)
{
    const char* data = input.data();
    auto* bytes = reinterpret_cast<const unsigned char*>(data);
    auto scan = LineScan::best();
    for (auto start = begin; start < end;) {
        std::uint64_t mask = 0;
        auto offset = scan(bytes, start, end, mask);
        auto lineStart = static_cast<std::uint32_t>(start);
        if (offset < end && bytes[offset] >= 0x80) {
            auto* newline
                = static_cast<const char*>(std::memchr(data + offset, '\n', end - offset));
            std::size_t lineEnd = newline ? static_cast<std::size_t>(newline - data) : end;
            std::size_t next = newline ? lineEnd + 1 : end;
            if (newline && data[lineEnd - 1] == '\r')
                --lineEnd;
            verify(lineEnd - start < (1u << 30));
            addNonAsciiLine(input.substr(start, lineEnd - start), lineStart,
                static_cast<std::uint32_t>(offset - start), mask);
            start = next;
            continue;
        }
        // A line feed or the end. A carriage return before the line feed leaves the line but keeps
        // its class bit, which rules out fewer lines and changes no answer.
        auto lineEnd = offset;
        if (offset < end && lineEnd > start && bytes[lineEnd - 1] == '\r')
            --lineEnd;
        start = offset < end ? offset + 1 : end;
        auto length = lineEnd - lineStart;
        // Counts of characters hold 30 bits: a line is shorter than a gigabyte.
        verify(length < (1u << 30));
        if (length == 0) {
            emptyLinesBefore.push_back(static_cast<std::uint32_t>(lines.size()));
            continue;
        }
        Line line { .mask = mask, .offset = lineStart };
        line.characterCount = static_cast<std::uint32_t>(length);
        line.storage = static_cast<std::uint32_t>(Storage::ascii);
        addLine(line, leadOf(Ascii::fold(bytes[lineStart])));
    }
}

void LineFilter::Segment::addNonAsciiLine(
    std::string_view text, std::uint32_t offset, std::uint32_t asciiPrefix, std::uint64_t mask)
{
    // Most non-ASCII lines are Latin text, matched on its bytes like ASCII: only its count and
    // mask are kept.
    if (auto count = measureLatinText(text, asciiPrefix, mask)) {
        Line line { .mask = mask, .offset = offset };
        line.characterCount = *count;
        line.storage = static_cast<std::uint32_t>(Storage::latin);
        // A first byte beyond ASCII leads a Latin letter, whose fold only the table knows.
        addLine(line, leadOf(Ascii::fold(static_cast<unsigned char>(text[0]))));
        return;
    }
    WideLine wide { .textOffset = offset, .textLength = static_cast<std::uint32_t>(text.size()) };
    Line line { .offset = static_cast<std::uint32_t>(wideLines.size()) };
    if (!isValidUTF8(text)) {
        auto repairedText = sanitizedUTF8(text);
        wide.textOffset = static_cast<std::uint32_t>(repaired.size());
        wide.textLength = static_cast<std::uint32_t>(repairedText.size());
        wide.isRepaired = 1;
        repaired += repairedText;
        addFoldedLine(repairedText, line, wide);
        return;
    }
    addFoldedLine(text, line, wide);
}

void LineFilter::Segment::addFoldedLine(std::string_view text, Line line, WideLine wide)
{
    prepareCharacters(text, scratch);
    auto& chars = scratch.chars;
    for (auto character : chars)
        line.mask |= characterClassBit(character);
    line.characterCount = static_cast<std::uint32_t>(chars.size());
    bool fitsInBytes = std::all_of(
        chars.begin(), chars.end(), [](char32_t character) { return character < 0x100; });
    if (fitsInBytes) {
        line.storage = static_cast<std::uint32_t>(Storage::folded8);
        wide.charOffset = static_cast<std::uint32_t>(folded8.size());
        folded8.insert(folded8.end(), chars.begin(), chars.end());
        wordStarts8.resize(std::max(wordStarts8.size(), wordsFor(folded8.size())));
        setBits(wordStarts8.data(), wide.charOffset, scratch.wordStart);
    } else {
        line.storage = static_cast<std::uint32_t>(Storage::folded32);
        wide.charOffset = static_cast<std::uint32_t>(folded32.size());
        folded32.insert(folded32.end(), chars.begin(), chars.end());
        wordStarts32.resize(std::max(wordStarts32.size(), wordsFor(folded32.size())));
        setBits(wordStarts32.data(), wide.charOffset, scratch.wordStart);
    }
    wideLines.push_back(wide);
    addLine(line, chars.empty() ? unknownLead : leadOf(chars[0]));
}

void LineFilter::Segment::append(Segment&& other)
{
    auto lineBase = static_cast<std::uint32_t>(lines.size());
    // Arenas join at whole words, so that the word-start bits join word by word.
    auto base8 = roundedToWord(folded8.size());
    folded8.resize(base8);
    folded8.insert(folded8.end(), other.folded8.begin(), other.folded8.end());
    wordStarts8.resize(base8 / 64);
    wordStarts8.insert(wordStarts8.end(), other.wordStarts8.begin(), other.wordStarts8.end());
    auto base32 = roundedToWord(folded32.size());
    folded32.resize(base32);
    folded32.insert(folded32.end(), other.folded32.begin(), other.folded32.end());
    wordStarts32.resize(base32 / 64);
    wordStarts32.insert(wordStarts32.end(), other.wordStarts32.begin(), other.wordStarts32.end());
    auto repairedBase = static_cast<std::uint32_t>(repaired.size());
    repaired += other.repaired;
    for (auto line : other.lines) {
        auto storage = static_cast<Storage>(line.storage);
        if (storage == Storage::folded8 || storage == Storage::folded32) {
            auto wide = other.wideLines[line.offset];
            wide.charOffset
                += static_cast<std::uint32_t>(storage == Storage::folded8 ? base8 : base32);
            if (wide.isRepaired)
                wide.textOffset += repairedBase;
            line.offset = static_cast<std::uint32_t>(wideLines.size());
            wideLines.push_back(wide);
        }
        lines.push_back(line);
    }
    leads.append(other.leads.data(), other.leads.size());
    for (auto before : other.emptyLinesBefore)
        emptyLinesBefore.push_back(before + lineBase);
}

std::string_view LineFilter::title(std::uint32_t item) const
{
    auto& line = m_index.lines[item];
    auto input = m_input.text();
    switch (static_cast<Storage>(line.storage)) {
    case Storage::ascii:
        return input.substr(line.offset, line.characterCount);
    case Storage::latin:
        return lineAt(input, line.offset);
    case Storage::folded8:
    case Storage::folded32:
        break;
    }
    auto& wide = m_index.wideLines[line.offset];
    auto source = wide.isRepaired ? std::string_view(m_index.repaired) : input;
    return source.substr(wide.textOffset, wide.textLength);
}

const char* LineFilter::titleStart(std::uint32_t item) const
{
    auto& line = m_index.lines[item];
    auto storage = static_cast<Storage>(line.storage);
    if (storage == Storage::ascii || storage == Storage::latin)
        return m_input.text().data() + line.offset;
    return title(item).data();
}

std::uint32_t LineFilter::lineNumber(std::uint32_t item) const
{
    auto& empty = m_index.emptyLinesBefore;
    auto emptyBefore = std::upper_bound(empty.begin(), empty.end(), item) - empty.begin();
    return item + 1 + static_cast<std::uint32_t>(emptyBefore);
}

std::uint64_t LineFilter::wordStartClasses(std::uint32_t item) const
{
    return m_traits.empty() ? ~std::uint64_t { 0 } : m_traits[item].wordStartClasses;
}

template <typename Visit>
auto LineFilter::withTarget(
    const FuzzyMatcher::Pattern& pattern, std::uint32_t item, Visit&& visit) const
{
    auto& line = m_index.lines[item];
    auto storage = static_cast<Storage>(line.storage);
    if (storage == Storage::ascii) [[likely]] {
        auto input = m_input.text();
        auto* text = input.data() + line.offset;
        if (line.characterCount <= FuzzyMatcher::ShortAsciiTarget::maxCount) {
            auto wordStarts
                = m_traits.empty() ? std::nullopt : std::optional(m_traits[item].wordStarts);
            return visit(FuzzyMatcher::ShortAsciiTarget(
                text, line.characterCount, input.size() - line.offset, pattern, wordStarts));
        }
        return visit(FuzzyMatcher::AsciiTarget(
            text, line.characterCount, input.size() - line.offset, wordStartClasses(item)));
    }
    return withOtherTarget(item, visit);
}

template <typename Visit> auto LineFilter::withOtherTarget(std::uint32_t item, Visit&& visit) const
{
    auto& line = m_index.lines[item];
    auto storage = static_cast<Storage>(line.storage);
    if (storage == Storage::latin) {
        // Unprepared, folded again for each query that gets this far: cheaper than keeping every
        // such line twice when few queries follow.
        thread_local LatinScratch scratch;
        auto input = m_input.text();
        return visit(LatinTarget(
            lineAt(input, line.offset), input.size() - line.offset, line.characterCount, scratch));
    }
    auto offset = m_index.wideLines[line.offset].charOffset;
    if (storage == Storage::folded8) {
        return visit(FuzzyMatcher::FoldedTarget<std::uint8_t>(m_index.folded8.data() + offset,
            line.characterCount, m_index.wordStarts8.data(), offset,
            m_index.folded8.size() - offset, wordStartClasses(item)));
    }
    return visit(FuzzyMatcher::FoldedTarget<char32_t>(m_index.folded32.data() + offset,
        line.characterCount, m_index.wordStarts32.data(), offset, 0, wordStartClasses(item)));
}

std::optional<Match> LineFilter::match(
    const FuzzyMatcher::Pattern& pattern, std::uint32_t item) const
{
    Match result;
    auto found = withTarget(pattern, item, [&](const auto& target) {
        return FuzzyMatcher::score(pattern, target, 0, &result.indices);
    });
    if (!found)
        return std::nullopt;
    result.score = *found;
    return result;
}

// The ranker's order, with what the index knows spared from recomputing: the character counts
// travel with the hits, ASCII titles skip the Unicode comparison, and ids (line numbers as text)
// are formatted only when two titles are the same.
inline bool LineFilter::precedes(const Hit& a, const Hit& b) const
{
    if (a.score != b.score)
        return a.score > b.score;
    if (a.characterCount != b.characterCount)
        return a.characterCount < b.characterCount;
    return precedesByTitle(a, b);
}

bool LineFilter::precedesByTitle(const Hit& a, const Hit& b) const
{
    bool bothAscii = static_cast<Storage>(m_index.lines[a.item].storage) == Storage::ascii
        && static_cast<Storage>(m_index.lines[b.item].storage) == Storage::ascii;
    auto titleA = title(a.item);
    auto titleB = title(b.item);
    int order = bothAscii ? Ranker::compareAsciiLowercased(titleA, titleB)
                          : Ranker::compareLowercased(titleA, titleB);
    return order ? order < 0 : precedesById(a.item, b.item);
}

namespace {

// The eight bytes of `key` from `depth` on, folded, as one number that orders as they do, short
// keys padded with zeros.
inline std::uint64_t keyWord(std::string_view key, std::size_t depth)
{
    std::uint64_t word = 0;
    if (key.size() >= depth + 8)
        std::memcpy(&word, key.data() + depth, 8);
    else if (key.size() > depth)
        std::memcpy(&word, key.data() + depth, key.size() - depth);
    return __builtin_bswap64(Ascii::foldWord(word));
}

} // namespace

bool LineFilter::precedes(const Tie& a, const Tie& b, std::size_t depth) const
{
    // Eight bytes at a time: a shorter key pads with zeros and is then settled by its length.
    auto longer = std::max(a.sortKey.size(), b.sortKey.size());
    for (; depth < longer; depth += 8) {
        auto wordA = keyWord(a.sortKey, depth);
        auto wordB = keyWord(b.sortKey, depth);
        if (wordA != wordB)
            return wordA < wordB;
    }
    if (a.sortKey.size() != b.sortKey.size())
        return a.sortKey.size() < b.sortKey.size();
    return precedesById(a.item, b.item);
}

// Ids are line numbers as text, so "10" comes before "9".
bool LineFilter::precedesById(std::uint32_t a, std::uint32_t b) const
{
    char idA[16];
    char idB[16];
    auto endA = std::to_chars(idA, idA + sizeof idA, lineNumber(a)).ptr;
    auto endB = std::to_chars(idB, idB + sizeof idB, lineNumber(b)).ptr;
    return std::string_view(idA, endA) < std::string_view(idB, endB);
}

bool LineFilter::fallsShort(const Worker& worker, std::uint32_t item, double floor) const
{
    return worker.bounds.best(m_index.lines[item].characterCount, m_index.leads[item]) < floor;
}

LineFilter::Traits LineFilter::asciiTraits(std::string_view text, std::size_t readable)
{
    auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    auto size = text.size();
    auto pairAt = [&](std::size_t index) {
        return pairBit(asciiTraitCharacters[bytes[index]], asciiTraitCharacters[bytes[index + 1]]);
    };
    // NUL has no class, and a pair with it reads as one with a space: a bit too many only lets a
    // line through.
    Traits traits { 0, 0, 0, 0, 0 };
    ClassTally classes;
    for (std::size_t index = 0; index < size; ++index) {
        classes.add(asciiClassBits[bytes[index]]);
        if (index + 1 < size)
            traits.pairs |= pairAt(index);
    }
    traits.repeatedClasses = classes.repeated;
    auto addWordStart = [&](std::size_t index) {
        traits.wordStartClasses |= asciiClassBits[bytes[index]];
        if (index + 1 < size)
            traits.wordStartPairs |= pairAt(index);
    };
#if defined(__SSE2__)
    // Sixteen bytes at a time; the last block may read past the line, not past what is readable.
    unsigned before = Ascii::Detail::separator;
    for (std::size_t block = 0; block < size; block += 16) {
        __m128i sixteen;
        if (readable - block >= 16) {
            sixteen = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + block));
        } else {
            alignas(16) unsigned char copy[16] = {};
            std::memcpy(copy, bytes + block, size - block);
            sixteen = _mm_load_si128(reinterpret_cast<const __m128i*>(copy));
        }
        auto starts = Ascii::blockWordStarts(sixteen, before);
        if (size - block < 16)
            starts &= (std::uint64_t { 1 } << (size - block)) - 1;
        if (block < 64)
            traits.wordStarts |= starts << block;
        for (; starts; starts &= starts - 1)
            addWordStart(block + static_cast<std::size_t>(std::countr_zero(starts)));
        before = Ascii::Detail::classes[bytes[std::min(block + 15, size - 1)]];
    }
#else
    unsigned char previous = ' ';
    for (std::size_t index = 0; index < size; previous = bytes[index++]) {
        if (!Ascii::isWordStart(previous, bytes[index]))
            continue;
        addWordStart(index);
        if (index < 64)
            traits.wordStarts |= std::uint64_t { 1 } << index;
    }
#endif
    return traits;
}

template <typename Target> LineFilter::Traits LineFilter::targetTraits(const Target& target)
{
    // Without a branch, as for ASCII lines: a pair with NUL reads as one with a space.
    Traits traits { 0, 0, 0, 0, 0 };
    TraitCharacter previous {};
    std::uint64_t previousStarts = 0;
    ClassTally classes;
    for (std::uint32_t position = 0; position < target.count(); ++position) {
        auto current = traitCharacterOf(target.at(position));
        classes.add(current.classBit);
        auto pair = pairBit(previous, current) & -std::uint64_t { position > 0 };
        std::uint64_t starts = target.isWordStart(position);
        traits.pairs |= pair;
        traits.wordStartPairs |= pair & -previousStarts;
        traits.wordStartClasses |= current.classBit & -starts;
        previous = current;
        previousStarts = starts;
    }
    traits.repeatedClasses = classes.repeated;
    return traits;
}

void LineFilter::foldLatinLines(unsigned threads)
{
    std::vector<std::uint32_t> latin;
    for (std::uint32_t item = 0; item < m_index.lines.size(); ++item) {
        if (static_cast<Storage>(m_index.lines[item].storage) == Storage::latin)
            latin.push_back(item);
    }
    if (latin.empty())
        return;
    // Each stretch of lines, folded on a thread of its own, starts at a word of word-start bits
    // of its own, with room after it for the whole blocks that folding writes.
    auto parts = static_cast<unsigned>(std::min<std::size_t>(
        threadCount(threads), std::max<std::size_t>(1, latin.size() / latinLinesPerThread)));
    std::vector<std::size_t> partBegins;
    auto& wideLines = m_index.wideLines;
    auto firstWide = wideLines.size();
    wideLines.reserve(firstWide + latin.size());
    auto end = m_index.folded8.size();
    for (unsigned part = 0; part < parts; ++part) {
        end = roundedToWord(end + 16);
        partBegins.push_back(latin.size() * part / parts);
        for (auto index = partBegins.back(); index < latin.size() * (part + 1) / parts; ++index) {
            auto& line = m_index.lines[latin[index]];
            wideLines.push_back(
                { .textOffset = line.offset, .charOffset = static_cast<std::uint32_t>(end) });
            end += line.characterCount;
            verify(end < std::numeric_limits<std::uint32_t>::max());
            line.offset = static_cast<std::uint32_t>(wideLines.size() - 1);
            line.storage = static_cast<std::uint32_t>(Storage::folded8);
        }
    }
    partBegins.push_back(latin.size());
    m_index.folded8.resize(end + 16);
    m_index.wordStarts8.resize(wordsFor(end));
    auto input = m_input.text();
    auto fold = [&](std::size_t begin, std::size_t stop) {
        std::vector<std::uint64_t> wordStarts;
        for (auto index = begin; index < stop; ++index) {
            auto& wide = wideLines[firstWide + index];
            auto text = lineAt(input, wide.textOffset);
            auto readable = input.size() - wide.textOffset;
            wide.textLength = static_cast<std::uint32_t>(text.size());
            foldLatinBytes(text, readable, m_index.folded8.data() + wide.charOffset);
            auto count = m_index.lines[latin[index]].characterCount;
            wordStarts.assign(wordsFor(count), 0);
            findLatinWordStarts(text, readable, wordStarts.data());
            orBits(m_index.wordStarts8.data(), wide.charOffset, wordStarts.data(), count);
        }
    };
    std::vector<std::jthread> helpers;
    for (unsigned part = 1; part < parts; ++part)
        helpers.emplace_back(fold, partBegins[part], partBegins[part + 1]);
    fold(partBegins[0], partBegins[1]);
}

void LineFilter::prepareForTyping(unsigned threads)
{
    foldLatinLines(threads);
    auto lineCount = m_index.lines.size();
    m_traits.resize(lineCount);
    auto parts = static_cast<unsigned>(std::min<std::size_t>(
        threadCount(threads), std::max<std::size_t>(1, lineCount / itemsPerThread)));
    auto prepare = [&](std::size_t begin, std::size_t end) {
        for (auto item = static_cast<std::uint32_t>(begin); item < end; ++item) {
            if (static_cast<Storage>(m_index.lines[item].storage) == Storage::ascii) {
                m_traits[item]
                    = asciiTraits(title(item), m_input.text().size() - m_index.lines[item].offset);
            } else {
                m_traits[item] = withOtherTarget(
                    item, [](const auto& target) { return targetTraits(target); });
            }
        }
    };
    std::vector<std::jthread> helpers;
    for (unsigned part = 1; part < parts; ++part)
        helpers.emplace_back(prepare, lineCount * part / parts, lineCount * (part + 1) / parts);
    prepare(0, lineCount / parts);
}

inline bool LineFilter::mayReach(
    const Worker& worker, std::uint32_t item, FuzzyMatcher::Band band) const
{
    using FuzzyMatcher::Band;
    if (m_traits.empty())
        return true;
    auto& traits = m_traits[item];
    auto& query = worker.bounds;
    bool mayOccur = traits.mayHold(query.pairs);
    if (band == Band::scattered) {
        return query.bareUnknown || (traits.wordStartClasses & query.scatterClasses)
            || (traits.pairs & query.scatterPairs) || mayOccur;
    }
    if (band == Band::acronymOrSubstring)
        return mayOccur || traits.mayStartWordsWith(worker.pattern.mask);
    return mayOccur && traits.mayStartWordsWith(query.firstClass)
        && (traits.wordStartPairs & query.firstPair) == query.firstPair;
}

#if defined(__SSE2__)
namespace {

// Of four lines in turn, by the bits of those that are held: where each held one stands, and how
// many there are.
struct HeldOfFour {
    std::array<std::array<std::uint32_t, 4>, 16> offsets {};
    std::array<std::uint8_t, 16> counts {};
};
constexpr auto heldOfFour = [] {
    HeldOfFour table;
    for (unsigned bits = 0; bits < 16; ++bits) {
        for (std::uint32_t line = 0; line < 4; ++line) {
            if (bits >> line & 1)
                table.offsets[bits][table.counts[bits]++] = line;
        }
    }
    return table;
}();

} // namespace
#endif

std::uint32_t LineFilter::holdingLines(
    std::uint32_t begin, std::uint32_t end, std::uint64_t mask, std::uint32_t* holding) const
{
    std::uint32_t count = 0;
    auto* lines = m_index.lines.data();
    auto item = begin;
#if defined(__SSE2__)
    // Four lines at a time: the low halves of their masks in one register, the high halves in
    // another. Four numbers are written at a time, past the held ones too, to be written over:
    // no more lines are held than have been looked at, so they stay within the lines given.
    static_assert(sizeof(Line) == 16 && offsetof(Line, mask) == 0);
    const auto low = _mm_set1_epi32(static_cast<int>(mask));
    const auto high = _mm_set1_epi32(static_cast<int>(mask >> 32));
    for (; item + 4 <= end; item += 4) {
        auto load = [&](std::uint32_t line) {
            return _mm_loadu_ps(reinterpret_cast<const float*>(lines + item + line));
        };
        auto first = _mm_shuffle_ps(load(0), load(1), _MM_SHUFFLE(1, 0, 1, 0));
        auto second = _mm_shuffle_ps(load(2), load(3), _MM_SHUFFLE(1, 0, 1, 0));
        auto lows = _mm_castps_si128(_mm_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0)));
        auto highs = _mm_castps_si128(_mm_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
        auto held = _mm_and_si128(_mm_cmpeq_epi32(_mm_and_si128(lows, low), low),
            _mm_cmpeq_epi32(_mm_and_si128(highs, high), high));
        auto bits = _mm_movemask_ps(_mm_castsi128_ps(held));
        auto offsets = _mm_loadu_si128(reinterpret_cast<const __m128i*>(
            heldOfFour.offsets[static_cast<unsigned>(bits)].data()));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(holding + count),
            _mm_add_epi32(_mm_set1_epi32(static_cast<int>(item)), offsets));
        count += heldOfFour.counts[static_cast<unsigned>(bits)];
    }
#endif
    for (; item < end; ++item) {
        holding[count] = item;
        count += (lines[item].mask & mask) == mask;
    }
    return count;
}

std::uint32_t LineFilter::holdingLines(const std::uint32_t* items, std::uint32_t itemCount,
    std::uint64_t mask, std::uint32_t* holding) const
{
    std::uint32_t count = 0;
    for (std::uint32_t index = 0; index < itemCount; ++index) {
        holding[count] = items[index];
        count += (m_index.lines[items[index]].mask & mask) == mask;
    }
    return count;
}

void LineFilter::searchRange(Worker& worker, const std::uint32_t* items, std::uint32_t begin,
    std::uint32_t end, FuzzyMatcher::Band lowest) const
{
    auto& pattern = worker.pattern;
    // The class masks are tested a block of lines at a time, without a branch: whether a line
    // holds the query's letters is a coin toss that a branch would often guess wrong. So are the
    // bounds of the lines that hold them, once the floor is high enough for length and lead to
    // tell; a line that falls short stays a candidate, its match undecided.
    constexpr std::uint32_t blockSize = 256;
    std::uint32_t holding[blockSize];
    std::uint32_t setAside[blockSize];
    for (auto blockBegin = begin; blockBegin < end; blockBegin += blockSize) {
        auto blockEnd = std::min(end, blockBegin + blockSize);
        auto holdingCount = items
            ? holdingLines(items + blockBegin, blockEnd - blockBegin, pattern.mask, holding)
            : holdingLines(blockBegin, blockEnd, pattern.mask, holding);
        // Prepared, the lines that lack a class twice that the query has twice go too.
        if (auto repeated = worker.bounds.repeatedClasses; repeated && !m_traits.empty()) {
            std::uint32_t keptCount = 0;
            for (std::uint32_t held = 0; held < holdingCount; ++held) {
                auto item = holding[held];
                holding[keptCount] = item;
                keptCount += m_traits[item].mayHoldTwice(repeated);
            }
            holdingCount = keptCount;
        }
        // Keeps the held lines that pass `test`, in order, and sets the others aside as
        // candidates, returning how many.
        auto setAsideFailing = [&](auto test) {
            std::uint32_t keptCount = 0;
            std::uint32_t asideCount = 0;
            for (std::uint32_t held = 0; held < holdingCount; ++held) {
                auto item = holding[held];
                bool passes = test(item);
                holding[keptCount] = item;
                keptCount += passes;
                setAside[asideCount] = item;
                asideCount += !passes;
            }
            holdingCount = keptCount;
            worker.candidates.insert(worker.candidates.end(), setAside, setAside + asideCount);
            return asideCount;
        };
        if (worker.floor > FuzzyMatcher::ceilingOf(FuzzyMatcher::Band::acronymOrSubstring))
            setAsideFailing(
                [&](std::uint32_t item) { return !fallsShort(worker, item, worker.floor); });
        // Prepared for typing, most lines that hold the letters cannot reach the first look's
        // bands: they wait for a later look, unless they fall short of the answer already.
        if (!m_traits.empty() && lowest != FuzzyMatcher::Band::scattered) {
            auto waitingCount = setAsideFailing(
                [&](std::uint32_t item) { return mayReach(worker, item, lowest); });
            for (std::uint32_t waiting = 0; waiting < waitingCount; ++waiting) {
                if (!fallsShort(worker, setAside[waiting], worker.floor))
                    deferPast(worker, setAside[waiting], lowest);
            }
        }
        // The floor may rise within the block, so each line is bounded again.
        for (std::uint32_t held = 0; held < holdingCount; ++held)
            searchLine(worker, holding[held], lowest);
    }
}

inline std::optional<bool> LineFilter::holdsInBytes(
    const FuzzyMatcher::Pattern& pattern, std::uint32_t item) const
{
    auto& line = m_index.lines[item];
    if (pattern.compact.size() < 3 || static_cast<Storage>(line.storage) != Storage::ascii
        || line.characterCount > FuzzyMatcher::ShortAsciiTarget::maxCount)
        return std::nullopt;
    auto input = m_input.text();
    return FuzzyMatcher::AsciiTarget(
        input.data() + line.offset, line.characterCount, input.size() - line.offset)
        .contains(pattern);
}

void LineFilter::searchLine(Worker& worker, std::uint32_t item, FuzzyMatcher::Band lowest) const
{
    using FuzzyMatcher::Band;
    auto& pattern = worker.pattern;
    // An item pruned before its match was decided stays a candidate for the next keystroke.
    if (fallsShort(worker, item, worker.floor)) {
        worker.candidates.push_back(item);
        return;
    }
    // Its length and first character may keep a line out of the first look's bands, and its
    // traits out of every stage but a bare scattered walk, whose lines come last: it waits for a
    // later look, without a target made for nothing. (A first look that stops at a better band
    // sets lines aside a block at a time, since most of them go.)
    bool waits = lowest == Band::scattered
        ? !mayReach(worker, item, lowest)
        : lowest < Band::acronymOrSubstring && worker.floor < FuzzyMatcher::floorOf(lowest)
            && fallsShort(worker, item, FuzzyMatcher::floorOf(lowest));
    if (waits) {
        worker.candidates.push_back(item);
        deferPast(worker, item, lowest);
        return;
    }
    auto holds = holdsInBytes(pattern, item);
    if (holds == false)
        return;
    withTarget(pattern, item, [&](const auto& target) {
        if (!holds && !FuzzyMatcher::contains(pattern, target))
            return;
        worker.candidates.push_back(item);
        scoreInBands(worker, item, target, FuzzyMatcher::Band::exactOrPrefix, lowest);
    });
}

template <typename Target>
void LineFilter::scoreInBands(Worker& worker, std::uint32_t item, const Target& target,
    FuzzyMatcher::Band from, FuzzyMatcher::Band lowest) const
{
    using FuzzyMatcher::Band;
    auto& pattern = worker.pattern;
    auto floor = std::max(worker.floor, FuzzyMatcher::floorOf(lowest));
    // A line without one of the query's characters (a space, say), or one of its pairs, holds no
    // occurrence of it; one without them at its word starts, no acronym.
    bool mayOccur = pattern.charsMask == pattern.mask
        || (m_index.lines[item].mask & pattern.charsMask) == pattern.charsMask;
    bool mayBeAcronym = true;
    if (!m_traits.empty()) {
        auto& traits = m_traits[item];
        mayOccur = mayOccur && traits.mayHold(worker.bounds.pairs);
        mayBeAcronym = traits.mayStartWordsWith(pattern.mask);
    }
    if (auto score
        = FuzzyMatcher::score(pattern, target, floor, nullptr, from, mayOccur, mayBeAcronym)) {
        keep(worker, Hit { *score, item, target.count() });
        return;
    }
    // Scored below the floor in the last band, it is done with.
    if (lowest != Band::scattered)
        deferPast(worker, item, lowest);
}

void LineFilter::deferPast(Worker& worker, std::uint32_t item, FuzzyMatcher::Band band) const
{
    using FuzzyMatcher::Band;
    if (band == Band::scattered) {
        if (worker.floor <= FuzzyMatcher::Detail::bareWalkCeiling)
            worker.atMostBare.push_back(item);
        return;
    }
    auto next = static_cast<Band>(static_cast<int>(band) + 1);
    if (worker.floor <= FuzzyMatcher::ceilingOf(next))
        worker.nextDeferred.push_back(item);
}

void LineFilter::scoreDeferred(Worker& worker, FuzzyMatcher::Band band) const
{
    std::swap(worker.deferred, worker.nextDeferred);
    worker.nextDeferred.clear();
    for (auto item : worker.deferred) {
        if (worker.floor > FuzzyMatcher::ceilingOf(band))
            break;
        if (!mayReach(worker, item, band)) {
            deferPast(worker, item, band);
            continue;
        }
        withTarget(worker.pattern, item,
            [&](const auto& target) { scoreInBands(worker, item, target, band, band); });
    }
}

void LineFilter::scoreAtMostBare(Worker& worker) const
{
    using FuzzyMatcher::Band;
    for (auto item : worker.atMostBare) {
        if (worker.floor > FuzzyMatcher::Detail::bareWalkCeiling)
            break;
        withTarget(worker.pattern, item, [&](const auto& target) {
            scoreInBands(worker, item, target, Band::scattered, Band::scattered);
        });
    }
}

// The band that a first look stops at: the best one whose matches, estimated from a sample spread
// over the items, fill the answer. When none above the last does, the first look takes every
// band, so that no line is made a target twice. A wrong guess costs time, never results.
FuzzyMatcher::Band LineFilter::firstLowestBand(const Worker& worker, const std::uint32_t* items,
    std::uint32_t itemCount, std::size_t limit) const
{
    using FuzzyMatcher::Band;
    auto& pattern = worker.pattern;
    auto repeated = worker.bounds.repeatedClasses;
    constexpr std::uint32_t sampleSize = 512;
    if (itemCount < 8 * sampleSize)
        return Band::acronymOrSubstring;
    // The sample leaves the scattered stage, the dearest, alone.
    std::size_t inBands[FuzzyMatcher::bandCount - 1] = {};
    for (std::uint32_t sample = 0; sample < sampleSize; ++sample) {
        auto index = static_cast<std::uint32_t>(std::uint64_t { sample } * itemCount / sampleSize);
        auto item = items ? items[index] : index;
        auto& line = m_index.lines[item];
        if ((line.mask & pattern.mask) != pattern.mask)
            continue;
        // Prepared, a line that lacks a class twice that the query has twice, or that could
        // reach none of the sampled bands, is known to add nothing.
        if (!m_traits.empty()
            && (!m_traits[item].mayHoldTwice(repeated)
                || !mayReach(worker, item, Band::acronymOrSubstring)))
            continue;
        if (holdsInBytes(pattern, item) == false)
            continue;
        auto score = withTarget(pattern, item, [&](const auto& target) {
            return FuzzyMatcher::score(
                pattern, target, FuzzyMatcher::floorOf(Band::acronymOrSubstring));
        });
        if (!score)
            continue;
        // Bands never overlap: a score lies in the first band whose floor it reaches, which is
        // at the latest the floor given.
        std::size_t band = 0;
        while (band + 1 < std::size(inBands) && *score < FuzzyMatcher::bandFloors[band])
            ++band;
        ++inBands[band];
    }
    std::size_t sampled = 0;
    for (std::size_t band = 0; band < std::size(inBands); ++band) {
        sampled += inBands[band];
        if (sampled * itemCount >= limit * sampleSize)
            return static_cast<Band>(band);
    }
    return Band::scattered;
}

void LineFilter::keep(Worker& worker, Hit hit) const
{
    // The best hits are cut out of a quarter more at a time: a pass over them every so often
    // costs less than a heap's comparisons for every hit, and the floor still rises often enough
    // to keep most lines from being scored.
    worker.hits.push_back(hit);
    auto limit = worker.options.limit.value_or(std::numeric_limits<std::size_t>::max());
    auto size = worker.hits.size();
    if (size != limit && size - limit != limit / 4 + 1)
        return;
    auto worst = worker.hits.begin() + static_cast<std::ptrdiff_t>(limit - 1);
    std::nth_element(worker.hits.begin(), worst, worker.hits.end(),
        [this](const Hit& a, const Hit& b) { return precedes(a, b); });
    worker.hits.resize(limit);
    worker.floor = std::max(worker.floor, worst->score);
}

std::vector<LineFilter::Hit> LineFilter::search(const QueryText& query, const Options& options)
{
    auto pattern = FuzzyMatcher::makePattern(query);
    if (pattern.compact.empty() || options.limit == std::size_t { 0 }) {
        forgetPreviousQuery();
        return {};
    }
    // Only an item that held the previous compacted query as a subsequence can hold this one.
    bool narrows = m_previousCompact && isSubsequence(*m_previousCompact, pattern.compact);
    const std::uint32_t* items = narrows ? m_candidates.data() : nullptr;
    auto itemCount
        = static_cast<std::uint32_t>(narrows ? m_candidates.size() : m_index.lines.size());

    auto threads = static_cast<unsigned>(std::min<std::size_t>(
        threadCount(options.threads), std::max<std::size_t>(1, itemCount / itemsPerThread)));
    Bounds bounds(pattern);
    std::vector<Worker> workers;
    for (unsigned index = 0; index < threads; ++index) {
        workers.push_back(Worker { .pattern = pattern,
            .bounds = bounds,
            .options = options,
            .floor = options.minimumScore });
    }
    // With room for only some of the matches, a first look takes the best bands that fill it, and
    // each later look the next band of what is left, until the answer is full above what remains:
    // most matches are then decided by the cheap stages. Without such room every match is scored
    // in one look.
    using FuzzyMatcher::Band;
    auto firstLowest = options.limit && *options.limit < itemCount
        ? firstLowestBand(workers[0], items, itemCount, *options.limit)
        : Band::scattered;
    std::atomic<std::uint32_t> nextChunk { 0 };
    inParallel(workers, [&](Worker& worker) {
        for (;;) {
            auto begin = nextChunk.fetch_add(chunkSize);
            if (begin >= itemCount)
                break;
            searchRange(worker, items, begin, std::min(itemCount, begin + chunkSize), firstLowest);
        }
    });
    // Another look, at the lines that `waiting` put aside, when there are any and the answer's
    // floor leaves room up to `ceiling` for them.
    auto lookAgain = [&](std::vector<std::uint32_t> Worker::*waiting, double ceiling, auto look) {
        auto floor = answerFloor(workers, options);
        bool anyWaiting = std::any_of(workers.begin(), workers.end(),
            [&](const Worker& worker) { return !(worker.*waiting).empty(); });
        if (!anyWaiting || floor > ceiling)
            return false;
        inParallel(workers, [&](Worker& worker) {
            worker.floor = std::max(worker.floor, floor);
            look(worker);
        });
        return true;
    };
    for (auto band = static_cast<int>(firstLowest) + 1;
         band < static_cast<int>(FuzzyMatcher::bandCount); ++band) {
        auto next = static_cast<Band>(band);
        if (!lookAgain(&Worker::nextDeferred, FuzzyMatcher::ceilingOf(next),
                [&](Worker& worker) { scoreDeferred(worker, next); }))
            break;
    }
    lookAgain(&Worker::atMostBare, FuzzyMatcher::Detail::bareWalkCeiling,
        [&](Worker& worker) { scoreAtMostBare(worker); });
    auto hits = inOrderOfNumbers(workers);
    std::vector<std::uint32_t> candidates = std::move(workers[0].candidates);
    for (unsigned index = 1; index < threads; ++index)
        candidates.insert(
            candidates.end(), workers[index].candidates.begin(), workers[index].candidates.end());
    orderTies(hits, threads);
    if (options.limit && hits.size() > *options.limit)
        hits.resize(*options.limit);
    m_previousCompact = pattern.compact;
    m_candidates = std::move(candidates);
    return hits;
}

// A multikey quicksort on eight bytes at a time: the long beginnings that paths share are read
// once a level for a whole run, instead of once a comparison.
void LineFilter::sortTies(Tie* begin, Tie* end, std::size_t depth, int levelsLeft) const
{
    constexpr std::ptrdiff_t fewTies = 16;
    while (end - begin > fewTies && levelsLeft-- > 0) {
        auto middle = begin[(end - begin) / 2].word;
        auto pivot = std::max(
            std::min(begin->word, middle), std::min(std::max(begin->word, middle), end[-1].word));
        // Three parts: below the pivot's word, equal to it, above it.
        Tie* below = begin;
        Tie* above = end;
        for (Tie* tie = begin; tie < above;) {
            if (tie->word < pivot)
                std::swap(*below++, *tie++);
            else if (tie->word > pivot)
                std::swap(*tie, *--above);
            else
                ++tie;
        }
        sortTies(begin, below, depth, levelsLeft);
        sortTies(above, end, depth, levelsLeft);
        // Keys that end within the word differ at most by their length and then their ids, which
        // the full comparison settles.
        begin = below;
        end = above;
        if (std::none_of(
                begin, end, [&](const Tie& tie) { return tie.sortKey.size() > depth + 8; }))
            break;
        depth += 8;
        for (Tie* tie = begin; tie != end; ++tie)
            tie->word = keyWord(tie->sortKey, depth);
    }
    std::sort(begin, end, [&](const Tie& a, const Tie& b) {
        return a.word != b.word ? a.word < b.word : precedes(a, b, depth + 8);
    });
}

// A whole run brings up to millions of hits, but only hundreds of distinct scores and counts: a
// counting sort by them beats comparing, but for the few hundred of a search with a limit. The
// order within a run is left to orderTies.
std::vector<LineFilter::Hit> LineFilter::inOrderOfNumbers(const std::vector<Worker>& workers)
{
    constexpr std::size_t fewHits = 4096;
    std::size_t hitCount = 0;
    for (auto& worker : workers)
        hitCount += worker.hits.size();
    if (hitCount <= fewHits) {
        std::vector<Hit> hits;
        hits.reserve(hitCount);
        for (auto& worker : workers)
            hits.insert(hits.end(), worker.hits.begin(), worker.hits.end());
        std::sort(hits.begin(), hits.end(), byNumbers);
        return hits;
    }

    struct Run {
        double score = 0;
        std::uint32_t characterCount = 0;
        std::uint32_t size = 0;
    };
    std::vector<Run> runs;
    // Open addressing, at most half full: each slot holds a run's index, or `unused`.
    constexpr auto unused = std::numeric_limits<std::uint32_t>::max();
    int slotBits = 6;
    std::vector<std::uint32_t> slots;
    auto slotOf = [&](double score, std::uint32_t characterCount) {
        auto hash = (std::bit_cast<std::uint64_t>(score) ^ characterCount) * 0x9E37'79B9'7F4A'7C15;
        auto mask = (std::size_t { 1 } << slotBits) - 1;
        for (auto slot = static_cast<std::size_t>(hash >> (64 - slotBits));;
             slot = (slot + 1) & mask) {
            auto run = slots[slot];
            if (run == unused
                || (runs[run].score == score && runs[run].characterCount == characterCount))
                return slot;
        }
    };
    auto rehash = [&] {
        slots.assign(std::size_t { 1 } << slotBits, unused);
        for (std::uint32_t run = 0; run < runs.size(); ++run)
            slots[slotOf(runs[run].score, runs[run].characterCount)] = run;
    };
    rehash();
    std::vector<std::uint32_t> runOfHit;
    runOfHit.reserve(hitCount);
    for (auto& worker : workers) {
        for (auto& hit : worker.hits) {
            auto slot = slotOf(hit.score, hit.characterCount);
            if (slots[slot] == unused) {
                slots[slot] = static_cast<std::uint32_t>(runs.size());
                runs.push_back(Run { hit.score, hit.characterCount });
                if (2 * runs.size() > slots.size()) {
                    ++slotBits;
                    rehash();
                    slot = slotOf(hit.score, hit.characterCount);
                }
            }
            ++runs[slots[slot]].size;
            runOfHit.push_back(slots[slot]);
        }
    }
    std::vector<std::uint32_t> order(runs.size());
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
        [&](std::uint32_t a, std::uint32_t b) { return byNumbers(runs[a], runs[b]); });
    std::vector<std::size_t> nextPlace(runs.size());
    std::size_t place = 0;
    for (auto run : order) {
        nextPlace[run] = place;
        place += runs[run].size;
    }
    std::vector<Hit> hits(hitCount);
    std::size_t index = 0;
    for (auto& worker : workers) {
        for (auto& hit : worker.hits)
            hits[nextPlace[runOfHit[index++]]++] = hit;
    }
    return hits;
}

// Hits come ordered by score and count; this puts each run of equal scores and counts in
// order of title, then id.
void LineFilter::orderTies(std::vector<Hit>& hits, unsigned threads) const
{
    auto sameKey = [](const Hit& a, const Hit& b) {
        return a.score == b.score && a.characterCount == b.characterCount;
    };
    auto orderRuns = [&](std::size_t begin, std::size_t end) {
        // The titles of a run are looked up once. An ASCII title is its own sort key, folded as it
        // is read; the others are turned into keys (lower-cased already, so that folding leaves
        // them as they are). Keys compare as plain bytes however long the prefix that paths share.
        std::vector<Tie> ties;
        std::string keys;
        std::vector<std::size_t> keyEnds;
        while (begin < end) {
            auto runEnd = begin + 1;
            while (runEnd < end && sameKey(hits[runEnd], hits[begin]))
                ++runEnd;
            // A line alone in its run is in place: its title is never read.
            if (runEnd - begin == 1) {
                begin = runEnd;
                continue;
            }
            ties.clear();
            keys.clear();
            keyEnds.clear();
            auto run = std::span(hits).subspan(begin, runEnd - begin);
            for (auto& hit : run)
                ties.push_back(Tie { hit.item });
            std::size_t visited = 0;
            forEachTitle(run, [&](std::string_view title) {
                auto& tie = ties[visited++];
                if (static_cast<Storage>(m_index.lines[tie.item].storage) == Storage::ascii) {
                    tie.sortKey = title;
                } else {
                    Ranker::appendSortKey(title, keys);
                    keyEnds.push_back(keys.size());
                }
            });
            // Views of the made keys only now, when they no longer move.
            for (std::size_t index = 0, made = 0, offset = 0; index < ties.size(); ++index) {
                auto& tie = ties[index];
                if (!tie.sortKey.data()) {
                    tie.sortKey = std::string_view(keys).substr(offset, keyEnds[made] - offset);
                    offset = keyEnds[made++];
                }
                tie.word = keyWord(tie.sortKey, 0);
            }
            // Past twice the levels of a balanced sort, and 64 more for long shared beginnings,
            // what is left goes to a plain sort.
            sortTies(
                ties.data(), ties.data() + ties.size(), 0, 2 * std::bit_width(ties.size()) + 64);
            for (auto& entry : ties)
                hits[begin++].item = entry.item;
        }
    };
    // Each thread takes a share that starts and ends at the edge of a run.
    threads = static_cast<unsigned>(
        std::min<std::size_t>(threads, std::max<std::size_t>(1, hits.size() / hitsPerThread)));
    std::vector<std::size_t> bounds { 0 };
    for (unsigned index = 1; index < threads; ++index) {
        auto split = std::max(bounds.back(), hits.size() * index / threads);
        while (
            split > bounds.back() && split < hits.size() && sameKey(hits[split], hits[split - 1]))
            ++split;
        bounds.push_back(split);
    }
    bounds.push_back(hits.size());
    std::vector<std::jthread> helpers;
    for (unsigned index = 1; index < threads; ++index)
        helpers.emplace_back([&, index] { orderRuns(bounds[index], bounds[index + 1]); });
    orderRuns(bounds[0], bounds[1]);
}

void LineFilter::forgetPreviousQuery()
{
    m_previousCompact.reset();
    m_candidates.clear();
}

} // namespace zeph
