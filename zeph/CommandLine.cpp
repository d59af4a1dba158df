#include "CommandLine.h"

#include "Storage/Paths.h"

#include <cstdio>
#include <unistd.h>

namespace zeph::CommandLine {

Result<InputBuffer> readStandardInput()
{
    return InputBuffer::read(STDIN_FILENO, "standard input");
}

void printJSON(const Json::Value& value)
{
    auto text = value.dump(-1, ' ', false, Json::Value::error_handler_t::replace);
    text.push_back('\n');
    std::fwrite(text.data(), 1, text.size(), stdout);
}

int printRecord(const Json::Value& value, bool compact)
{
    if (compact) {
        printJSON(value);
        return success;
    }
    auto text = Json::documentText(value);
    if (!text)
        return fail(text.error().message);
    std::fwrite(text->data(), 1, text->size(), stdout);
    return success;
}

std::string joinedWords(const std::vector<std::string>& words)
{
    std::string text;
    for (auto& word : words)
        text.append(text.empty() ? "" : " ").append(word);
    return text;
}

void warn(const std::string& message)
{
    std::fprintf(stderr, "zeph: %s\n", message.c_str());
}

int fail(const std::string& message)
{
    warn(message);
    return badUsage;
}

int notFound(const std::string& message)
{
    warn(message);
    return nothingFound;
}

Result<Date> presentDate(const std::optional<std::string>& now)
{
    if (!now)
        return currentDate();
    if (auto date = parseIsoDate(*now))
        return *date;
    return Error { "--now \"" + *now + "\" is not an ISO 8601 date such as 2026-11-13T05:11:39Z." };
}

void DateOptions::addTo(CLI::App& command, const std::string& moment)
{
    command.add_option("--now", now, moment + ", ISO 8601 (default: now)");
    command.add_option(
        "--time-zone", timeZone, "The time zone of dates (default: TZ or the system's)");
    command.add_option(
        "--locale", locale, "The locale of dates (default: LC_ALL, LC_TIME or LANG)");
}

Result<DateOptions::Chosen> DateOptions::chosen() const
{
    auto date = presentDate(now);
    if (!date)
        return date.error();
    auto current = Calendar::current();
    auto calendar
        = Calendar::make(timeZone.value_or(current.timeZone), locale.value_or(current.locale));
    if (!calendar)
        return calendar.error();
    return Chosen { .now = *date, .calendar = std::move(*calendar) };
}

std::filesystem::path GlobalOptions::dataFolder() const
{
    auto environment = Paths::Environment::current();
    if (dataDirectory)
        environment.dataDirectory = dataDirectory;
    return Paths::supportDirectory(environment);
}

} // namespace zeph::CommandLine
