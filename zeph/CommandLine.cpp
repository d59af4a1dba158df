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

Result<Calendar> chosenCalendar(
    const std::optional<std::string>& timeZone, const std::optional<std::string>& locale)
{
    auto current = Calendar::current();
    return Calendar::make(timeZone.value_or(current.timeZone), locale.value_or(current.locale));
}

std::filesystem::path GlobalOptions::dataFolder() const
{
    auto environment = Paths::Environment::current();
    if (dataDirectory)
        environment.dataDirectory = dataDirectory;
    return Paths::supportDirectory(environment);
}

} // namespace zeph::CommandLine
