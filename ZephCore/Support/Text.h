#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Unicode text as the rest of the system sees it: UTF-8 strings at every boundary, and
// user-perceived characters (extended grapheme clusters) as the unit of every position.
namespace zeph {

// A user-perceived character as one code: the scalar itself when the character is one scalar
// in NFC, else an interned code above U+10FFFF that canonically equivalent clusters share.
using Character = char32_t;

inline constexpr char32_t replacementCharacter = U'\uFFFD';
inline constexpr Character firstInternedCharacter = 0x110000;

bool isASCII(std::string_view text) noexcept;
bool isValidUTF8(std::string_view bytes) noexcept;
// The value of one hexadecimal digit of either case.
std::optional<int> hexDigit(char character) noexcept;
// Application ids and such: equal when only the case of ASCII letters differs.
bool equalIgnoringASCIICase(std::string_view first, std::string_view second);
// Each ill-formed sequence becomes U+FFFD, one for each maximal subpart, so this never fails.
std::string sanitizedUTF8(std::string_view bytes);
// Decodes the scalar that starts at `offset` of valid UTF-8 and moves `offset` past it.
char32_t decodeScalar(std::string_view text, std::size_t& offset) noexcept;
void appendUTF8(std::string& text, char32_t scalar);
// Writes the UTF-8 of `scalar` (one to four bytes) at `out` and returns the end of it.
inline unsigned char* writeUTF8(char32_t scalar, unsigned char* out)
{
    auto put = [&](char32_t value) { *out++ = static_cast<unsigned char>(value); };
    if (scalar < 0x80) {
        put(scalar);
    } else if (scalar < 0x800) {
        put(0xC0 | (scalar >> 6));
        put(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
        put(0xE0 | (scalar >> 12));
        put(0x80 | ((scalar >> 6) & 0x3F));
        put(0x80 | (scalar & 0x3F));
    } else {
        put(0xF0 | (scalar >> 18));
        put(0x80 | ((scalar >> 12) & 0x3F));
        put(0x80 | ((scalar >> 6) & 0x3F));
        put(0x80 | (scalar & 0x3F));
    }
    return out;
}

// Fills `boundaries` with the byte offset at which each extended grapheme cluster of `text`
// (valid UTF-8) begins, followed by text.size(). Safe on any thread.
void graphemeBoundaries(std::string_view text, std::vector<std::uint32_t>& boundaries);
std::size_t graphemeCount(std::string_view text);

// Whether `scalar` is a character of its own whatever stands beside it, but for a mark or a
// joiner after it: grapheme break property Other or a whole Hangul syllable.
bool standsAlone(char32_t scalar);

// Upper case, lower case, numeric and alphabetic as the Unicode properties define them, read off
// the first scalar of a character, so that uncased letters are neither upper nor lower case.
struct CharacterProperties {
    bool isUppercase = false;
    bool isLowercase = false;
    bool isNumber = false;
    bool isLetter = false;
    bool operator==(const CharacterProperties&) const = default;
};
CharacterProperties characterProperties(char32_t firstScalar);

// A Unicode space separator or the tab: what trimming removes. Line breaks are not in the set.
bool isTrimmedWhitespace(char32_t scalar);

// `text` (valid UTF-8) without the whitespace characters at either end.
std::string_view trimmedWhitespace(std::string_view text);

// The Unicode White_Space property: spaces, tabs and line breaks of every kind.
bool isWhitespaceOrNewline(char32_t scalar);
// `text` (valid UTF-8) without White_Space scalars at either end. It works scalar by scalar and
// touches only the ends, so it stays cheap on a long clipboard text.
std::string_view trimmedWhitespaceAndNewlines(std::string_view text);

// A line break: LF, VT, FF, CR, NEL, LINE SEPARATOR or PARAGRAPH SEPARATOR.
bool isNewline(char32_t scalar);
// `text` (valid UTF-8) without line breaks at either end; spaces stay.
std::string_view trimmedNewlines(std::string_view text);

// Scalars below U+0300 (ASCII and the Latin blocks) are each a character of their own, are stable
// under NFC, and fold and lower-case to one scalar (U+0130 aside): the common case, kept in a table
// so that the hot paths need no ICU.
inline constexpr char32_t latinLimit = 0x300;
struct LatinScalar {
    char16_t folded = 0;
    char16_t lowercased = 0; // 0 where lower-casing gives more than one scalar.
    CharacterProperties properties {};
};
// scalar < latinLimit. The entries lie in one array, so &latinScalar(0) serves as the whole table.
const LatinScalar& latinScalar(char32_t scalar);

// Case- and diacritic-insensitive folding of a short string, with no locale; the result is NFC.
std::string foldedText(std::string_view text);
// Unicode default lower-casing, with no locale.
std::string lowercasedText(std::string_view text);
std::string normalizedText(std::string_view text);
// The small letter of a scalar beyond ASCII that, in NFC text of scalars that stand alone,
// lower-cases and normalises on its own into no more bytes: what
// normalizedText(lowercasedText(text)) makes of it there. 0 for the others (marks, joiners,
// scalars that NFC changes, capital sigma and dotted capital I).
char32_t lowercasedAlone(char32_t scalar);

// The code of one cluster (valid UTF-8), interning it when it is not one scalar in NFC.
Character characterCode(std::string_view cluster);
std::string characterText(Character character);

} // namespace zeph
