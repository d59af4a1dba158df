#pragma once

#include "Search/FuzzyMatcher.h"
#include "Search/MatchText.h"
#include "Support/InputBuffer.h"
#include "Support/MappedVector.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// A fuzzy filter over lines of text: every non-empty line is an item of kind file, titled by the
// line and identified by its line number, ranked as the launcher ranks files.
//
// Lines of ASCII or Latin text (every scalar below U+0300), nearly all lines in practice, are
// matched on their own bytes, folded and split into words on the fly, so that the index costs
// seventeen bytes a line. Other lines keep their folded characters (one byte each when every code
// is below 256) and a bit array of word starts, and so do Latin lines once prepared for typing. A
// large input is prepared in stretches on all cores. Not safe for concurrent searches.
class LineFilter {
public:
    // Takes the input; a line ends at "\n" or "\r\n". Invalid UTF-8 becomes U+FFFD.
    explicit LineFilter(InputBuffer input, unsigned threads = 0);
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
        std::uint32_t characterCount = 0; // Of the title, beside the score for ordering.
        bool operator==(const Hit&) const = default;
    };

    // The matching items, best first. When the previous query's compacted characters are a
    // subsequence of this one's, only the previous candidates are looked at.
    std::vector<Hit> search(const QueryText& query, const Options& options);
    // The next search looks at every line again.
    void forgetPreviousQuery();
    // Works out, for every line, what searches use to pass over most lines without looking at
    // them, those with room for only some matches above all. It costs about what a few such
    // searches save, so it pays when many follow, as they do while a query is typed. Results
    // never change.
    void prepareForTyping(unsigned threads = 0);

    std::size_t size() const { return m_index.lines.size(); }
    std::string_view title(std::uint32_t item) const;
    std::uint32_t characterCount(std::uint32_t item) const
    {
        return m_index.lines[item].characterCount;
    }
    std::uint32_t lineNumber(std::uint32_t item) const;
    // Calls `visit` with each hit's title in turn. The titles of hits lie far apart in the input,
    // so each is fetched a few hits ahead: first its line, then its text.
    template <typename Visit> void forEachTitle(std::span<const Hit> hits, Visit&& visit) const
    {
        for (std::size_t index = 0; index < hits.size(); ++index) {
            if (index + 16 < hits.size())
                __builtin_prefetch(&m_index.lines[hits[index + 16].item]);
            if (index + 8 < hits.size())
                __builtin_prefetch(titleStart(hits[index + 8].item));
            visit(title(hits[index].item));
        }
    }
    std::optional<Match> match(const FuzzyMatcher::Pattern& pattern, std::uint32_t item) const;

