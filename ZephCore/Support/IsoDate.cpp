#include "Support/IsoDate.h"

#include <algorithm>

namespace zeph {

namespace {

using namespace std::chrono;

constexpr auto firstDate = sys_days(year(0) / January / 1);
constexpr auto lastDate
    = sys_days(year(9999) / December / 31) + hours(23) + minutes(59) + seconds(59);

// Reads exactly `count` ASCII digits at `offset`.
std::optional<int> digits(std::string_view text, std::size_t offset, std::size_t count)
{
    if (offset + count > text.size())
        return std::nullopt;
    int value = 0;
    for (std::size_t index = offset; index < offset + count; ++index) {
        if (text[index] < '0' || text[index] > '9')
            return std::nullopt;
        value = value * 10 + (text[index] - '0');
    }
    return value;
}

void appendPadded(std::string& text, long long value, int width)
{
    auto number = std::to_string(value);
    text.append(
        static_cast<std::size_t>(std::max(0, width - static_cast<int>(number.size()))), '0');
    text += number;
}

} // namespace

Date currentDate()
{
    return floor<seconds>(system_clock::now());
}

std::string isoDateText(Date date)
{
    date = std::clamp(date, Date(firstDate), Date(lastDate));
    auto day = floor<days>(date);
    year_month_day calendarDay(day);
    hh_mm_ss time(date - day);
    std::string text;
    text.reserve(20);
    appendPadded(text, static_cast<int>(calendarDay.year()), 4);
    text += '-';
    appendPadded(text, static_cast<unsigned>(calendarDay.month()), 2);
    text += '-';
    appendPadded(text, static_cast<unsigned>(calendarDay.day()), 2);
    text += 'T';
    appendPadded(text, time.hours().count(), 2);
    text += ':';
    appendPadded(text, time.minutes().count(), 2);
    text += ':';
    appendPadded(text, time.seconds().count(), 2);
    text += 'Z';
    return text;
}

std::optional<Date> parseIsoDate(std::string_view text)
{
    // "yyyy-MM-ddTHH:mm:ss" and then the zone.
    if (text.size() < 20 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':'
        || text[16] != ':')
        return std::nullopt;
    auto yearNumber = digits(text, 0, 4), monthNumber = digits(text, 5, 2),
         dayNumber = digits(text, 8, 2);
    auto hour = digits(text, 11, 2), minute = digits(text, 14, 2), second = digits(text, 17, 2);
    if (!yearNumber || !monthNumber || !dayNumber || !hour || !minute || !second)
        return std::nullopt;
    year_month_day calendarDay(year(*yearNumber), month(static_cast<unsigned>(*monthNumber)),
        day(static_cast<unsigned>(*dayNumber)));
    if (!calendarDay.ok() || *hour > 23 || *minute > 59 || *second > 59)
        return std::nullopt;

    seconds offset(0);
    auto zone = text.substr(19);
    if (zone != "Z") {
        if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || zone[3] != ':')
            return std::nullopt;
        auto offsetHours = digits(zone, 1, 2), offsetMinutes = digits(zone, 4, 2);
        if (!offsetHours || !offsetMinutes || *offsetHours > 23 || *offsetMinutes > 59)
            return std::nullopt;
        offset = hours(*offsetHours) + minutes(*offsetMinutes);
        if (zone[0] == '-')
            offset = -offset;
    }
    Date date = sys_days(calendarDay) + hours(*hour) + minutes(*minute) + seconds(*second) - offset;
    if (date < firstDate || date > lastDate)
        return std::nullopt;
    return date;
}

} // namespace zeph
