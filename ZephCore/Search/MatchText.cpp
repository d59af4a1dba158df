#include "Search/MatchText.h"

#include "Support/ScalarTable.h"

#include <bit>
#include <cstring>

namespace zeph {

namespace {

// A cluster of one scalar beyond ASCII.
Character foldScalar(char32_t scalar, std::string_view cluster)
{
    if (scalar < ScalarTable::size) {
        if (auto folded = ScalarTable::fold(scalar))
            return folded;
    }
    return computeFoldedCharacter(cluster);
}

bool isSingleScalar(std::string_view cluster, char32_t& scalar)
{
    std::size_t offset = 0;
    scalar = decodeScalar(cluster, offset);
    return offset == cluster.size();
}

std::string_view clusterAt(
    std::string_view text, const std::vector<std::uint32_t>& boundaries, std::size_t index)
{
    return text.substr(boundaries[index], boundaries[index + 1] - boundaries[index]);
}

} // namespace

Character foldCharacter(std::string_view cluster)
{
    if (cluster.size() == 1 && static_cast<unsigned char>(cluster[0]) < 0x80)
        return Ascii::fold(static_cast<unsigned char>(cluster[0]));
    if (cluster == "\r\n") {
        static const Character crLf = characterCode("\r\n");
        return crLf;
    }
    char32_t scalar = 0;
    if (isSingleScalar(cluster, scalar))
        return foldScalar(scalar, cluster);
    return computeFoldedCharacter(cluster);
}

namespace {

// Decides word starts character by character, from the characters before folding.
class WordStarts {
public:
    bool next(bool isSeparator, const CharacterProperties& properties)
    {
        bool isStart = !isSeparator
            && (m_isFirst || m_previousIsSeparator || (properties.isUppercase && m_previousIsLower)
                || properties.isNumber != m_previousIsNumber);
        m_isFirst = false;
        m_previousIsSeparator = isSeparator;
        m_previousIsLower = properties.isLowercase;
        m_previousIsNumber = properties.isNumber;
        return isStart;
    }

private:
    bool m_isFirst = true;
    bool m_previousIsSeparator = false;
    bool m_previousIsLower = false;
    bool m_previousIsNumber = false;
};

// What preparing needs of a scalar below latinLimit, in one place for the hot loops.
struct LatinCharacter {
    std::uint64_t classBit = 0;
    char16_t folded = 0;
    std::uint8_t wordClass = 0; // Ascii::Detail's classes.
    bool isCarriageReturn = false;
};

// The class of a scalar for word starts, separators aside.
unsigned wordClass(const CharacterProperties& properties)
{
    using namespace Ascii::Detail;
    return (properties.isUppercase ? upper : 0) | (properties.isLowercase ? lower : 0)
        | (properties.isNumber ? digit : 0);
}

const LatinCharacter* latinCharacters()
{
    static const auto table = [] {
        using namespace Ascii::Detail;
        std::vector<LatinCharacter> entries(latinLimit);
        for (char32_t scalar = 0; scalar < latinLimit; ++scalar) {
            auto& latin = latinScalar(scalar);
            bool isSeparator
                = scalar < 0x80 && Ascii::isSeparator(static_cast<unsigned char>(scalar));
            entries[scalar] = LatinCharacter {
                .classBit = characterClassBit(latin.folded),
                .folded = latin.folded,
                .wordClass = static_cast<std::uint8_t>(
                    (isSeparator ? separator : 0) | wordClass(latin.properties)),
                .isCarriageReturn = scalar == U'\r',
            };
        }
        return entries;
    }();
    return table.data();
}

// The scalar that starts at `offset` of valid UTF-8, moving `offset` past it, when it is below
// latinLimit: one byte, or two with a lead byte up to 0xCB. Other scalars yield latinLimit.
char32_t decodeLatinScalar(const unsigned char* bytes, std::size_t& offset)
{
    char32_t lead = bytes[offset];
    if (lead < 0x80) {
        ++offset;
        return lead;
    }
    if (lead > 0xCB)
        return latinLimit;
    offset += 2;
    return ((lead & 0x1F) << 6) | (bytes[offset - 1] & 0x3F);
}

#if defined(__SSE2__)
// How many of a block's bytes, from the first, are ASCII.
unsigned asciiLead(__m128i block)
{
    return static_cast<unsigned>(
        std::countr_zero(static_cast<unsigned>(_mm_movemask_epi8(block)) | 0x10000));
}
#endif

// Text in which every scalar is a character on its own, the common case beyond Latin too (Greek,
// Cyrillic, CJK, Hangul syllables, lone emoji): folded and split into words in one pass. Yields
// false at the first scalar that needs the cluster rules: a mark, a joiner, a control, a Hangul
// letter, a carriage return.
bool prepareLoneScalars(std::string_view validText, PreparedCharacters& prepared)
{
    const LatinCharacter* table = latinCharacters();
    auto* bytes = reinterpret_cast<const unsigned char*>(validText.data());
    unsigned previous = Ascii::Detail::separator;
    for (std::size_t offset = 0; offset < validText.size();) {
        auto start = offset;
        auto scalar = decodeLatinScalar(bytes, offset);
        Character folded = 0;
        unsigned scalarClass = 0;
        if (scalar != latinLimit) {
            auto& latin = table[scalar];
            if (latin.isCarriageReturn)
                return false;
            folded = latin.folded;
            scalarClass = latin.wordClass;
        } else {
            scalar = decodeScalar(validText, offset);
            if (!standsAlone(scalar))
                return false;
            folded = foldScalar(scalar, validText.substr(start, offset - start));
            scalarClass = wordClass(characterProperties(scalar));
        }
        prepared.chars.push_back(folded);
        prepared.wordStart.push_back(Ascii::Detail::startsWord(previous, scalarClass));
        previous = scalarClass;
    }
    return true;
}

} // namespace

void prepareCharacters(std::string_view validText, PreparedCharacters& prepared)
{
    prepared.chars.clear();
    prepared.wordStart.clear();
    if (prepareLoneScalars(validText, prepared))
        return;
    prepared.chars.clear();
    prepared.wordStart.clear();
    thread_local std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(validText, boundaries);
    auto count = boundaries.size() - 1;
    prepared.chars.resize(count);
    prepared.wordStart.resize(count);
    WordStarts wordStarts;
    for (std::size_t index = 0; index < count; ++index) {
        auto cluster = clusterAt(validText, boundaries, index);
        prepared.chars[index] = foldCharacter(cluster);
        bool isSeparator
            = cluster.size() == 1 && Ascii::isSeparator(static_cast<unsigned char>(cluster[0]));
        std::size_t offset = 0;
        prepared.wordStart[index]
            = wordStarts.next(isSeparator, characterProperties(decodeScalar(cluster, offset)));
    }
}

std::optional<std::uint32_t> measureLatinText(
    std::string_view text, std::size_t asciiPrefix, std::uint64_t& mask)
{
    const LatinCharacter* table = latinCharacters();
    auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    auto count = static_cast<std::uint32_t>(asciiPrefix);
    std::uint64_t classes = mask;
    for (std::size_t offset = asciiPrefix; offset < text.size(); ++count) {
        // Eight ASCII bytes at a time.
        if (text.size() - offset >= 8) {
            std::uint64_t word;
            std::memcpy(&word, bytes + offset, 8);
            if (!(word & Ascii::highBits)) {
                classes |= asciiClassBitsOfWord(word);
                offset += 8;
                count += 7; // The eighth as the loop goes on.
                continue;
            }
        }
        char32_t scalar = bytes[offset];
        if (scalar < 0x80) {
            ++offset;
        } else {
            // A lead byte from 0xC2 to 0xCB and a continuation byte: valid, and below latinLimit.
            if (scalar < 0xC2 || scalar > 0xCB || offset + 1 == text.size()
                || (bytes[offset + 1] & 0xC0) != 0x80)
                return std::nullopt;
            scalar = ((scalar & 0x1F) << 6) | (bytes[offset + 1] & 0x3F);
            offset += 2;
        }
        auto& latin = table[scalar];
        if (latin.folded > 0xFF)
            return std::nullopt;
        classes |= latin.classBit;
    }
    mask = classes;
    return count;
}

void foldLatinBytes(std::string_view latinText, std::size_t readable, std::uint8_t* chars)
{
    const LatinCharacter* table = latinCharacters();
    auto* bytes = reinterpret_cast<const unsigned char*>(latinText.data());
    for (std::size_t offset = 0; offset < latinText.size();) {
#if defined(__SSE2__)
        // Lines beyond ASCII are mostly ASCII: a block of sixteen bytes at a time, of which
        // those before the first that is not ASCII are kept. The whole block is written, and what
        // it holds past the text's end is never used.
        if (readable - offset >= 16) {
            auto block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + offset));
            if (auto ascii = asciiLead(block)) {
                _mm_storeu_si128(reinterpret_cast<__m128i*>(chars), Ascii::foldBlock(block));
                chars += ascii;
                offset += ascii;
                continue;
            }
        }
#endif
        *chars++ = static_cast<std::uint8_t>(table[decodeLatinScalar(bytes, offset)].folded);
    }
}

