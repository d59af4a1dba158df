#pragma once

#include "Support/IsoDate.h"
#include "Support/Result.h"

#include <string>
#include <string_view>

namespace zeph {

// The time zone and locale in which a date is told to the user. It arrives as an argument wherever
// a date becomes words, so that any output can be reproduced.
struct Calendar {
    std::string timeZone = "UTC"; // An IANA identifier, as ICU knows it.
    std::string locale = "en_US_POSIX";
    bool operator==(const Calendar&) const = default;

    // The zone of TZ or the system, and the locale of LC_ALL, LC_TIME or LANG, first set first.
    static Calendar current();
    // Fails for a time zone that ICU does not know.
    static Result<Calendar> make(std::string timeZone, std::string locale);

    // The calendar day on which `date` falls in this time zone.
    std::chrono::sys_days day(Date date) const;
    // `date` in an ICU pattern such as "d MMM", in this zone and locale.
    std::string format(Date date, std::string_view pattern) const;

    // The locale's own forms of a date and a time; `none` leaves that half out.
    enum class Style { none, short_, medium, long_, full };
    std::string format(Date date, Style dateStyle, Style timeStyle) const;
};

} // namespace zeph
