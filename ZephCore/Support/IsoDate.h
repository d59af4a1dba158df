#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace zeph {

// A moment as the documents keep it: whole seconds, so that a date read back from a file equals the
// one that was written.
using Date = std::chrono::sys_seconds;

// The present moment, cut to whole seconds.
Date currentDate();

// Internet date-time in UTC, "2026-11-13T05:11:39Z". Dates outside the years 0000 to 9999 are
// clamped to that range, so that what is written always reads back.
std::string isoDateText(Date date);

// Reads internet date-time with "Z" or a "+hh:mm" offset and no fractions of a second; any other
// form, or a moment outside the years 0000 to 9999 in UTC, yields nothing.
std::optional<Date> parseIsoDate(std::string_view text);

} // namespace zeph
