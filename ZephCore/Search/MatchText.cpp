#include "Search/MatchText.h"

#include "Support/LazyTable.h"

#include <bit>

namespace zeph {

namespace {

Character computeFold(std::string_view cluster)
{
    auto folded = foldedText(cluster);
    if (folded.empty())
        return characterCode(cluster);
    thread_local std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(folded, boundaries);
    return characterCode(std::string_view(folded).substr(0, boundaries[1]));
}

// Folding goes through ICU, which costs a microsecond; a character of the BMP folds once.
LazyTable<Character, 0x10000> bmpFoldCache;

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
    if (isSingleScalar(cluster, scalar) && scalar < bmpFoldCache.size())
        return bmpFoldCache.get(scalar, [&] { return computeFold(cluster); });
    return computeFold(cluster);
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

// What preparing needs of a scalar below latinLimit, in one place for the hot loop.
struct LatinCharacter {
    char16_t folded = 0;
    std::uint8_t classBitIndex = 0;
    bool isSeparator = false;
    bool isCarriageReturn = false;
    CharacterProperties properties {};
};

const LatinCharacter* latinCharacters()
{
    static const auto table = [] {
        std::vector<LatinCharacter> entries(latinLimit);
        for (char32_t scalar = 0; scalar < latinLimit; ++scalar) {
            auto& latin = latinScalar(scalar);
            entries[scalar] = LatinCharacter {
                .folded = latin.folded,
                .classBitIndex
                = static_cast<std::uint8_t>(std::countr_zero(characterClassBit(latin.folded))),
                .isSeparator
                = scalar < 0x80 && Ascii::isSeparator(static_cast<unsigned char>(scalar)),
                .isCarriageReturn = scalar == U'\r',
                .properties = latin.properties,
            };
        }
        return entries;
    }();
    return table.data();
}

// Text whose scalars are all below latinLimit: each scalar is a character, and the table folds it.
// Hands each character's entry and whether a word starts there to `emit`; yields false at the
// first scalar that needs the full rules, or when `emit` refuses a character.
template <typename Emit> bool forEachLatinCharacter(std::string_view validText, Emit&& emit)
{
    const LatinCharacter* table = latinCharacters();
    auto* bytes = reinterpret_cast<const unsigned char*>(validText.data());
    auto size = validText.size();
    WordStarts wordStarts;
    for (std::size_t offset = 0; offset < size;) {
        // Scalars below U+0300 take one byte, or two with a lead byte up to 0xCB.
        char32_t scalar = bytes[offset];
        if (scalar < 0x80) {
            ++offset;
        } else if (scalar <= 0xCB) {
            scalar = ((scalar & 0x1F) << 6) | (bytes[offset + 1] & 0x3F);
            offset += 2;
        } else {
            return false;
        }
        auto& latin = table[scalar];
        // A carriage return may pair with a line feed into one character.
        if (latin.isCarriageReturn)
            return false;
        if (!emit(latin, wordStarts.next(latin.isSeparator, latin.properties)))
            return false;
    }
    return true;
}

bool prepareLatin(std::string_view text, PreparedCharacters& prepared)
{
    return forEachLatinCharacter(text, [&](const LatinCharacter& latin, bool isWordStart) {
        prepared.chars.push_back(latin.folded);
        prepared.wordStart.push_back(isWordStart);
        return true;
    });
}

} // namespace

void prepareCharacters(std::string_view validText, PreparedCharacters& prepared)
{
    prepared.chars.clear();
    prepared.wordStart.clear();
    if (prepareLatin(validText, prepared))
        return;
    thread_local std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(validText, boundaries);
    auto count = boundaries.size() - 1;
    prepared.chars.resize(count);
    prepared.wordStart.assign(count, false);
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

std::optional<std::uint32_t> prepareLatinBytes(std::string_view validText, std::uint8_t* chars,
    std::uint64_t* wordStartBits, std::uint64_t firstBit, std::uint64_t& mask)
{
    std::uint32_t count = 0;
    std::uint64_t classes = 0;
    bool prepared
        = forEachLatinCharacter(validText, [&](const LatinCharacter& latin, bool isWordStart) {
              if (latin.folded > 0xFF)
                  return false;
              chars[count] = static_cast<std::uint8_t>(latin.folded);
              classes |= std::uint64_t { 1 } << latin.classBitIndex;
              auto bit = firstBit + count;
              wordStartBits[bit / 64] |= std::uint64_t { isWordStart } << (bit % 64);
              ++count;
              return true;
          });
    if (!prepared) {
        for (auto bit = firstBit; bit < firstBit + count; ++bit)
            wordStartBits[bit / 64] &= ~(std::uint64_t { 1 } << (bit % 64));
        return std::nullopt;
    }
    mask = classes;
    return count;
}

void foldLatinBytes(std::string_view latinText, std::uint8_t* chars)
{
    const LatinCharacter* table = latinCharacters();
    auto* bytes = reinterpret_cast<const unsigned char*>(latinText.data());
    auto size = latinText.size();
    for (std::size_t offset = 0; offset < size;) {
        char32_t scalar = bytes[offset];
        if (scalar < 0x80) {
            ++offset;
        } else {
            scalar = ((scalar & 0x1F) << 6) | (bytes[offset + 1] & 0x3F);
            offset += 2;
        }
        *chars++ = static_cast<std::uint8_t>(table[scalar].folded);
    }
}

MatchText makeMatchText(std::string_view text)
{
    MatchText result { .original = isValidUTF8(text) ? std::string(text) : sanitizedUTF8(text) };
    PreparedCharacters prepared;
    prepareCharacters(result.original, prepared);
    result.chars = std::move(prepared.chars);
    result.wordStart = std::move(prepared.wordStart);
    for (std::size_t index = 0; index < result.wordStart.size(); ++index) {
        if (result.wordStart[index])
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
