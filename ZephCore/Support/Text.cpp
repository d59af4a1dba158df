#include "Support/Text.h"

#include "Support/LazyTable.h"
#include "Support/Verify.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>

namespace zeph {

namespace {

// Length of the well-formed sequence that starts at `bytes[0]`, or 0 with `subpart` set to the
// length of its maximal ill-formed subpart (at least 1).
std::size_t wellFormedLength(
    const unsigned char* bytes, std::size_t available, std::size_t& subpart)
{
    unsigned char lead = bytes[0];
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;
        else if (lead == 0xED)
            high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        else if (lead == 0xF4)
            high = 0x8F;
    } else {
        subpart = 1;
        return 0;
    }
    for (std::size_t index = 1; index < length; ++index) {
        bool fits = index < available && bytes[index] >= (index == 1 ? low : 0x80)
            && bytes[index] <= (index == 1 ? high : 0xBF);
        if (!fits) {
            subpart = index;
            return 0;
        }
    }
    return length;
}

// Flags cached per BMP scalar, because ICU property look-ups cost more than the whole ASCII path.
enum ScalarFlag : std::uint8_t {
    isKnown = 1,
    uppercase = 2,
    lowercase = 4,
    number = 8,
    // Grapheme break property Other, Control, CR or LF: between two such scalars there is always a
    // boundary, except inside CR LF.
    simpleBoundary = 16,
    alphabetic = 32,
};

std::uint8_t computeScalarFlags(char32_t scalar)
{
    auto codePoint = static_cast<UChar32>(scalar);
    std::uint8_t flags = isKnown;
    if (u_hasBinaryProperty(codePoint, UCHAR_UPPERCASE))
        flags |= uppercase;
    if (u_hasBinaryProperty(codePoint, UCHAR_LOWERCASE))
        flags |= lowercase;
    if (u_getIntPropertyValue(codePoint, UCHAR_NUMERIC_TYPE) != U_NT_NONE)
        flags |= number;
    if (u_hasBinaryProperty(codePoint, UCHAR_ALPHABETIC))
        flags |= alphabetic;
    auto breakKind = u_getIntPropertyValue(codePoint, UCHAR_GRAPHEME_CLUSTER_BREAK);
    if (breakKind == U_GCB_OTHER || breakKind == U_GCB_CONTROL || breakKind == U_GCB_CR
        || breakKind == U_GCB_LF)
        flags |= simpleBoundary;
    return flags;
}

LazyTable<std::uint8_t, 0x10000> scalarFlagCache;

std::uint8_t scalarFlags(char32_t scalar)
{
    if (scalar >= scalarFlagCache.size())
        return computeScalarFlags(scalar);
    return scalarFlagCache.get(scalar, [&] { return computeScalarFlags(scalar); });
}

icu::UnicodeString toUnicode(std::string_view text)
{
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string toUTF8(const icu::UnicodeString& text)
{
    std::string result;
    text.toUTF8String(result);
    return result;
}

const icu::Normalizer2& normalizer(UNormalization2Mode mode)
{
    UErrorCode status = U_ZERO_ERROR;
    auto* instance = mode == UNORM2_DECOMPOSE ? icu::Normalizer2::getNFDInstance(status)
                                              : icu::Normalizer2::getNFCInstance(status);
    verify(U_SUCCESS(status) && instance);
    return *instance;
}

icu::UnicodeString normalized(const icu::UnicodeString& text, UNormalization2Mode mode)
{
    UErrorCode status = U_ZERO_ERROR;
    auto result = normalizer(mode).normalize(text, status);
    return U_SUCCESS(status) ? result : text;
}

void icuGraphemeBoundaries(std::string_view text, std::vector<std::uint32_t>& boundaries)
{
    // Creating a break iterator costs far more than using one; keep one per thread.
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> created(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        verify(U_SUCCESS(status) && created);
        return created;
    }();
    UErrorCode status = U_ZERO_ERROR;
    UText* utext = utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status);
    verify(U_SUCCESS(status));
    iterator->setText(utext, status);
    verify(U_SUCCESS(status));
    for (auto boundary = iterator->first(); boundary != icu::BreakIterator::DONE;
         boundary = iterator->next())
        boundaries.push_back(static_cast<std::uint32_t>(boundary));
    // The iterator keeps a pointer to the UText: detach it before the UText goes.
    iterator->setText(icu::UnicodeString());
    utext_close(utext);
    if (boundaries.empty())
        boundaries.push_back(0);
}

struct InternTable {
    std::mutex mutex;
    std::unordered_map<std::string, Character> codes;
    std::vector<std::string> texts;
};

InternTable& internTable()
{
    static InternTable table;
    return table;
}

} // namespace

bool isASCII(std::string_view text) noexcept
{
    // No early exit, so that the loop vectorises.
    unsigned char bits = 0;
    for (unsigned char byte : text)
        bits |= byte;
    return bits < 0x80;
}

