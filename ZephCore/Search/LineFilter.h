#pragma once

#include "Search/FuzzyMatcher.h"
#include "Search/MatchText.h"
#include "Support/InputBuffer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// A fuzzy filter over lines of text: every non-empty line is an item of kind file, titled by the
// line and identified by its line number, ranked as the launcher ranks files.
//
// All lines live in one arena. Pure-ASCII lines are matched on their own bytes, with folding and
// word starts worked out on the fly; other lines keep their folded characters (one byte each when
// every code is below 256) and a bit array of word starts. Not safe for concurrent searches.
class LineFilter {
public:
    // Takes the input; a line ends at "\n" or "\r\n". Invalid UTF-8 becomes U+FFFD.
    explicit LineFilter(InputBuffer input);
    LineFilter(const LineFilter&) = delete;
    LineFilter& operator=(const LineFilter&) = delete;
    LineFilter(LineFilter&&) = default;
    LineFilter& operator=(LineFilter&&) = default;

    struct Options {
        std::optional<std::size_t> limit {};
        double minimumScore = 0.2;
        unsigned threads = 0; // 0: as many as the machine has.
    };
    struct Hit {
        double score = 0;
        std::uint32_t item = 0;
        bool operator==(const Hit&) const = default;
    };

    // The matching items, best first. When the previous query's compacted characters are a
    // subsequence of this one's, only the previous candidates are looked at.
    std::vector<Hit> search(const QueryText& query, const Options& options);
    // The next search looks at every line again.
    void forgetPreviousQuery();

    std::size_t size() const { return m_lines.size(); }
    std::string_view title(std::uint32_t item) const;
    std::uint32_t characterCount(std::uint32_t item) const { return m_lines[item].characterCount; }
    std::uint32_t lineNumber(std::uint32_t item) const;
    std::optional<Match> match(const FuzzyMatcher::Pattern& pattern, std::uint32_t item) const;

private:
    enum class Storage : std::uint8_t { ascii, folded8, folded32 };
    struct Line {
        std::uint64_t mask = 0;
        std::uint32_t textOffset = 0; // Into the input, or into the repaired texts.
        std::uint32_t textLength = 0;
        std::uint32_t charOffset = 0; // Into the folded arena of its storage.
        std::uint32_t characterCount : 29 = 0;
        std::uint32_t isRepaired : 1 = 0;
        std::uint32_t storage : 2 = 0;
    };
    struct Worker;

    void addLine(std::uint32_t offset, std::uint32_t length);
    void addNonAsciiLine(std::uint32_t offset, std::uint32_t length);
    bool precedes(const Hit& a, const Hit& b) const;
    template<typename Visit>
    auto withTarget(std::uint32_t item, Visit&& visit) const;
    void searchRange(Worker& worker, const std::uint32_t* items, std::uint32_t begin, std::uint32_t end) const;

    InputBuffer m_input;
    std::string m_repaired;
    std::vector<Line> m_lines;
    std::vector<std::uint8_t> m_folded8;
    std::vector<char32_t> m_folded32;
    std::vector<std::uint64_t> m_wordStarts8;
    std::vector<std::uint64_t> m_wordStarts32;
    std::vector<std::uint32_t> m_emptyLinesBefore; // For each empty line, the number of items before it.
    PreparedCharacters m_scratch;

    // Narrowing: the previous query and every item that may have matched it.
    std::optional<std::u32string> m_previousCompact;
    std::vector<std::uint32_t> m_candidates;
};

} // namespace zeph
