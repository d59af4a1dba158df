#include "Clipboard/ClipboardItem.h"

#include "Support/Text.h"
#include "Support/Verify.h"

#include <algorithm>
#include <array>
#include <memory>

#include <unicode/regex.h>

namespace zeph {

namespace {

bool isHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f')
        || (character >= 'A' && character <= 'F');
}

// "#abc", "#aabbcc" or "#aabbccdd".
bool isHexColour(std::string_view text)
{
    auto digits = text.substr(std::min<std::size_t>(1, text.size()));
    return text.starts_with('#') && (digits.size() == 3 || digits.size() == 6 || digits.size() == 8)
        && std::all_of(digits.begin(), digits.end(), isHexDigit);
}

// The two case-insensitive patterns go to ICU, whose case folding and idea of whitespace they are
// written in. A compiled pattern is immutable, so one serves every thread.
std::unique_ptr<icu::RegexPattern> compile(const char* pattern)
{
    UParseError parseError {};
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(
        icu::UnicodeString::fromUTF8(pattern), UREGEX_CASE_INSENSITIVE, parseError, status));
    verify(U_SUCCESS(status) && compiled);
    return compiled;
}

bool matchesWhole(const icu::RegexPattern& pattern, std::string_view text)
{
    UErrorCode status = U_ZERO_ERROR;
    auto input = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(input, status));
    return U_SUCCESS(status) && matcher->matches(status) && U_SUCCESS(status);
}

bool containsWhitespace(std::string_view text)
{
    for (std::size_t offset = 0; offset < text.size();) {
        if (isWhitespaceOrNewline(decodeScalar(text, offset)))
            return true;
    }
    return false;
}

constexpr auto codeMarks = std::to_array<std::string_view>({ "{", "}", ";", "=>", "->", "func ",
    "def ", "let ", "const ", "import ", "return ", "</", "()" });

constexpr auto commandStarts = std::to_array<std::string_view>({ "make ", "git ", "npm ", "npx ",
    "yarn ", "pnpm ", "brew ", "cd ", "ls ", "sudo ", "swift ", "xcodebuild ", "docker ",
    "kubectl ", "curl ", "ssh ", "python3 ", "python ", "pip ", "./", "$ " });

struct KindTexts {
    std::string_view title {};
    std::string_view symbolName {};
};

// In the order of the cases.
constexpr auto kindTexts = std::to_array<KindTexts>({
    { "Text", "text.alignleft" },
    { "Link", "link" },
    { "Colour", "paintpalette" },
    { "Code", "terminal" },
    { "Image", "photo" },
});
static_assert(kindTexts.size() == enumNames<ClipboardKind>.size());

} // namespace

std::string_view title(ClipboardKind kind)
{
    return kindTexts[static_cast<std::size_t>(kind)].title;
}

std::string_view symbolName(ClipboardKind kind)
{
    return kindTexts[static_cast<std::size_t>(kind)].symbolName;
}

ClipboardKind ClipboardItem::classify(std::string_view text)
{
    auto trimmed = isValidUTF8(text) ? trimmedWhitespaceAndNewlines(text) : std::string_view {};
    if (trimmed.empty())
        return ClipboardKind::text;
    if (isHexColour(trimmed))
        return ClipboardKind::colour;
    static const auto colourFunction = compile("(rgb|rgba|hsl|hsla)\\([^)]*\\)");
    static const auto link = compile("(https?|ftp|mailto|file|ssh)://?[^\\s]+");
    // Cheap tests that every match passes keep most texts away from the patterns: a colour
    // function ends in ")", a link has ":/" in it.
    if (trimmed.ends_with(')') && matchesWhole(*colourFunction, trimmed))
        return ClipboardKind::colour;
    if (trimmed.find(":/") != std::string_view::npos && !containsWhitespace(trimmed)
        && matchesWhole(*link, trimmed))
        return ClipboardKind::link;
    // Trimmed text neither starts nor ends with a line feed, so any line feed in it separates two
    // non-empty lines.
    bool isOneLine = trimmed.find('\n') == std::string_view::npos;
    auto has = [&](std::string_view mark) { return trimmed.find(mark) != std::string_view::npos; };
    auto startsWith = [&](std::string_view start) { return trimmed.starts_with(start); };
    if (!isOneLine && std::any_of(codeMarks.begin(), codeMarks.end(), has))
        return ClipboardKind::code;
    if (isOneLine && std::any_of(commandStarts.begin(), commandStarts.end(), startsWith))
        return ClipboardKind::code;
    return ClipboardKind::text;
}

std::string_view ClipboardItem::firstLine() const
{
    std::string_view line = text;
    line = line.substr(0, line.find_first_of("\r\n"));
    return isValidUTF8(line) ? trimmedWhitespace(line) : line;
}

Json::Value toJSON(const ClipboardItem& item)
{
    Json::Value json {
        { "id", item.id },
        { "kind", toString(item.kind) },
        { "text", item.text },
        { "date", Json::toJSON(item.date) },
        { "pinned", item.pinned },
    };
    Json::putOptional(json, "imageFile", item.imageFile);
    Json::putOptional(json, "sourceApp", item.sourceApp);
    Json::putOptional(json, "sourceBundleID", item.sourceBundleID);
    return json;
}

Result<ClipboardItem> clipboardItemFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A clipboard item must be a JSON object." };
    ClipboardItem item;
    auto kind = Json::requiredEnum<ClipboardKind>(json, "kind");
    if (auto error = Json::firstError({
            Json::read(json, "id", item.id),
            kind ? std::nullopt : std::optional(kind.error()),
            Json::read(json, "text", item.text),
            Json::read(json, "imageFile", item.imageFile),
            Json::read(json, "sourceApp", item.sourceApp),
            Json::read(json, "sourceBundleID", item.sourceBundleID),
            Json::read(json, "date", item.date),
            Json::read(json, "pinned", item.pinned),
        }))
        return *error;
    item.kind = *kind;
    return item;
}

} // namespace zeph