bool equalIgnoringASCIICase(std::string_view first, std::string_view second)
{
    return std::equal(
        first.begin(), first.end(), second.begin(), second.end(), [](char left, char right) {
            auto lower = [](char character) {
                return character >= 'A' && character <= 'Z'
                    ? static_cast<char>(character - 'A' + 'a')
                    : character;
            };
            return lower(left) == lower(right);
        });
}

std::optional<int> hexDigit(char character) noexcept
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return std::nullopt;
}

bool isValidUTF8(std::string_view bytes) noexcept
{
    auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t offset = 0; offset < bytes.size();) {
        if (data[offset] < 0x80) {
            ++offset;
            continue;
        }
        std::size_t subpart = 0;
        auto length = wellFormedLength(data + offset, bytes.size() - offset, subpart);
        if (!length)
            return false;
        offset += length;
    }
    return true;
}

std::string sanitizedUTF8(std::string_view bytes)
{
    std::string result;
    result.reserve(bytes.size());
    auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t offset = 0; offset < bytes.size();) {
        std::size_t subpart = 0;
        auto length = wellFormedLength(data + offset, bytes.size() - offset, subpart);
        if (length) {
            result.append(bytes.substr(offset, length));
            offset += length;
        } else {
            appendUTF8(result, replacementCharacter);
            offset += subpart;
        }
    }
    return result;
}

char32_t decodeScalar(std::string_view text, std::size_t& offset) noexcept
{
    auto byte = [&](std::size_t index) {
        return static_cast<char32_t>(static_cast<unsigned char>(text[index]));
    };
    char32_t lead = byte(offset);
    if (lead < 0x80) {
        offset += 1;
        return lead;
    }
    if (lead < 0xE0) {
        offset += 2;
        return ((lead & 0x1F) << 6) | (byte(offset - 1) & 0x3F);
    }
    if (lead < 0xF0) {
        offset += 3;
        return ((lead & 0x0F) << 12) | ((byte(offset - 2) & 0x3F) << 6) | (byte(offset - 1) & 0x3F);
    }
    offset += 4;
    return ((lead & 0x07) << 18) | ((byte(offset - 3) & 0x3F) << 12)
        | ((byte(offset - 2) & 0x3F) << 6) | (byte(offset - 1) & 0x3F);
}

