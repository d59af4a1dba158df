#include "Support/Json.h"

#include <cmath>
#include <limits>

namespace zeph::Json {

std::optional<Value> parse(std::string_view text)
{
    auto value = Value::parse(text, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded())
        return std::nullopt;
    return value;
}

Result<std::string> documentText(const Value& value)
{
    try {
        auto text = value.dump(2, ' ', false, Value::error_handler_t::strict);
        text.push_back('\n');
        return text;
    } catch (const nlohmann::json::exception& exception) {
        return Error { std::string("The document cannot be written as JSON: ") + exception.what()
            + "." };
    }
}

Value toJSON(Date date)
{
    return isoDateText(date);
}

Error fieldError(const Value& object, const char* key, const char* expected)
{
    if (!object.contains(key))
        return Error { std::string("\"") + key + "\" is missing." };
    return Error { std::string("\"") + key + "\" must be " + expected + "." };
}

std::optional<Error> firstError(std::initializer_list<std::optional<Error>> errors)
{
    for (auto& error : errors) {
        if (error)
            return error;
    }
    return std::nullopt;
}

std::optional<std::string> Field<std::string>::decode(const Value& value)
{
    if (!value.is_string())
        return std::nullopt;
    return value.get<std::string>();
}

std::optional<bool> Field<bool>::decode(const Value& value)
{
    if (!value.is_boolean())
        return std::nullopt;
    return value.get<bool>();
}

std::optional<double> Field<double>::decode(const Value& value)
{
    if (!value.is_number())
        return std::nullopt;
    return value.get<double>();
}

std::optional<std::int64_t> Field<std::int64_t>::decode(const Value& value)
{
    if (value.is_number_unsigned()) {
        auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer())
        return value.get<std::int64_t>();
    // "30.0" is the whole number 30, as other JSON writers may put it.
    if (value.is_number_float()) {
        auto number = value.get<double>();
        if (std::isfinite(number) && number == std::trunc(number) && number >= -0x1p63
            && number < 0x1p63)
            return static_cast<std::int64_t>(number);
    }
    return std::nullopt;
}

std::optional<std::uint32_t> Field<std::uint32_t>::decode(const Value& value)
{
    auto number = Field<std::int64_t>::decode(value);
    if (!number || *number < 0 || *number > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

std::optional<std::vector<std::string>> Field<std::vector<std::string>>::decode(const Value& value)
{
    if (!value.is_array())
        return std::nullopt;
    std::vector<std::string> strings;
    strings.reserve(value.size());
    for (auto& element : value) {
        if (!element.is_string())
            return std::nullopt;
        strings.push_back(element.get<std::string>());
    }
    return strings;
}

std::optional<Date> Field<Date>::decode(const Value& value)
{
    if (!value.is_string())
        return std::nullopt;
    return parseIsoDate(value.get_ref<const std::string&>());
}

} // namespace zeph::Json
