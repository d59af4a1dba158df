#pragma once

#include "Support/Text.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zeph {

// A target string prepared once, when an item enters an index.
struct MatchText {
    std::string original {};
    std::u32string chars {}; // One folded character per character of `original`.
    std::vector<bool> wordStart {};
    std::vector<int> wordStarts {};
    bool operator==(const MatchText&) const = default;
};

// The typed text prepared once per search.
struct QueryText {
    std::string raw {};
    std::u32string chars {}; // Folded, after trimming; inner spaces kept.
    std::u32string compact {}; // `chars` without its spaces, for the acronym and scattered stages.
    bool operator==(const QueryText&) const = default;
};

// Folds one character (a grapheme cluster, valid UTF-8) for case- and diacritic-insensitive
// comparison: one character in, exactly one out.
Character foldCharacter(std::string_view cluster);
QueryText makeQueryText(std::string_view raw);
MatchText makeMatchText(std::string_view text);

// The folded characters of a valid UTF-8 string and where its words start; the common core of
// makeMatchText and of the indexes that keep prepared texts in arenas.
struct PreparedCharacters {
    std::u32string chars {};
    // A byte for each character, 1 where a word starts: bytes append and read faster than bits.
    std::vector<std::uint8_t> wordStart {};
};
void prepareCharacters(std::string_view validText, PreparedCharacters& prepared);

// Latin text, whose every scalar lies in the Latin table and folds below 256, is matched on its
// own bytes, prepared afresh for each query in three cheap pieces. measureLatinText takes the bytes
// of one line (no line feed, so that a carriage return is a character of its own) whose first
// `asciiPrefix` are ASCII and already in `mask`: for Latin text in valid UTF-8 it adds the class
// bits of the rest to `mask` and yields the count of characters; for other bytes, valid or not,
// it yields nothing.
std::optional<std::uint32_t> measureLatinText(
    std::string_view text, std::size_t asciiPrefix, std::uint64_t& mask);
// Both read the text a block at a time: `readable` bytes from its start on, at least its size,
// may be read.
// The folded characters of Latin text, one byte each, into room for sixteen bytes more than the
// text has (whole blocks are written).
void foldLatinBytes(std::string_view latinText, std::size_t readable, std::uint8_t* chars);
// The word starts of Latin text, a bit a character from bit 0 on, written a whole word at a time.
void findLatinWordStarts(
    std::string_view latinText, std::size_t readable, std::uint64_t* wordStartBits);

namespace Ascii {

constexpr unsigned char fold(unsigned char byte)
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + 32) : byte;
}

// fold() on each of eight bytes at once; bytes of 0x80 and above come out as garbage, without
// disturbing their neighbours.
constexpr std::uint64_t foldWord(std::uint64_t word)
{
    constexpr std::uint64_t ones = 0x0101'0101'0101'0101;
    auto low = word & (0x7F * ones);
    auto fromA = low + (0x80 - 'A') * ones; // High bit set from 'A' on.
    auto pastZ = low + (0x7F - 'Z') * ones; // High bit set past 'Z'.
    auto upper = fromA & ~pastZ & ~word & (0x80 * ones);
    return word | (upper >> 2);
}

constexpr std::uint64_t highBits = 0x8080'8080'8080'8080;

namespace Detail {

enum : unsigned char { separator = 1, upper = 2, lower = 4, digit = 8 };

// The bytes from `low` to `high`.
struct ByteRange {
    unsigned char low;
    unsigned char high;
};

// The separators, tab, space and " - _ . / \ ( ) [ ] { } : , + & @ ', in runs, which vector code
// tests a run at a time.
inline constexpr auto separatorRanges = std::to_array<ByteRange>(
    { { '\t', '\t' }, { ' ', ' ' }, { '"', '"' }, { '&', ')' }, { '+', '/' }, { ':', ':' },
        { '@', '@' }, { '[', ']' }, { '_', '_' }, { '{', '{' }, { '}', '}' } });

// Word-start scans classify every byte they pass, so the classes come from one table.
inline constexpr auto classes = [] {
    std::array<unsigned char, 256> table {};
    for (auto range : separatorRanges) {
        for (unsigned byte = range.low; byte <= range.high; ++byte)
            table[byte] = separator;
    }
    for (unsigned byte = 0; byte < 26; ++byte) {
        table['A' + byte] = upper;
        table['a' + byte] = lower;
    }
    for (unsigned byte = '0'; byte <= '9'; ++byte)
        table[byte] = digit;
    return table;
}();

// Whether a word starts at a character of class `at` after one of class `before`. Letters and
// numbers beyond ASCII take the same classes.
constexpr bool startsWord(unsigned before, unsigned at)
{
    // Without branches: the bits line up on bit 0.
    unsigned starts
        = (before & separator) | ((at / upper) & (before / lower)) | ((at ^ before) / digit);
    return (starts & ~at & 1) != 0;
}

} // namespace Detail

constexpr bool isSeparator(unsigned char byte)
{
    return Detail::classes[byte] & Detail::separator;
}