private:
    // Ascii and latin lines are matched on their own bytes; the others keep folded characters.
    enum class Storage : std::uint8_t { ascii, latin, folded8, folded32 };
    struct Line {
        std::uint64_t mask = 0;
        std::uint32_t offset = 0; // Ascii and latin: into the input. Folded: into the wide lines.
        std::uint32_t characterCount : 30 = 0;
        std::uint32_t storage : 2 = 0;
    };
    struct WideLine {
        std::uint32_t textOffset = 0; // Into the input, or into the repaired texts.
        std::uint32_t textLength = 0;
        std::uint32_t charOffset = 0; // Into the folded arena of its storage.
        std::uint32_t isRepaired = 0;
    };
    // A line's lead: its first character, folded, when that is ASCII; else unknownLead.
    static constexpr std::uint8_t unknownLead = 0x80;
    static constexpr std::uint8_t leadOf(Character folded)
    {
        return folded < 0x80 ? static_cast<std::uint8_t>(folded) : unknownLead;
    }
    // The prepared lines of one stretch of the input; stretches are prepared on their own threads
    // and then joined into one.
    struct Segment {
        MappedVector<Line> lines {};
        // Each line's lead, apart from the lines, so that bounding every line reads a byte of it
        // and no text.
        MappedVector<std::uint8_t> leads {};
        std::vector<WideLine> wideLines {};
        std::vector<std::uint8_t> folded8 {};
        std::vector<std::uint64_t> wordStarts8 {};
        std::vector<char32_t> folded32 {};
        std::vector<std::uint64_t> wordStarts32 {};
        std::string repaired {};
        std::vector<std::uint32_t>
            emptyLinesBefore {}; // For each empty line, the number of items before it.
        PreparedCharacters scratch {};

        Segment() = default;
        explicit Segment(std::size_t lineCapacity)
            : lines(lineCapacity)
            , leads(lineCapacity)
        {
        }
        void addLine(Line line, std::uint8_t lead)
        {
            lines.push_back(line);
            leads.push_back(lead);
        }
        void addLines(std::string_view input, std::size_t begin, std::size_t end);
        // The line's first `asciiPrefix` bytes are ASCII, and their class bits are in `mask`.
        void addNonAsciiLine(std::string_view text, std::uint32_t offset, std::uint32_t asciiPrefix,
            std::uint64_t mask);
        void addFoldedLine(std::string_view text, Line line, WideLine wide);
        void append(Segment&& other);
    };
    struct Bounds;
    struct Worker;
    // What searches ask of a line before making it a target, each a set of class bits, a pair of
    // adjacent classes hashed to one: the classes that stand more than once, and, for searches
    // with room for only some matches, the classes at its word starts, the pairs that begin at a
    // word start, and all its pairs. An ASCII line short enough for a mask target keeps its word
    // starts too, a bit a character.
    struct Traits {
        std::uint64_t repeatedClasses = ~std::uint64_t { 0 };
        std::uint64_t wordStartClasses = ~std::uint64_t { 0 };
        std::uint64_t wordStartPairs = ~std::uint64_t { 0 };
        std::uint64_t pairs = ~std::uint64_t { 0 };
        std::uint64_t wordStarts = 0;
        bool mayHold(std::uint64_t queryPairs) const { return (pairs & queryPairs) == queryPairs; }
        bool mayHoldTwice(std::uint64_t classes) const
        {
            return (repeatedClasses & classes) == classes;
        }
        bool mayStartWordsWith(std::uint64_t classes) const
        {
            return (wordStartClasses & classes) == classes;
        }
    };
    // Of an ASCII line, from whose start `readable` bytes may be read; of any other line, from
    // its target.
    static Traits asciiTraits(std::string_view text, std::size_t readable);
    template <typename Target> static Traits targetTraits(const Target& target);
    // False when no stage of `band` or a better one could match the line; of the scattered band,
    // when no better one could, and no walk could score more than a bare one.
    inline bool mayReach(const Worker& worker, std::uint32_t item, FuzzyMatcher::Band band) const;

    // What orders hits of equal scores and counts.
    struct Tie {
        std::uint32_t item = 0;
        std::string_view sortKey {}; // An ASCII title, or Ranker::appendSortKey's; read folded.
        std::uint64_t word = 0; // Eight bytes of the key, at the depth that sortTies has reached.
    };
    inline bool precedes(const Hit& a, const Hit& b) const;
    // Of hits of the same score and count.
    bool precedesByTitle(const Hit& a, const Hit& b) const;
    const char* titleStart(std::uint32_t item) const;
    // Of ties whose keys are the same up to `depth`.
    bool precedes(const Tie& a, const Tie& b, std::size_t depth) const;
    bool precedesById(std::uint32_t a, std::uint32_t b) const;
    static std::vector<Hit> inOrderOfNumbers(const std::vector<Worker>& workers);
    void orderTies(std::vector<Hit>& hits, unsigned threads) const;
    // Sorts ties whose keys are the same up to `depth` and whose words hold the next eight bytes.
    void sortTies(Tie* begin, Tie* end, std::size_t depth, int levelsLeft) const;
    // The classes at the line's word starts, once prepared; every class before.
    std::uint64_t wordStartClasses(std::uint32_t item) const;
    // Calls `visit` with the item as the matcher's target, made for `pattern`.
    template <typename Visit>
    auto withTarget(const FuzzyMatcher::Pattern& pattern, std::uint32_t item, Visit&& visit) const;
    // The same for a line that is not ASCII, whose target needs no pattern.
    template <typename Visit> auto withOtherTarget(std::uint32_t item, Visit&& visit) const;
    // True when no stage could score the line at `floor` or above.
    inline bool fallsShort(const Worker& worker, std::uint32_t item, double floor) const;
    // Latin lines, matched on their bytes to keep the index small, are folded once, as other
    // lines are: searches then neither fold them nor work out their word starts, query after
    // query.
    void foldLatinLines(unsigned threads);
    // Writes the lines whose class masks hold `mask` to `holding`, in order, and returns how
    // many: the lines from `begin` to `end`, or the items given.
    std::uint32_t holdingLines(
        std::uint32_t begin, std::uint32_t end, std::uint64_t mask, std::uint32_t* holding) const;
    std::uint32_t holdingLines(const std::uint32_t* items, std::uint32_t itemCount,
        std::uint64_t mask, std::uint32_t* holding) const;
    // Whether a short ASCII line holds a query of three characters or more, from its bytes;
    // nothing for other lines and queries. Most lines that hold such a query's letters do not
    // hold them in order, and the bytes tell at less cost than a target's masks; with two
    // characters the order mostly holds, and the look costs more than it saves.
    std::optional<bool> holdsInBytes(
        const FuzzyMatcher::Pattern& pattern, std::uint32_t item) const;
    void searchRange(Worker& worker, const std::uint32_t* items, std::uint32_t begin,
        std::uint32_t end, FuzzyMatcher::Band lowest) const;
    // One line whose class mask holds the query's: a first look down to `lowest`, or a wait
    // for the look at the band after it.
    void searchLine(Worker& worker, std::uint32_t item, FuzzyMatcher::Band lowest) const;
    // Puts the item aside for the look at the band after `band` (after the scattered band, at the
    // lines that score a bare walk's score at best), while the answer's floor leaves room for it
    // there.
    void deferPast(Worker& worker, std::uint32_t item, FuzzyMatcher::Band band) const;
    // Scores the stages of the bands from `from` to `lowest`, and keeps the hit or defers the item
    // to a look at the next band.
    template <typename Target>
    void scoreInBands(Worker& worker, std::uint32_t item, const Target& target,
        FuzzyMatcher::Band from, FuzzyMatcher::Band lowest) const;
    void scoreDeferred(Worker& worker, FuzzyMatcher::Band band) const;
    // The lines put aside as able to score a bare scattered walk's score at best.
    void scoreAtMostBare(Worker& worker) const;
    FuzzyMatcher::Band firstLowestBand(const Worker& worker, const std::uint32_t* items,
        std::uint32_t itemCount, std::size_t limit) const;
    void keep(Worker& worker, Hit hit) const;
    static double answerFloor(const std::vector<Worker>& workers, const Options& options);

    InputBuffer m_input;
    Segment m_index;
    std::vector<Traits> m_traits; // Empty until prepareForTyping.

    // Narrowing: the previous query and every item that may have matched it.
    std::optional<std::u32string> m_previousCompact;
    std::vector<std::uint32_t> m_candidates;
};

} // namespace zeph
