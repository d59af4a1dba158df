#include "Snippets/SnippetTemplate.h"

#include "Support/Calendar.h"
#include "Support/Overloaded.h"
#include "Support/Text.h"
#include "Support/UUID.h"

#include <unordered_set>

namespace zeph::SnippetTemplate {

namespace {

// The template as user-perceived characters: a brace that carries a combining mark is another
// character, not a brace.
class Characters {
public:
    explicit Characters(std::string_view text)
        : m_text(text)
    {
        graphemeBoundaries(m_text, m_boundaries);
    }

    std::size_t count() const { return m_boundaries.size() - 1; }
    std::string_view text(std::size_t first, std::size_t end) const
    {
        return m_text.substr(m_boundaries[first], m_boundaries[end] - m_boundaries[first]);
    }
    bool is(std::size_t index, char character) const
    {
        return index < count() && m_boundaries[index + 1] - m_boundaries[index] == 1
            && m_text[m_boundaries[index]] == character;
    }
    // The first `character` in [first, end), or `end`.
    std::size_t find(char character, std::size_t first, std::size_t end) const
    {
        while (first < end && !is(first, character))
            ++first;
        return first;
    }

private:
    std::string_view m_text;
    std::vector<std::uint32_t> m_boundaries;
};

std::optional<Token> placeholder(const Characters& characters, std::size_t first, std::size_t end)
{
    auto colon = characters.find(':', first, end);
    auto head = lowercasedText(characters.text(first, colon));
    std::optional<std::string> argument;
    if (colon < end)
        argument = std::string(characters.text(colon + 1, end));

    if (head == "date")
        return Date { argument };
    if (head == "time")
        return Time { argument };
    if (head == "isodate")
        return IsoDate { argument };
    if (head == "datetime")
        return DateTime {};
    if (head == "weekday")
        return Weekday {};
    if (head == "month")
        return Month {};
    if (head == "year")
        return Year {};
    if (head == "clipboard")
        return Clipboard {};
    if (head == "cursor")
        return Cursor {};
    if (head == "uuid")
        return UUID {};
    if (head == "random" && argument && lowercasedText(*argument) == "uuid")
        return UUID {};
    if (head == "fill" && argument && !argument->empty()) {
        auto equals = characters.find('=', colon + 1, end);
        if (equals == end)
            return Fill { .name = std::move(*argument) };
        return Fill { .name = std::string(characters.text(colon + 1, equals)),
            .defaultValue = std::string(characters.text(equals + 1, end)) };
    }
    return std::nullopt;
}

std::optional<Calendar::Style> styleNamed(std::string_view name)
{
    auto lowered = lowercasedText(name);
    if (lowered == "short")
        return Calendar::Style::short_;
    if (lowered == "medium")
        return Calendar::Style::medium;
    if (lowered == "long")
        return Calendar::Style::long_;
    if (lowered == "full")
        return Calendar::Style::full;
    return std::nullopt;
}

// A style name picks the date or the time half, `fallback` stands in for an absent or empty
// argument, and any other argument is a pattern.
std::string styledDate(const Calendar& calendar, zeph::Date date,
    const std::optional<std::string>& format, Calendar::Style fallback, bool isTime)
{
    auto style = !format || format->empty() ? fallback : styleNamed(*format);
    if (!style)
        return calendar.format(date, *format);
    return isTime ? calendar.format(date, Calendar::Style::none, *style)
                  : calendar.format(date, *style, Calendar::Style::none);
}

} // namespace

std::vector<Token> tokens(std::string_view text)
{
    std::string valid;
    if (!isValidUTF8(text)) {
        valid = sanitizedUTF8(text);
        text = valid;
    }
    Characters characters(text);
    auto count = characters.count();
    std::vector<Token> result;
    std::string literal;
    auto flush = [&] {
        if (!literal.empty())
            result.push_back(Text { std::exchange(literal, {}) });
    };
    // The nearest "}" only moves forward, so a template of many unclosed braces stays linear.
    std::size_t close = 0;
    for (std::size_t index = 0; index < count;) {
        bool opens = characters.is(index, '{');
        if ((opens || characters.is(index, '}')) && characters.is(index + 1, opens ? '{' : '}')) {
            literal.push_back(opens ? '{' : '}');
            index += 2;
            continue;
        }
        if (opens) {
            if (close <= index)
                close = characters.find('}', index + 1, count);
            if (close < count) {
                if (auto token = placeholder(characters, index + 1, close)) {
                    flush();
                    result.push_back(std::move(*token));
                    index = close + 1;
                    continue;
                }
            }
        }
        literal.append(characters.text(index, index + 1));
        ++index;
    }
    flush();
    return result;
}

Rendered render(std::string_view text, const Context& context)
{
    Calendar calendar { .timeZone = context.timeZone, .locale = context.locale };
    Rendered rendered;
    auto& output = rendered.text;
    std::optional<std::size_t> cursorBytes;
    for (auto& token : tokens(text)) {
        std::visit(Overloaded {
                       [&](const Text& literal) { output += literal.text; },
                       [&](const Date& date) {
                           output += styledDate(
                               calendar, context.date, date.format, Calendar::Style::medium, false);
                       },
                       [&](const Time& time) {
                           output += styledDate(
                               calendar, context.date, time.format, Calendar::Style::short_, true);
                       },
                       [&](const DateTime&) {
                           output += calendar.format(
                               context.date, Calendar::Style::medium, Calendar::Style::short_);
                       },
                       [&](const IsoDate& isoDate) {
                           // Without a pattern the digits stay ASCII whatever the locale.
                           if (!isoDate.format) {
                               Calendar posix { .timeZone = context.timeZone };
                               output += posix.format(context.date, "yyyy-MM-dd");
                           } else if (!isoDate.format->empty()) {
                               output += calendar.format(context.date, *isoDate.format);
                           }
                       },
                       [&](const Weekday&) { output += calendar.format(context.date, "EEEE"); },
                       [&](const Month&) { output += calendar.format(context.date, "MMMM"); },
                       [&](const Year&) { output += calendar.format(context.date, "yyyy"); },
                       [&](const Clipboard&) { output += context.clipboard; },
                       [&](const UUID&) { output += makeUUID(); },
                       [&](const Fill& fill) {
                           auto found = context.fills.find(fill.name);
                           output
                               += found != context.fills.end() ? found->second : fill.defaultValue;
                       },
                       [&](const Cursor&) {
                           if (!cursorBytes)
                               cursorBytes = output.size();
                       },
                   },
            token);
    }
    if (cursorBytes) {
        // Counted on the finished text, so that a mark after the caret that joins the character
        // before it is no character of its own.
        auto total = graphemeCount(output);
        auto before = graphemeCount(std::string_view(output).substr(0, *cursorBytes));
        rendered.cursorOffsetFromEnd = total > before ? total - before : 0;
    }
    return rendered;
}

std::vector<FillField> fillFields(std::string_view text)
{
    std::vector<FillField> fields;
    std::unordered_set<std::string> names;
    for (auto& token : tokens(text)) {
        if (auto* fill = std::get_if<Fill>(&token); fill && names.insert(fill->name).second)
            fields.push_back({ .name = fill->name, .defaultValue = fill->defaultValue });
    }
    return fields;
}

} // namespace zeph::SnippetTemplate