// Word starts of ASCII text, from the character and the one before it (none at position 0):
// after a separator, at an upper-case letter after a lower-case one, and where digits begin or end.
constexpr bool isWordStart(unsigned char previous, unsigned char current)
{
    return Detail::startsWord(Detail::classes[previous], Detail::classes[current]);
}

// Bit masks of where each class of byte stands in up to 64 ASCII bytes, bit i for byte i.
struct ClassMasks {
    std::uint64_t separators = 0;
    std::uint64_t upper = 0;
    std::uint64_t lower = 0;
    std::uint64_t digits = 0;
};

// isWordStart for every position at once; position 0 follows a character of class `before`
// (Detail's classes), a separator at the start of a text.
constexpr std::uint64_t wordStarts(const ClassMasks& classes, unsigned before = Detail::separator)
{
    auto shifted = [before](std::uint64_t mask, unsigned beforeClass) {
        return (mask << 1) | std::uint64_t { (before & beforeClass) != 0 };
    };
    auto afterSeparator = shifted(classes.separators, Detail::separator);
    auto camelCase = classes.upper & shifted(classes.lower, Detail::lower);
    auto digitEdge = classes.digits ^ shifted(classes.digits, Detail::digit);
    return ~classes.separators & (afterSeparator | camelCase | digitEdge);
}

#if defined(__SSE2__)
namespace Detail {

// The bytes of a block that lie in `range`, as all ones.
template <ByteRange range> __m128i bytesIn(__m128i block)
{
    if constexpr (range.low == range.high) {
        return _mm_cmpeq_epi8(block, _mm_set1_epi8(static_cast<char>(range.low)));
    } else {
        // Shifted so that the range starts at the smallest signed byte, they are the ones below
        // its end.
        auto bias = _mm_set1_epi8(static_cast<char>(0x80 - range.low));
        return _mm_cmplt_epi8(_mm_add_epi8(block, bias),
            _mm_set1_epi8(static_cast<char>(0x80 + (range.high - range.low + 1))));
    }
}

template <std::size_t... run> __m128i separatorsIn(__m128i block, std::index_sequence<run...>)
{
    return (bytesIn<separatorRanges[run]>(block) | ...);
}

} // namespace Detail

// Adds the classes of a block of sixteen ASCII bytes, at bit `shift` on, to `classes`.
inline void addClasses(__m128i block, unsigned shift, ClassMasks& classes)
{
    using Detail::ByteRange;
    using Detail::bytesIn;
    auto separators
        = Detail::separatorsIn(block, std::make_index_sequence<Detail::separatorRanges.size()>());
    auto gather = [shift](__m128i bytes) {
        return std::uint64_t { static_cast<unsigned>(_mm_movemask_epi8(bytes)) } << shift;
    };
    classes.separators |= gather(separators);
    classes.upper |= gather(bytesIn<ByteRange { 'A', 'Z' }>(block));
    classes.lower |= gather(bytesIn<ByteRange { 'a', 'z' }>(block));
    classes.digits |= gather(bytesIn<ByteRange { '0', '9' }>(block));
}

// The word starts of a block of sixteen ASCII bytes, bit i for byte i, the first after a
// character of class `before`.
inline std::uint64_t blockWordStarts(__m128i block, unsigned before)
{
    ClassMasks classes;
    addClasses(block, 0, classes);
    return wordStarts(classes, before) & 0xFFFF;
}

// fold() on each of sixteen ASCII bytes.
inline __m128i foldBlock(__m128i block)
{
    auto upper = Detail::bytesIn<Detail::ByteRange { 'A', 'Z' }>(block);
    return _mm_or_si128(block, _mm_and_si128(upper, _mm_set1_epi8(0x20)));
}
#endif

} // namespace Ascii

// The character-class bit of a folded character. An ASCII character's class is its low five bits
// and its bit six: case goes, letters and digits keep classes of their own, punctuation nearly
// so, and control characters share those of punctuation. NUL has none, so that bytes past the end
// of a text can read as NUL; every non-ASCII character shares the class of '\\' and '|'. A target
// whose mask lacks a bit of the query's cannot contain the query.
constexpr std::uint64_t characterClassBit(Character folded)
{
    if (folded == 0)
        return 0;
    if (folded >= 0x80)
        return std::uint64_t { 1 } << 60;
    return std::uint64_t { 1 } << ((folded & 0x1F) | (folded & 0x40) >> 1);
}

// The class bit of each ASCII byte; folding would change none.
inline constexpr auto asciiClassBits = [] {
    std::array<std::uint64_t, 128> bits {};
    for (unsigned byte = 0; byte < bits.size(); ++byte)
        bits[byte] = characterClassBit(byte);
    return bits;
}();

// The class bits of eight ASCII bytes, gathered in a tree rather than in one chain.
constexpr std::uint64_t asciiClassBitsOfWord(std::uint64_t word)
{
    auto bits = [&](unsigned byte) { return asciiClassBits[(word >> (8 * byte)) & 0x7F]; };
    return ((bits(0) | bits(1)) | (bits(2) | bits(3)))
        | ((bits(4) | bits(5)) | (bits(6) | bits(7)));
}

} // namespace zeph
