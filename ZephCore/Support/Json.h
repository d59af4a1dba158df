#pragma once

#include "Support/EnumTable.h"
#include "Support/Result.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

// Reading fields of strict records: a missing key or a value of the wrong type is an error that
// names the key, so that the whole document fails with a sentence someone can act on.
namespace zeph::Json {

using Value = nlohmann::json;

// Parses text without throwing; text that is not JSON yields nothing.
std::optional<Value> parse(std::string_view text);

Result<std::string> requiredString(const Value& object, const char* key);
Result<double> requiredNumber(const Value& object, const char* key);
Result<bool> requiredBool(const Value& object, const char* key);
Result<std::vector<std::string>> requiredStrings(const Value& object, const char* key);
// Absent or null is nothing; any other type than a string is an error.
Result<std::optional<std::string>> optionalString(const Value& object, const char* key);

// Moves a field that was read into place, or hands back its error, so that a decoder reads as a
// list of its fields: `firstError({ readInto(requiredString(json, "id"), item.id), … })`.
template<typename T, typename Field>
std::optional<Error> readInto(Result<T> result, Field& field)
{
    if (!result)
        return result.error();
    field = std::move(*result);
    return std::nullopt;
}

// The error of the first field in the list that could not be read.
std::optional<Error> firstError(std::initializer_list<std::optional<Error>> fieldErrors);

template<typename Enum>
Result<Enum> requiredEnum(const Value& object, const char* key)
{
    auto text = requiredString(object, key);
    if (!text)
        return text.error();
    if (auto value = fromString<Enum>(*text))
        return *value;
    return Error { "\"" + *text + "\" is not a valid \"" + key + "\"." };
}

} // namespace zeph::Json
