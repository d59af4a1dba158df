#include "Support/Json.h"

namespace zeph::Json {

namespace {

Error missingOrWrong(const Value& object, const char* key, const char* expected)
{
    if (!object.contains(key))
        return Error { std::string("\"") + key + "\" is missing." };
    return Error { std::string("\"") + key + "\" must be " + expected + "." };
}

} // namespace

std::optional<Value> parse(std::string_view text)
{
    auto value = Value::parse(text, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded())
        return std::nullopt;
    return value;
}

std::optional<Error> firstError(std::initializer_list<std::optional<Error>> fieldErrors)
{
    for (auto& error : fieldErrors) {
        if (error)
            return error;
    }
    return std::nullopt;
}

Result<std::string> requiredString(const Value& object, const char* key)
{
    auto found = object.find(key);
    if (found == object.end() || !found->is_string())
        return missingOrWrong(object, key, "a string");
    return found->get<std::string>();
}

Result<double> requiredNumber(const Value& object, const char* key)
{
    auto found = object.find(key);
    if (found == object.end() || !found->is_number())
        return missingOrWrong(object, key, "a number");
    return found->get<double>();
}

Result<bool> requiredBool(const Value& object, const char* key)
{
    auto found = object.find(key);
    if (found == object.end() || !found->is_boolean())
        return missingOrWrong(object, key, "true or false");
    return found->get<bool>();
}

Result<std::vector<std::string>> requiredStrings(const Value& object, const char* key)
{
    auto found = object.find(key);
    if (found == object.end() || !found->is_array())
        return missingOrWrong(object, key, "an array of strings");
    std::vector<std::string> strings;
    for (auto& element : *found) {
        if (!element.is_string())
            return missingOrWrong(object, key, "an array of strings");
        strings.push_back(element.get<std::string>());
    }
    return strings;
}

Result<std::optional<std::string>> optionalString(const Value& object, const char* key)
{
    auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return std::optional<std::string> {};
    if (!found->is_string())
        return missingOrWrong(object, key, "a string");
    return std::optional(found->get<std::string>());
}

} // namespace zeph::Json
