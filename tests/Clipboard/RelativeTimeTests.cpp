#include "Clipboard/RelativeTime.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;

Date at(unsigned day, std::chrono::seconds time)
{
    return std::chrono::sys_days(std::chrono::year(2026) / 11 / day) + time;
}

} // namespace

TEST(RelativeTime, SaysHowLongAgoInTheCalendarGiven)
{
    struct Case {
        const char* name;
        Date date;
        Date now;
        const char* timeZone;
        const char* shortText;
        const char* longText;
        const char* section;
    };
    const Case cases[] = {
        { "59 seconds", at(13, 12h - 59s), at(13, 12h), "UTC", "now", "Just now", "Today" },
        { "61 seconds", at(13, 12h - 61s), at(13, 12h), "UTC", "1 min", "1 min ago", "Today" },
        { "future", at(13, 13h), at(13, 12h), "UTC", "now", "Just now", "Today" },
        { "just under an hour", at(13, 11h + 1s), at(13, 12h), "UTC", "59 min", "59 min ago",
            "Today" },
        { "an hour and a half", at(13, 10h + 30min), at(13, 12h), "UTC", "1 hr", "1 hr ago",
            "Today" },
        { "two hours", at(13, 10h), at(13, 12h), "UTC", "2 hrs", "2 hrs ago", "Today" },
        { "minutes across midnight", at(12, 23h + 59min), at(13, 10min), "UTC", "11 min",
            "11 min ago", "Yesterday" },
        { "yesterday", at(12, 20h), at(13, 1h), "UTC", "Yesterday", "Yesterday", "Yesterday" },
        { "two days", at(11, 23h), at(13, 1h), "UTC", "2 days", "2 days ago", "Earlier" },
        { "six days", at(7, 12h), at(13, 12h), "UTC", "6 days", "6 days ago", "Earlier" },
        { "seven days", at(6, 12h), at(13, 12h), "UTC", "6 Nov", "6 Nov", "Earlier" },
        // 13:00 and 16:00 UTC are 22:00 on the 13th and 01:00 on the 14th in Tokyo.
        { "same moment, Tokyo", at(13, 13h), at(13, 16h), "Asia/Tokyo", "Yesterday", "Yesterday",
            "Yesterday" },
        { "same moment, UTC", at(13, 13h), at(13, 16h), "UTC", "3 hrs", "3 hrs ago", "Today" },
        // The date itself is told in the zone: 23:00 UTC on the 1st is the 2nd in Berlin.
        { "date in its zone", at(1, 23h), at(13, 12h), "Europe/Berlin", "2 Nov", "2 Nov",
            "Earlier" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        auto calendar = Calendar::make(testCase.timeZone, "en_US_POSIX").value();
        EXPECT_EQ(RelativeTime::short_(testCase.date, testCase.now, calendar), testCase.shortText);
        EXPECT_EQ(RelativeTime::long_(testCase.date, testCase.now, calendar), testCase.longText);
        EXPECT_EQ(RelativeTime::section(testCase.date, testCase.now, calendar), testCase.section);
    }
}

TEST(RelativeTime, CalendarRefusesAnUnknownZone)
{
    EXPECT_FALSE(Calendar::make("Mars/Olympus_Mons", "en"));
    EXPECT_TRUE(Calendar::make("America/New_York", "en"));
    EXPECT_EQ(Calendar::make("Europe/Berlin", "de_DE")->format(at(13, 12h), "d MMM"), "13 Nov.");
}

} // namespace zeph
