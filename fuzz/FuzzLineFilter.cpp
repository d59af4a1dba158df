// Arbitrary bytes as the input of `zeph filter`, its first line the query: every line is prepared
// as the full rules prepare its repaired text, whichever shortcut it took, and a search finds
// exactly the lines that match, best first, a limited search being the whole one's beginning, with
// or without the lines prepared for typing; and the scanners that load the lines agree on every
// line of the bytes.
#include "Search/LineFilter.h"
#include "Search/LineScan.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (std::size_t start = 0; start < size;) {
        std::uint64_t mask = 0;
        auto stop = zeph::LineScan::portable(data, start, size, mask);
        std::uint64_t bestMask = 0;
        zeph::verify(zeph::LineScan::best()(data, start, size, bestMask) == stop && bestMask == mask);
        start = stop + 1;
    }
    auto newline = bytes.find('\n');
    auto query = zeph::makeQueryText(bytes.substr(0, newline));
    zeph::LineFilter filter { zeph::InputBuffer(std::string(newline == std::string_view::npos ? std::string_view {} : bytes.substr(newline + 1))), 1 };
    auto pattern = zeph::FuzzyMatcher::makePattern(query);
    std::size_t matching = 0;
    for (std::uint32_t item = 0; item < filter.size(); ++item) {
        auto title = filter.title(item);
        zeph::verify(!title.empty() && zeph::isValidUTF8(title) && title.find('\n') == std::string_view::npos);
        auto target = zeph::makeMatchText(title);
        zeph::verify(filter.characterCount(item) == target.chars.size());
        auto match = filter.match(pattern, item);
        zeph::verify(match == zeph::FuzzyMatcher::match(query, target));
        matching += match && match->score >= 0.2;
    }
    auto hits = filter.search(query, {});
    zeph::verify(hits.size() == matching);
    for (std::size_t index = 0; index < hits.size(); ++index) {
        zeph::verify(hits[index].score == filter.match(pattern, hits[index].item)->score);
        zeph::verify(index == 0 || hits[index].score <= hits[index - 1].score);
    }
    filter.forgetPreviousQuery();
    auto first = filter.search(query, { .limit = 3 });
    zeph::verify(first.size() == std::min<std::size_t>(3, hits.size()));
    for (std::size_t index = 0; index < first.size(); ++index)
        zeph::verify(first[index] == hits[index]);
    // Prepared for typing, a search passes over lines and finds the same.
    filter.prepareForTyping(1);
    filter.forgetPreviousQuery();
    zeph::verify(filter.search(query, { .limit = 3 }) == first);
    return 0;
}
