#include "Snippets/SnippetTemplate.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace SnippetTemplate;

// 2026-11-13T14:05:09Z, a Friday.
constexpr zeph::Date friday { std::chrono::sys_days { std::chrono::year { 2026 } / 11 / 13 }
    + std::chrono::hours { 14 } + std::chrono::minutes { 5 } + std::chrono::seconds { 9 } };

Context at(zeph::Date date, std::string locale, std::string timeZone)
{
    return Context { .date = date, .locale = std::move(locale), .timeZone = std::move(timeZone) };
}

std::string rendered(std::string_view text, const Context& context = {})
{
    return render(text, context).text;
}

bool isUUID(std::string_view text)
{
    return text.size() == 36 && text[8] == '-' && text[14] == '4'
        && text.find_first_of("abcdef") == std::string_view::npos;
}

} // namespace

TEST(SnippetTemplate, DatePlaceholdersFollowTheLocaleAndTimeZone)
{
    struct Case {
        const char* locale;
        const char* timeZone;
        const char* template_;
        const char* expected;
    };
    // Friday 14:05 UTC is Friday 15:05 in Berlin and Friday 09:05 in New York; in Tokyo it is
    // already 23:05, and at 16:00 UTC Saturday has begun there.
    const Case cases[] = {
        { "en_US", "UTC", "{date}", "Nov 13, 2026" },
        { "en_US", "UTC", "{date:}", "Nov 13, 2026" },
        { "en_US", "UTC", "{date:short}", "11/13/26" },
        { "en_US", "UTC", "{date:MEDIUM}", "Nov 13, 2026" },
        { "en_US", "UTC", "{date:long}", "November 13, 2026" },
        { "en_US", "UTC", "{date:Full}", "Friday, November 13, 2026" },
        { "en_US", "America/New_York", "{date:d MMMM yyyy}", "13 November 2026" },
        { "en_US", "America/New_York", "{time}", "9:05\u202FAM" },
        { "en_US", "America/New_York", "{time:short}", "9:05\u202FAM" },
        { "en_US", "America/New_York", "{time:medium}", "9:05:09\u202FAM" },
        { "en_US", "America/New_York", "{time:long}", "9:05:09\u202FAM EST" },
        { "en_US", "America/New_York", "{time:full}", "9:05:09\u202FAM Eastern Standard Time" },
        { "en_US", "America/New_York", "{time:HH:mm}", "09:05" },
        { "en_US", "America/New_York", "{datetime}", "Nov 13, 2026, 9:05\u202FAM" },
        { "en_US", "America/New_York", "{weekday} {month} {year}", "Friday November 2026" },
        { "en_US", "America/New_York", "{isodate}", "2026-11-13" },
        { "en_US", "America/New_York", "{isodate:yyyyMMdd'T'HHmm}", "20261113T0905" },
        { "de_DE", "Europe/Berlin", "{date}", "13.11.2026" },
        { "de_DE", "Europe/Berlin", "{date:short}", "13.11.26" },
        { "de_DE", "Europe/Berlin", "{date:long}", "13. November 2026" },
        { "de_DE", "Europe/Berlin", "{date:full}", "Freitag, 13. November 2026" },
        { "de_DE", "Europe/Berlin", "{date:EEEE d. MMMM}", "Freitag 13. November" },
        { "de_DE", "Europe/Berlin", "{time}", "15:05" },
        { "de_DE", "Europe/Berlin", "{time:medium}", "15:05:09" },
        { "de_DE", "Europe/Berlin", "{time:long}", "15:05:09 MEZ" },
        { "de_DE", "Europe/Berlin", "{time:full}", "15:05:09 Mitteleuropäische Normalzeit" },
        { "de_DE", "Europe/Berlin", "{datetime}", "13.11.2026, 15:05" },
        { "de_DE", "Europe/Berlin", "{weekday}, {month} {year}", "Freitag, November 2026" },
        { "de_DE", "Europe/Berlin", "{isodate}", "2026-11-13" },
        { "de_DE", "Asia/Tokyo", "{weekday} {time}", "Freitag 23:05" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(
            std::string(testCase.locale) + " " + testCase.timeZone + " " + testCase.template_);
        EXPECT_EQ(rendered(testCase.template_, at(friday, testCase.locale, testCase.timeZone)),
            testCase.expected);
    }
    EXPECT_EQ(
        rendered("{weekday} {isodate}", at(friday + std::chrono::hours(2), "en", "Asia/Tokyo")),
        "Saturday 2026-11-14");
}

TEST(SnippetTemplate, TimesFollowTheClockChange)
{
    // Berlin leaves summer time at 01:00 UTC on 25 October 2026: 02:59 summer time is followed by
    // 02:00 winter time. New York does so at 06:00 UTC on 1 November.
    using namespace std::chrono;
    auto october25 = sys_days { year { 2026 } / 10 / 25 };
    struct Case {
        zeph::Date date;
        const char* timeZone;
        const char* locale;
        const char* expected;
    };
    const Case cases[] = {
        { october25 + minutes(59), "Europe/Berlin", "de_DE", "02:59 MESZ 25.10.2026" },
        { october25 + minutes(60), "Europe/Berlin", "de_DE", "02:00 MEZ 25.10.2026" },
        { october25 + minutes(59), "Europe/Berlin", "en_US", "02:59 GMT+2 Oct 25, 2026" },
        { october25 + minutes(60), "Europe/Berlin", "en_US", "02:00 GMT+1 Oct 25, 2026" },
        { sys_days { year { 2026 } / 11 / 1 } + hours(5) + minutes(30), "America/New_York", "en_US",
            "01:30 EDT Nov 1, 2026" },
        { sys_days { year { 2026 } / 11 / 1 } + hours(6) + minutes(30), "America/New_York", "en_US",
            "01:30 EST Nov 1, 2026" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(std::string(testCase.timeZone) + " " + testCase.expected);
        EXPECT_EQ(rendered("{time:HH:mm z} {date}",
                      at(testCase.date, testCase.locale, testCase.timeZone)),
            testCase.expected);
    }
}

TEST(SnippetTemplate, IsoDateKeepsAsciiDigitsOnlyWithoutAPattern)
{
    auto arabic = at(friday, "ar_EG", "UTC");
    EXPECT_EQ(rendered("{isodate}", arabic), "2026-11-13");
    EXPECT_EQ(rendered("{isodate:yyyy}", arabic), "٢٠٢٦");
    // An empty pattern is no pattern and no style: nothing at all.
    EXPECT_EQ(rendered("[{isodate:}]", arabic), "[]");
}

TEST(SnippetTemplate, ClipboardFillsAndUUIDs)
{
    Context context { .clipboard = "{date} and {{braces}}",
        .fills = { { "Name", "Ada" }, { "Empty", "" } } };
    // Inserted text is never parsed again.
    EXPECT_EQ(rendered("<{clipboard}>", context), "<{date} and {{braces}}>");
    EXPECT_EQ(rendered("{CLIPBOARD:anything}", context), "{date} and {{braces}}");

    EXPECT_EQ(
        rendered("Hi {fill:Name}, {fill:Other=you} {fill:Empty=dflt}.", context), "Hi Ada, you .");
    EXPECT_EQ(rendered("{fill:Name}|{fill:Name}"), "|");
    EXPECT_EQ(rendered("{fill:A=1}{fill:A=2}"), "12");
    EXPECT_EQ(rendered("{fill:Name=a=b}"), "a=b");
    // The name keeps its case and its spaces; only the head is case-blind.
    EXPECT_EQ(rendered("{FILL:First Name=x}", { .fills = { { "First Name", "y" } } }), "y");

    auto uuids = rendered("{uuid} {UUID} {random:uuid} {RANDOM:UUID}");
    ASSERT_EQ(uuids.size(), 4 * 36 + 3);
    std::vector<std::string> values;
    for (std::size_t index = 0; index < 4; ++index) {
        values.push_back(uuids.substr(index * 37, 36));
        EXPECT_TRUE(isUUID(values.back())) << values.back();
    }
    std::sort(values.begin(), values.end());
    EXPECT_EQ(std::unique(values.begin(), values.end()), values.end());
}

TEST(SnippetTemplate, WhatIsNoPlaceholderStaysLetterForLetter)
{
    struct Case {
        const char* template_;
        const char* expected;
    };
    const Case cases[] = {
        { "Price: {{5}}", "Price: {5}" },
        { "{", "{" },
        { "}", "}" },
        { "{}", "{}" },
        { "{date", "{date" },
        { "{nonsense}", "{nonsense}" },
        { "{fill:}", "{fill:}" },
        { "{fill}", "{fill}" },
        { "{random}", "{random}" },
        { "{random:number}", "{random:number}" },
        { "{ date}", "{ date}" },
        { "{{date}}", "{date}" },
        { "}}{{", "}{" },
        { "{x{year}", "{x2026" },
        { "{year}}", "2026}" },
        { "{date:yyyy}}", "2026}" },
        { "{year:ignored}", "2026" },
        { "{datetime:ignored}", "Nov 13, 2026, 2:05\u202FPM" },
        // A brace that carries a combining mark is another character.
        { "{\u0301year}", "{\u0301year}" },
        { "{year}\u0301", "{year}\u0301" },
        { "a\xff{year}", "a\uFFFD2026" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.template_);
        EXPECT_EQ(rendered(testCase.template_, at(friday, "en_US", "UTC")), testCase.expected);
    }
    EXPECT_EQ(render("", {}), Rendered {});
}

TEST(SnippetTemplate, TokensAndFillFields)
{
    EXPECT_EQ(tokens("Dear {fill:Name},{cursor} {date:short}{{"),
        (std::vector<Token> { Text { "Dear " }, Fill { .name = "Name" }, Text { "," }, Cursor {},
            Text { " " }, SnippetTemplate::Date { "short" }, Text { "{" } }));
    EXPECT_EQ(tokens("{isodate}{isodate:}{time:HH}"),
        (std::vector<Token> { IsoDate {}, IsoDate { "" }, Time { "HH" } }));
    EXPECT_TRUE(tokens("").empty());

    EXPECT_EQ(fillFields("{fill:B=2} {fill:A} {fill:B=3} {fill:} {fill:C=}"),
        (std::vector<FillField> { { "B", "2" }, { "A", "" }, { "C", "" } }));
    EXPECT_TRUE(fillFields("{{fill:A}}").empty());
    // An argument of only a default still names a field: the one with the empty name.
    EXPECT_EQ(fillFields("{fill:=x}{fill:==y}"), (std::vector<FillField> { { "", "x" } }));
    EXPECT_EQ(rendered("{fill:=x}{fill:==y}", { .fills = { { "", "!" } } }), "!!");
}

TEST(SnippetTemplate, CursorOffsetCountsUserPerceivedCharacters)
{
    struct Case {
        const char* template_;
        std::optional<std::size_t> offset;
    };
    const Case cases[] = {
        { "a{cursor}bc", 2 },
        { "{cursor}{cursor}x", 1 },
        { "x{cursor}y{cursor}z", 2 },
        { "abc{cursor}", 0 },
        { "abc", std::nullopt },
        { "{cursor}", 0 },
        { "{cursor}👍🏽 and 🇩🇪", 7 },
        { "{cursor}e\u0301e\u0301", 2 },
        { "{cursor}👨‍👩‍👧‍👦", 1 },
        { "{cursor}\r\n", 1 },
        // A mark after the caret joins the character before it: nothing lies after the caret.
        { "e{cursor}{fill:Mark}", 0 },
        // A brace carrying the mark is no brace: no placeholder, no caret.
        { "e{cursor}\u0301", std::nullopt },
        // Both halves of a flag are on either side of the caret: one character.
        { "🇩{cursor}🇪x", 1 },
        { "{fill:Name}{cursor}!", 1 },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.template_);
        EXPECT_EQ(render(testCase.template_, { .fills = { { "Name", "😀" }, { "Mark", "\u0301" } } })
                      .cursorOffsetFromEnd,
            testCase.offset);
    }
    EXPECT_EQ(render("{cursor}{clipboard}", { .clipboard = "😀ab" }).cursorOffsetFromEnd, 3u);
}

} // namespace zeph