void findLatinWordStarts(
    std::string_view latinText, std::size_t readable, std::uint64_t* wordStartBits)
{
    const LatinCharacter* table = latinCharacters();
    auto* bytes = reinterpret_cast<const unsigned char*>(latinText.data());
    unsigned previous = Ascii::Detail::separator;
    std::uint64_t bits = 0;
    unsigned bit = 0;
    // Appends the word-start bits of `count` characters, at most 64.
    auto append = [&](std::uint64_t starts, unsigned count) {
        bits |= starts << bit;
        bit += count;
        if (bit >= 64) {
            *wordStartBits++ = bits;
            bit -= 64;
            bits = bit ? starts >> (count - bit) : 0;
        }
    };
    for (std::size_t offset = 0; offset < latinText.size();) {
#if defined(__SSE2__)
        // A block of sixteen bytes classified together, of which those before the text's end and
        // before the first that is not ASCII are kept.
        if (readable - offset >= 16) {
            auto block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + offset));
            if (auto ascii = std::min<unsigned>(
                    asciiLead(block), static_cast<unsigned>(latinText.size() - offset))) {
                append(Ascii::blockWordStarts(block, previous) & ((1u << ascii) - 1), ascii);
                previous = Ascii::Detail::classes[bytes[offset + ascii - 1]];
                offset += ascii;
                continue;
            }
        }
