#pragma once

#include "Support/IsoDate.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

// A snippet's content with its placeholders: dates, the clipboard, fill-in fields, UUIDs and the
// caret. Pure functions: the moment, the clipboard, the locale and the time zone arrive in a
// Context, so that rendering is the same in the expander and for an agent's preview.
namespace zeph::SnippetTemplate {

struct Text {
    std::string text {};
    bool operator==(const Text&) const = default;
};
// A style name ("short", "medium", "long", "full", any case) or a date pattern; medium when
// absent or empty.
struct Date {
    std::optional<std::string> format {};
    bool operator==(const Date&) const = default;
};
// The same for the time alone; short when absent or empty.
struct Time {
    std::optional<std::string> format {};
    bool operator==(const Time&) const = default;
};
// "yyyy-MM-dd" in ASCII digits when absent; a pattern in the context's locale otherwise.
struct IsoDate {
    std::optional<std::string> format {};
    bool operator==(const IsoDate&) const = default;
};
struct Fill {
    std::string name {};
    std::string defaultValue {};
    bool operator==(const Fill&) const = default;
};
struct DateTime {
    bool operator==(const DateTime&) const = default;
};
struct Weekday {
    bool operator==(const Weekday&) const = default;
};
struct Month {
    bool operator==(const Month&) const = default;
};
struct Year {
    bool operator==(const Year&) const = default;
};
struct Clipboard {
    bool operator==(const Clipboard&) const = default;
};
struct Cursor {
    bool operator==(const Cursor&) const = default;
};
struct UUID {
    bool operator==(const UUID&) const = default;
};

using Token = std::variant<Text, Date, Time, IsoDate, Fill, DateTime, Weekday, Month, Year,
    Clipboard, Cursor, UUID>;

// A field the user is asked to fill in before the snippet is inserted.
struct FillField {
    std::string name {};
    std::string defaultValue {};
    bool operator==(const FillField&) const = default;
};

struct Context {
    zeph::Date date {};
    std::string clipboard {}; // The plain text on the clipboard, "" when there is none.
    std::unordered_map<std::string, std::string> fills {}; // What the user entered, by name.
    std::string locale = "en_US_POSIX"; // For names of months and days, and for the styles.
    std::string timeZone = "UTC";
};

struct Rendered {
    std::string text {};
    // Characters after the caret in `text`; nothing when the template has no "{cursor}".
    std::optional<std::size_t> cursorOffsetFromEnd {};
    bool operator==(const Rendered&) const = default;
};

// Any text is a template: what does not read as a placeholder stays as it is, and invalid UTF-8
// becomes U+FFFD. "{{" and "}}" stand for literal braces.
std::vector<Token> tokens(std::string_view text);
// Each "{uuid}" draws a fresh UUID; nothing else depends on more than the context.
Rendered render(std::string_view text, const Context& context);
// The fill-in fields in order of first appearance, one per name, with the first one's default.
std::vector<FillField> fillFields(std::string_view text);

} // namespace zeph::SnippetTemplate

template <> struct std::hash<zeph::SnippetTemplate::FillField> {
    std::size_t operator()(const zeph::SnippetTemplate::FillField& field) const noexcept
    {
        auto name = std::hash<std::string> {}(field.name);
        return name ^ (std::hash<std::string> {}(field.defaultValue) + 0x9E3779B9 + (name << 6));
    }
};
