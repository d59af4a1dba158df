#include "Clipboard/RelativeTime.h"

#include <string_view>

namespace zeph::RelativeTime {

std::string short_(Date date, Date now, const Calendar& calendar)
{
    auto seconds = (now - date).count();
    if (seconds < 60)
        return "now";
    if (seconds < 3600)
        return std::to_string(seconds / 60) + " min";
    auto days = (calendar.day(now) - calendar.day(date)).count();
    if (days == 0) {
        auto hours = seconds / 3600;
        return hours == 1 ? "1 hr" : std::to_string(hours) + " hrs";
    }
    if (days == 1)
        return "Yesterday";
    // A zone that moves its clocks back across midnight can put an earlier moment on a later day;
    // such a date is told as a date rather than as "-1 days".
    if (days >= 2 && days <= 6)
        return std::to_string(days) + " days";
    return calendar.format(date, "d MMM");
}

std::string long_(Date date, Date now, const Calendar& calendar)
{
    auto text = short_(date, now, calendar);
    if (text == "now")
        return "Just now";
    for (std::string_view unit : { "min", "hr", "hrs", "days" }) {
        if (std::string_view(text).ends_with(unit))
            return text + " ago";
    }
    return text;
}

std::string section(Date date, Date now, const Calendar& calendar)
{
    auto days = (calendar.day(now) - calendar.day(date)).count();
    if (days == 0)
        return "Today";
    if (days == 1)
        return "Yesterday";
    return "Earlier";
}

} // namespace zeph::RelativeTime
