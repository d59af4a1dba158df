#include "Search/LineFilter.h"

#include "Search/Ranker.h"
#include "Support/Verify.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>
#include <limits>
#include <thread>

namespace zeph {

namespace {

// Below this many items, starting threads costs more than it saves.
constexpr std::size_t itemsPerThread = 50'000;
constexpr std::uint32_t chunkSize = 8192;

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

void appendBits(std::vector<std::uint64_t>& bits, std::size_t firstBit, const std::vector<bool>& values)
{
    bits.resize((firstBit + values.size() + 63) / 64 + 1, 0);
    for (std::size_t index = 0; index < values.size(); ++index) {
        if (values[index])
            bits[(firstBit + index) / 64] |= std::uint64_t { 1 } << ((firstBit + index) % 64);
    }
}

} // namespace

struct LineFilter::Worker {
    const FuzzyMatcher::Pattern& pattern;
    const Options& options;
    std::vector<Hit> hits {};
    std::vector<std::uint32_t> candidates {};
    double floor = 0;
};

LineFilter::LineFilter(InputBuffer input)
    : m_input(std::move(input))
{
    auto text = m_input.text();
    verify(text.size() < std::numeric_limits<std::uint32_t>::max());
    const char* data = text.data();
    std::size_t size = text.size();
    for (std::size_t start = 0; start < size;) {
        auto* newline = static_cast<const char*>(std::memchr(data + start, '\n', size - start));
        std::size_t end = newline ? static_cast<std::size_t>(newline - data) : size;
        std::size_t next = newline ? end + 1 : size;
        if (end > start && data[end - 1] == '\r' && newline)
            --end;
        if (end == start)
            m_emptyLinesBefore.push_back(static_cast<std::uint32_t>(m_lines.size()));
        else
            addLine(static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(end - start));
        start = next;
    }
}

void LineFilter::addLine(std::uint32_t offset, std::uint32_t length)
{
    auto* bytes = reinterpret_cast<const unsigned char*>(m_input.text().data() + offset);
    std::uint64_t mask = 0;
    unsigned char highBits = 0;
    for (std::uint32_t index = 0; index < length; ++index) {
        highBits |= bytes[index];
        mask |= asciiClassBits[bytes[index] & 0x7F];
    }
    if (highBits & 0x80) {
        addNonAsciiLine(offset, length);
        return;
    }
    Line line { .mask = mask, .textOffset = offset, .textLength = length };
    line.characterCount = length;
    line.storage = static_cast<std::uint32_t>(Storage::ascii);
    m_lines.push_back(line);
}

void LineFilter::addNonAsciiLine(std::uint32_t offset, std::uint32_t length)
{
    auto text = m_input.text().substr(offset, length);
    Line line { .textOffset = offset, .textLength = length };
    if (!isValidUTF8(text)) {
        auto repaired = sanitizedUTF8(text);
        line.textOffset = static_cast<std::uint32_t>(m_repaired.size());
        line.textLength = static_cast<std::uint32_t>(repaired.size());
        line.isRepaired = 1;
        m_repaired += repaired;
        text = std::string_view(m_repaired).substr(line.textOffset);
    }
    prepareCharacters(text, m_scratch);
    auto& chars = m_scratch.chars;
    for (auto character : chars)
        line.mask |= characterClassBit(character);
    line.characterCount = static_cast<std::uint32_t>(chars.size());
    bool fitsInBytes = std::all_of(chars.begin(), chars.end(), [](char32_t character) { return character < 0x100; });
    if (fitsInBytes) {
        line.storage = static_cast<std::uint32_t>(Storage::folded8);
        line.charOffset = static_cast<std::uint32_t>(m_folded8.size());
        m_folded8.insert(m_folded8.end(), chars.begin(), chars.end());
        appendBits(m_wordStarts8, line.charOffset, m_scratch.wordStart);
    } else {
        line.storage = static_cast<std::uint32_t>(Storage::folded32);
        line.charOffset = static_cast<std::uint32_t>(m_folded32.size());
        m_folded32.insert(m_folded32.end(), chars.begin(), chars.end());
        appendBits(m_wordStarts32, line.charOffset, m_scratch.wordStart);
    }
    m_lines.push_back(line);
}

std::string_view LineFilter::title(std::uint32_t item) const
{
    auto& line = m_lines[item];
    auto source = line.isRepaired ? std::string_view(m_repaired) : m_input.text();
    return source.substr(line.textOffset, line.textLength);
}

std::uint32_t LineFilter::lineNumber(std::uint32_t item) const
{
    auto emptyBefore = std::upper_bound(m_emptyLinesBefore.begin(), m_emptyLinesBefore.end(), item)
        - m_emptyLinesBefore.begin();
    return item + 1 + static_cast<std::uint32_t>(emptyBefore);
}

template<typename Visit>
auto LineFilter::withTarget(std::uint32_t item, Visit&& visit) const
{
    auto& line = m_lines[item];
    switch (static_cast<Storage>(line.storage)) {
    case Storage::folded8:
        return visit(FuzzyMatcher::FoldedTarget<std::uint8_t>(
            m_folded8.data() + line.charOffset, line.characterCount, m_wordStarts8.data(), line.charOffset));
    case Storage::folded32:
        return visit(FuzzyMatcher::FoldedTarget<char32_t>(
            m_folded32.data() + line.charOffset, line.characterCount, m_wordStarts32.data(), line.charOffset));
    case Storage::ascii:
        break;
    }
    return visit(FuzzyMatcher::AsciiTarget(m_input.text().data() + line.textOffset, line.characterCount));
}

std::optional<Match> LineFilter::match(const FuzzyMatcher::Pattern& pattern, std::uint32_t item) const
{
    Match result;
    auto found = withTarget(item, [&](const auto& target) { return FuzzyMatcher::score(pattern, target, 0, &result.indices); });
    if (!found)
        return std::nullopt;
    result.score = *found;
    return result;
}

bool LineFilter::precedes(const Hit& a, const Hit& b) const
{
    if (a.score != b.score)
        return a.score > b.score;
    auto& lineA = m_lines[a.item];
    auto& lineB = m_lines[b.item];
    if (lineA.characterCount != lineB.characterCount)
        return lineA.characterCount < lineB.characterCount;
    char idA[16];
    char idB[16];
    auto endA = std::to_chars(idA, idA + sizeof idA, lineNumber(a.item)).ptr;
    auto endB = std::to_chars(idB, idB + sizeof idB, lineNumber(b.item)).ptr;
    return Ranker::precedes(Ranker::OrderKey { a.score, lineA.characterCount, title(a.item), { idA, endA } },
        Ranker::OrderKey { b.score, lineB.characterCount, title(b.item), { idB, endB } });
}

void LineFilter::searchRange(Worker& worker, const std::uint32_t* items, std::uint32_t begin, std::uint32_t end) const
{
    auto& pattern = worker.pattern;
    auto limit = worker.options.limit.value_or(std::numeric_limits<std::size_t>::max());
    auto worstFirst = [this](const Hit& a, const Hit& b) { return precedes(a, b); };
    for (auto index = begin; index < end; ++index) {
        auto item = items ? items[index] : index;
        auto& line = m_lines[item];
        if ((line.mask & pattern.mask) != pattern.mask)
            continue;
        // An item pruned before its match was decided stays a candidate for the next keystroke.
        if (FuzzyMatcher::bestPossibleScore(pattern, line.characterCount) < worker.floor) {
            worker.candidates.push_back(item);
            continue;
        }
        auto found = withTarget(item, [&](const auto& target) -> std::optional<double> {
            if (!FuzzyMatcher::contains(pattern, target))
                return std::nullopt;
            worker.candidates.push_back(item);
            return FuzzyMatcher::score(pattern, target, worker.floor);
        });
        if (!found)
            continue;
        Hit hit { *found, item };
        if (worker.hits.size() < limit) {
            worker.hits.push_back(hit);
            if (worker.hits.size() == limit) {
                std::make_heap(worker.hits.begin(), worker.hits.end(), worstFirst);
                worker.floor = std::max(worker.floor, worker.hits.front().score);
            }
        } else if (precedes(hit, worker.hits.front())) {
            std::pop_heap(worker.hits.begin(), worker.hits.end(), worstFirst);
            worker.hits.back() = hit;
            std::push_heap(worker.hits.begin(), worker.hits.end(), worstFirst);
            worker.floor = std::max(worker.floor, worker.hits.front().score);
        }
    }
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
    auto itemCount = static_cast<std::uint32_t>(narrows ? m_candidates.size() : m_lines.size());

    unsigned threads = options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
    threads = static_cast<unsigned>(std::min<std::size_t>(threads, std::max<std::size_t>(1, itemCount / itemsPerThread)));
    std::vector<Worker> workers;
    for (unsigned index = 0; index < threads; ++index)
        workers.push_back(Worker { .pattern = pattern, .options = options, .floor = options.minimumScore });
    std::atomic<std::uint32_t> nextChunk { 0 };
    auto work = [&](Worker& worker) {
        for (;;) {
            auto begin = nextChunk.fetch_add(chunkSize);
            if (begin >= itemCount)
                break;
            searchRange(worker, items, begin, std::min(itemCount, begin + chunkSize));
        }
        std::sort(worker.hits.begin(), worker.hits.end(), [this](const Hit& a, const Hit& b) { return precedes(a, b); });
    };
    {
        std::vector<std::jthread> helpers;
        for (unsigned index = 1; index < threads; ++index)
            helpers.emplace_back([&, index] { work(workers[index]); });
        work(workers[0]);
    }

    std::vector<Hit> hits = std::move(workers[0].hits);
    std::vector<std::uint32_t> candidates = std::move(workers[0].candidates);
    for (unsigned index = 1; index < threads; ++index) {
        auto& worker = workers[index];
        std::vector<Hit> merged(hits.size() + worker.hits.size());
        std::merge(hits.begin(), hits.end(), worker.hits.begin(), worker.hits.end(), merged.begin(),
            [this](const Hit& a, const Hit& b) { return precedes(a, b); });
        hits = std::move(merged);
        candidates.insert(candidates.end(), worker.candidates.begin(), worker.candidates.end());
    }
    if (options.limit && hits.size() > *options.limit)
        hits.resize(*options.limit);
    m_previousCompact = pattern.compact;
    m_candidates = std::move(candidates);
    return hits;
}

void LineFilter::forgetPreviousQuery()
{
    m_previousCompact.reset();
    m_candidates.clear();
}

} // namespace zeph
