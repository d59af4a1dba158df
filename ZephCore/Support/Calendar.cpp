#include "Support/Calendar.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace zeph {

namespace {

icu::UnicodeString toUnicode(std::string_view text)
{
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

UDate toUDate(Date date)
{
    return static_cast<UDate>(date.time_since_epoch().count()) * 1000.0;
}

// ICU loads a zone's rules from its data on each creation; a process tells dates in one or two
// zones, so they are kept once made. An unknown identifier makes the "unknown" zone, which is GMT.
const icu::TimeZone& zoneNamed(const std::string& identifier)
{
    static std::mutex mutex;
    static std::unordered_map<std::string, std::unique_ptr<icu::TimeZone>> zones;
    std::lock_guard lock(mutex);
    auto& zone = zones[identifier];
    if (!zone)
        zone.reset(icu::TimeZone::createTimeZone(toUnicode(identifier)));
    return *zone;
}

// "de_DE.UTF-8@euro" names the locale "de_DE"; "C" and "POSIX" are the neutral locale.
std::string localeFromEnvironment()
{
    for (auto* name : { "LC_ALL", "LC_TIME", "LANG" }) {
        auto* value = std::getenv(name);
        if (!value || !*value)
            continue;
        std::string locale(value);
        locale = locale.substr(0, locale.find_first_of(".@"));
        if (locale.empty() || locale == "C" || locale == "POSIX")
            return "en_US_POSIX";
        return locale;
    }
    return "en_US_POSIX";
}

} // namespace

Calendar Calendar::current()
{
    std::unique_ptr<icu::TimeZone> host(icu::TimeZone::detectHostTimeZone());
    icu::UnicodeString identifier;
    std::string zone;
    host->getID(identifier).toUTF8String(zone);
    if (zone.empty() || zone == UCAL_UNKNOWN_ZONE_ID)
        zone = "UTC";
    return Calendar { .timeZone = zone, .locale = localeFromEnvironment() };
}

Result<Calendar> Calendar::make(std::string zone, std::string locale)
{
    icu::UnicodeString identifier;
    zoneNamed(zone).getID(identifier);
    if (identifier == UNICODE_STRING_SIMPLE(UCAL_UNKNOWN_ZONE_ID) && zone != UCAL_UNKNOWN_ZONE_ID)
        return Error { "\"" + zone
            + "\" is not a time zone such as \"Europe/Berlin\" or \"UTC\"." };
    return Calendar { .timeZone = std::move(zone), .locale = std::move(locale) };
}

std::chrono::sys_days Calendar::day(Date date) const
{
    int32_t rawOffset = 0, daylightOffset = 0;
    UErrorCode status = U_ZERO_ERROR;
    zoneNamed(timeZone).getOffset(toUDate(date), false, rawOffset, daylightOffset, status);
    if (U_FAILURE(status))
        rawOffset = daylightOffset = 0;
    auto local = date + std::chrono::milliseconds(rawOffset + daylightOffset);
    return std::chrono::floor<std::chrono::days>(local);
}

std::string Calendar::format(Date date, std::string_view pattern) const
{
    UErrorCode status = U_ZERO_ERROR;
    icu::SimpleDateFormat formatter(toUnicode(pattern), icu::Locale(locale.c_str()), status);
    if (U_FAILURE(status))
        return isoDateText(date);
    formatter.setTimeZone(zoneNamed(timeZone));
    icu::UnicodeString text;
    formatter.format(toUDate(date), text);
    std::string result;
    text.toUTF8String(result);
    return result;
}

} // namespace zeph
