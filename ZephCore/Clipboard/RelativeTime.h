#pragma once

#include "Support/Calendar.h"
#include "Support/IsoDate.h"

#include <string>

// How long ago something was copied, in words, for the history's rows and group titles.
namespace zeph::RelativeTime {

// "now", "5 min", "1 hr", "3 hrs", "Yesterday", "4 days", then the date as "5 Mar". A date in the
// future is "now".
std::string short_(Date date, Date now, const Calendar& calendar);
// The short form as a phrase: "Just now", "5 min ago", "3 days ago", "Yesterday", "5 Mar".
std::string long_(Date date, Date now, const Calendar& calendar);
// "Today", "Yesterday" or "Earlier".
std::string section(Date date, Date now, const Calendar& calendar);

} // namespace zeph::RelativeTime