#endif
        auto wordClass = table[decodeLatinScalar(bytes, offset)].wordClass;
        append(Ascii::Detail::startsWord(previous, wordClass), 1);
        previous = wordClass;
    }
    if (bit)
        *wordStartBits = bits;
}

MatchText makeMatchText(std::string_view text)
{
    MatchText result { .original = isValidUTF8(text) ? std::string(text) : sanitizedUTF8(text) };
    PreparedCharacters prepared;
    prepareCharacters(result.original, prepared);
    result.chars = std::move(prepared.chars);
    result.wordStart.assign(prepared.wordStart.begin(), prepared.wordStart.end());
    for (std::size_t index = 0; index < prepared.wordStart.size(); ++index) {
        if (prepared.wordStart[index])
            result.wordStarts.push_back(static_cast<int>(index));
    }
    return result;
}

QueryText makeQueryText(std::string_view raw)
{
    QueryText result { .raw = isValidUTF8(raw) ? std::string(raw) : sanitizedUTF8(raw) };
    auto trimmed = trimmedWhitespace(result.raw);
    std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(trimmed, boundaries);
    for (std::size_t index = 0; index + 1 < boundaries.size(); ++index) {
        auto folded = foldCharacter(clusterAt(trimmed, boundaries, index));
        result.chars.push_back(folded);
        if (folded != U' ')
            result.compact.push_back(folded);
    }
    return result;
}

} // namespace zeph