void appendUTF8(std::string& text, char32_t scalar)
{
    auto push = [&](char32_t value) { text.push_back(static_cast<char>(value)); };
    if (scalar < 0x80) {
        push(scalar);
    } else if (scalar < 0x800) {
        push(0xC0 | (scalar >> 6));
        push(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
        push(0xE0 | (scalar >> 12));
        push(0x80 | ((scalar >> 6) & 0x3F));
        push(0x80 | (scalar & 0x3F));
    } else {
        push(0xF0 | (scalar >> 18));
        push(0x80 | ((scalar >> 12) & 0x3F));
        push(0x80 | ((scalar >> 6) & 0x3F));
        push(0x80 | (scalar & 0x3F));
    }
}

void graphemeBoundaries(std::string_view text, std::vector<std::uint32_t>& boundaries)
{
    boundaries.clear();
    // Most text, Latin with precomposed accents included, is a run of scalars between which a
    // boundary is certain; only a scalar that can join a cluster needs the full rules.
    char32_t previous = 0;
    for (std::size_t offset = 0; offset < text.size();) {
        auto start = offset;
        char32_t scalar = decodeScalar(text, offset);
        if (!(scalarFlags(scalar) & simpleBoundary)) {
            boundaries.clear();
            icuGraphemeBoundaries(text, boundaries);
            return;
        }
        if (start == 0 || !(previous == U'\r' && scalar == U'\n'))
            boundaries.push_back(static_cast<std::uint32_t>(start));
        previous = scalar;
    }
    boundaries.push_back(static_cast<std::uint32_t>(text.size()));
}

std::size_t graphemeCount(std::string_view text)
{
    if (isASCII(text)) {
        std::size_t count = text.size();
        for (auto crLf = text.find("\r\n"); crLf != std::string_view::npos;
             crLf = text.find("\r\n", crLf + 2))
            --count;
        return count;
    }
    thread_local std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(text, boundaries);
    return boundaries.size() - 1;
}

CharacterProperties characterProperties(char32_t firstScalar)
{
    auto flags = scalarFlags(firstScalar);
    return { .isUppercase = (flags & uppercase) != 0,
        .isLowercase = (flags & lowercase) != 0,
        .isNumber = (flags & number) != 0,
        .isLetter = (flags & alphabetic) != 0 };
}

bool isTrimmedWhitespace(char32_t scalar)
{
    if (scalar < 0x80)
        return scalar == U' ' || scalar == U'\t';
    return u_charType(static_cast<UChar32>(scalar)) == U_SPACE_SEPARATOR;
}

const LatinScalar& latinScalar(char32_t scalar)
{
    static const auto table = [] {
        std::vector<LatinScalar> entries(latinLimit);
        for (char32_t codePoint = 0; codePoint < latinLimit; ++codePoint) {
            std::string text;
            appendUTF8(text, codePoint);
            auto& entry = entries[codePoint];
            auto folded = foldedText(text);
            std::size_t offset = 0;
            entry.folded
                = static_cast<char16_t>(folded.empty() ? codePoint : decodeScalar(folded, offset));
            auto lowered = lowercasedText(text);
            offset = 0;
            auto lowerScalar = decodeScalar(lowered, offset);
            entry.lowercased = offset == lowered.size() ? static_cast<char16_t>(lowerScalar) : 0;
            entry.properties = characterProperties(codePoint);
        }
        return entries;
    }();
    return table[scalar];
}

std::string_view trimmedWhitespace(std::string_view text)
{
    thread_local std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(text, boundaries);
    // A whitespace scalar that carries a combining mark is a character of its own, not whitespace.
    auto isWhitespace = [&](std::size_t index) {
        std::size_t offset = boundaries[index];
        auto scalar = decodeScalar(text, offset);
        return offset == boundaries[index + 1] && isTrimmedWhitespace(scalar);
    };
    std::size_t first = 0;
    std::size_t end = boundaries.size() - 1;
    while (first < end && isWhitespace(first))
        ++first;
    while (end > first && isWhitespace(end - 1))
        --end;
    return text.substr(boundaries[first], boundaries[end] - boundaries[first]);
}

bool isWhitespaceOrNewline(char32_t scalar)
{
    if (scalar < 0x80)
        return scalar == U' ' || (scalar >= U'\t' && scalar <= U'\r');
    return u_isUWhiteSpace(static_cast<UChar32>(scalar));
}

namespace {

// `text` without the scalars that `isTrimmed` holds at either end. It works scalar by scalar and
// touches only the ends, so it stays cheap on a long clipboard text.
template <typename Predicate>
std::string_view trimmedScalars(std::string_view text, Predicate&& isTrimmed)
{
    std::size_t first = 0;
    while (first < text.size()) {
        std::size_t next = first;
        if (!isTrimmed(decodeScalar(text, next)))
            break;
        first = next;
    }
    std::size_t end = text.size();
    while (end > first) {
        std::size_t start = end - 1;
        while (start > first && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80)
            --start;
        std::size_t next = start;
        if (!isTrimmed(decodeScalar(text, next)))
            break;
        end = start;
    }
    return text.substr(first, end - first);
}

} // namespace

std::string_view trimmedWhitespaceAndNewlines(std::string_view text)
{
    return trimmedScalars(text, isWhitespaceOrNewline);
}

bool isNewline(char32_t scalar)
{
    return (scalar >= U'\n' && scalar <= U'\r') || scalar == 0x85 || scalar == 0x2028
        || scalar == 0x2029;
}

std::string_view trimmedNewlines(std::string_view text)
{
    return trimmedScalars(text, isNewline);
}

std::string foldedText(std::string_view text)
{
    auto folded = toUnicode(text).foldCase(U_FOLD_CASE_DEFAULT);
    auto decomposed = normalized(folded, UNORM2_DECOMPOSE);
    icu::UnicodeString stripped;
    for (int32_t index = 0; index < decomposed.length();) {
        auto codePoint = decomposed.char32At(index);
        if (u_charType(codePoint) != U_NON_SPACING_MARK)
            stripped.append(codePoint);
        index += U16_LENGTH(codePoint);
    }
    return toUTF8(normalized(stripped, UNORM2_COMPOSE));
}

std::string lowercasedText(std::string_view text)
{
    if (isASCII(text)) {
        std::string lowered(text);
        for (auto& byte : lowered)
            byte = (byte >= 'A' && byte <= 'Z') ? static_cast<char>(byte + 32) : byte;
        return lowered;
    }
    return toUTF8(toUnicode(text).toLower(icu::Locale::getRoot()));
}

std::string normalizedText(std::string_view text)
{
    if (isASCII(text))
        return std::string(text);
    return toUTF8(normalized(toUnicode(text), UNORM2_COMPOSE));
}

Character characterCode(std::string_view cluster)
{
    // A lone Latin scalar is its own NFC form: no normalisation, so a typed "é" costs no ICU call.
    if (!cluster.empty() && static_cast<unsigned char>(cluster[0]) < 0xCC) {
        std::size_t end = 0;
        auto scalar = decodeScalar(cluster, end);
        if (end == cluster.size() && scalar < latinLimit)
            return scalar;
    }
    auto canonical = normalizedText(cluster);
    std::size_t offset = 0;
    if (!canonical.empty()) {
        auto scalar = decodeScalar(canonical, offset);
        if (offset == canonical.size())
            return scalar;
    }
    auto& table = internTable();
    std::lock_guard lock(table.mutex);
    auto [entry, isNew] = table.codes.try_emplace(canonical, 0);
    if (isNew) {
        entry->second = firstInternedCharacter + static_cast<Character>(table.texts.size());
        table.texts.push_back(canonical);
    }
    return entry->second;
}

std::string characterText(Character character)
{
    if (character >= firstInternedCharacter) {
        auto& table = internTable();
        std::lock_guard lock(table.mutex);
        auto index = character - firstInternedCharacter;
        return index < table.texts.size() ? table.texts[index] : std::string();
    }
    std::string text;
    appendUTF8(text, character);
    return text;
}

} // namespace zeph
