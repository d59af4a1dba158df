#include "Support/Calendar.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <unicode/datefmt.h>
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

icu::DateFormat::EStyle icuStyle(Calendar::Style style)
{
    switch (style) {
    case Calendar::Style::none:
        return icu::DateFormat::kNone;
    case Calendar::Style::short_:
        return icu::DateFormat::kShort;
    case Calendar::Style::medium:
        return icu::DateFormat::kMedium;
    case Calendar::Style::long_:
        return icu::DateFormat::kLong;
    case Calendar::Style::full:
        return icu::DateFormat::kFull;
    }
    return icu::DateFormat::kNone;
}

// Making a formatter loads the locale's data and costs far more than formatting; a snippet with a
// date is rendered on a keystroke, so formatters are kept per thread (a formatter is not safe to
// share) under their locale, zone and form. Null stands for a form ICU refused.
template <typename Make>
icu::DateFormat* cachedFormatter(const Calendar& calendar, std::string_view form, Make make)
{
    constexpr std::size_t capacity = 64;
    thread_local std::unordered_map<std::string, std::unique_ptr<icu::DateFormat>> formatters;
    auto key = calendar.locale;
    key.append(1, '\0').append(calendar.timeZone).append(1, '\0').append(form);
    if (auto found = formatters.find(key); found != formatters.end())
        return found->second.get();
    if (formatters.size() >= capacity)
        formatters.clear();
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::DateFormat> formatter(make(icu::Locale(calendar.locale.c_str()), status));
    if (U_FAILURE(status))
        formatter.reset();
    if (formatter)
        formatter->setTimeZone(zoneNamed(calendar.timeZone));
    return formatters.emplace(std::move(key), std::move(formatter)).first->second.get();
}

std::string formatted(const icu::DateFormat& formatter, Date date)
{
    icu::UnicodeString text;
    formatter.format(toUDate(date), text);
    std::string result;
    text.toUTF8String(result);
    return result;
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
    // The form "p" + pattern cannot meet the form of two styles, which is two digits.
    auto* formatter = cachedFormatter(*this, "p" + std::string(pattern),
        [&](const icu::Locale& icuLocale, UErrorCode& status) -> icu::DateFormat* {
            return new icu::SimpleDateFormat(toUnicode(pattern), icuLocale, status);
        });
    return formatter ? formatted(*formatter, date) : isoDateText(date);
}

std::string Calendar::format(Date date, Style dateStyle, Style timeStyle) const
{
    if (dateStyle == Style::none && timeStyle == Style::none)
        return std::string();
    std::string form { static_cast<char>('0' + static_cast<int>(dateStyle)),
        static_cast<char>('0' + static_cast<int>(timeStyle)) };
    auto* formatter = cachedFormatter(*this, form, [&](const icu::Locale& icuLocale, UErrorCode&) {
        return icu::DateFormat::createDateTimeInstance(
            icuStyle(dateStyle), icuStyle(timeStyle), icuLocale);
    });
    return formatter ? formatted(*formatter, date) : std::string();
}

} // namespace zeph
