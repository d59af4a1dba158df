#include "Workflows/ScriptFilterOutput.h"

#include "Support/Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace zeph {

namespace {

using Modifier = ScriptFilterItem::Modifier;

// The shortest text that reads back as the same number: "1.5", "1e+20".
std::string decimalText(double number)
{
    char buffer[32];
    auto end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
    return std::string(buffer, end);
}

const Json::Value* member(const Json::Value& object, const char* key)
{
    auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

std::optional<double> finiteNumber(const Json::Value& value)
{
    if (!value.is_number())
        return std::nullopt;
    auto number = value.get<double>();
    return std::isfinite(number) ? std::optional(number) : std::nullopt;
}

// Text, else a number as text, else a list of texts one a line; anything else is no argument.
std::optional<std::string> tolerantArgument(const Json::Value& object)
{
    auto* value = member(object, "arg");
    if (!value)
        return std::nullopt;
    if (value->is_string())
        return value->get<std::string>();
    if (auto number = finiteNumber(*value)) {
        // Whole numbers read as integers, "42" and not "42.0".
        if (*number == std::trunc(*number) && *number >= -0x1p63 && *number < 0x1p63)
            return std::to_string(static_cast<std::int64_t>(*number));
        return decimalText(*number);
    }
    if (auto texts = Json::Field<std::vector<std::string>>::decode(*value)) {
        std::string joined;
        for (std::size_t index = 0; index < texts->size(); ++index)
            joined.append(index == 0 ? "" : "\n").append((*texts)[index]);
        return joined;
    }
    return std::nullopt;
}

// All texts, all numbers or all booleans; a mixed map is no map at all. Numbers always read as
// floating point, so that 1 is "1.0" here while it is "1" as an argument.
std::optional<Variables> tolerantVariables(const Json::Value& object)
{
    auto* value = member(object, "variables");
    if (!value || !value->is_object())
        return std::nullopt;
    if (auto texts = Json::Field<Variables>::decode(*value))
        return texts;
    auto convertAll = [&](auto convert) -> std::optional<Variables> {
        Variables variables;
        for (auto& [name, element] : value->items()) {
            auto text = convert(element);
            if (!text)
                return std::nullopt;
            variables.emplace_hint(variables.end(), name, std::move(*text));
        }
        return variables;
    };
    if (auto numbers = convertAll([](const Json::Value& element) -> std::optional<std::string> {
            auto number = finiteNumber(element);
            if (!number)
                return std::nullopt;
            auto text = decimalText(*number);
            if (text.find_first_of(".e") == std::string::npos)
                text += ".0";
            return text;
        }))
        return numbers;
    return convertAll([](const Json::Value& element) -> std::optional<std::string> {
        if (!element.is_boolean())
            return std::nullopt;
        return element.get<bool>() ? "true" : "false";
    });
}

// Every decoder below gives nothing for a value of the wrong shape: one such value anywhere fails
// the whole output, whose error row then stands in for it.

std::optional<Modifier> decodeModifier(const Json::Value& json)
{
    if (!json.is_object())
        return std::nullopt;
    Modifier modifier { .arg = tolerantArgument(json), .variables = tolerantVariables(json) };
    if (Json::firstError({ Json::read(json, "subtitle", modifier.subtitle),
            Json::read(json, "valid", modifier.valid) }))
        return std::nullopt;
    return modifier;
}

std::optional<ScriptFilterItem> decodeItem(const Json::Value& json)
{
    if (!json.is_object())
        return std::nullopt;
    ScriptFilterItem item {
        .arg = tolerantArgument(json),
        .variables = tolerantVariables(json).value_or(Variables {}),
    };
    std::optional<bool> valid;
    if (Json::firstError({ Json::read(json, "uid", item.uid),
            Json::readTolerant(json, "title", item.title),
            Json::readTolerant(json, "subtitle", item.subtitle), Json::read(json, "valid", valid),
            Json::read(json, "autocomplete", item.autocomplete),
            Json::read(json, "quicklookurl", item.quicklookURL) }))
        return std::nullopt;
    item.valid = valid.value_or(true);
    // Only the path of an icon counts; its "type" ("fileicon", "filetype") is known and ignored.
    if (auto* icon = member(json, "icon"); icon && icon->is_object()) {
        if (auto* path = member(*icon, "path"); path && path->is_string())
            item.iconPath = path->get<std::string>();
    }
    if (!Json::isAbsent(json, "mods")) {
        auto& mods = json["mods"];
        if (!mods.is_object())
            return std::nullopt;
        for (auto& [key, value] : mods.items()) {
            auto modifier = decodeModifier(value);
            if (!modifier)
                return std::nullopt;
            item.mods.emplace_hint(item.mods.end(), key, std::move(*modifier));
        }
    }
    return item;
}

std::optional<ScriptFilterOutput> decodeOutput(std::string_view data)
{
    auto json = Json::parse(data);
    if (!json || !json->is_object())
        return std::nullopt;
    ScriptFilterOutput output { .variables = tolerantVariables(*json).value_or(Variables {}) };
    if (!Json::isAbsent(*json, "items")) {
        auto& items = (*json)["items"];
        if (!items.is_array())
            return std::nullopt;
        output.items.reserve(items.size());
        for (auto& element : items) {
            auto item = decodeItem(element);
            if (!item)
                return std::nullopt;
            output.items.push_back(std::move(*item));
        }
    }
    if (Json::read(*json, "rerun", output.rerun))
        return std::nullopt;
    if (output.rerun)
        output.rerun = std::clamp(
            *output.rerun, ScriptFilterOutput::minimumRerun, ScriptFilterOutput::maximumRerun);
    return output;
}

// The first line of the output that has anything on it, for the error row.
std::string firstLine(std::string_view data)
{
    auto text = sanitizedUTF8(data);
    auto rest = trimmedWhitespaceAndNewlines(text);
    while (!rest.empty()) {
        std::size_t end = 0;
        std::size_t next = 0;
        while (end < rest.size()) {
            next = end;
            if (isNewline(decodeScalar(rest, next)))
                break;
            end = next;
        }
        if (end > 0)
            return std::string(rest.substr(0, end));
        rest.remove_prefix(next);
    }
    return "No output";
}

Json::Value toJSON(const Variables& variables)
{
    auto object = Json::Value::object();
    for (auto& [name, value] : variables)
        object[name] = value;
    return object;
}

Json::Value toJSON(const Modifier& modifier)
{
    auto object = Json::Value::object();
    Json::putOptional(object, "arg", modifier.arg);
    Json::putOptional(object, "subtitle", modifier.subtitle);
    if (modifier.valid)
        object["valid"] = *modifier.valid;
    if (modifier.variables)
        object["variables"] = toJSON(*modifier.variables);
    return object;
}

} // namespace

const ScriptFilterItem::Modifier* ScriptFilterItem::modifier(ConnectionModifier held) const
{
    auto find = [&](const char* key) -> const Modifier* {
        auto found = mods.find(key);
        return found == mods.end() ? nullptr : &found->second;
    };
    switch (held) {
    case ConnectionModifier::none:
        return nullptr;
    case ConnectionModifier::command:
        return find("cmd");
    case ConnectionModifier::option:
        if (auto* alt = find("alt"))
            return alt;
        return find("opt");
    case ConnectionModifier::control:
        return find("ctrl");
    case ConnectionModifier::shift:
        return find("shift");
    }
    return nullptr;
}

ScriptFilterOutput ScriptFilterOutput::parse(std::string_view data)
{
    if (auto output = decodeOutput(data))
        return std::move(*output);
    return { .items = { { .title = "Script filter returned invalid JSON",
                 .subtitle = firstLine(data),
                 .valid = false } } };
}

ScriptFilterOutput ScriptFilterOutput::ofRun(const ScriptResult& result)
{
    if (result.stdout.empty() && (result.timedOut || result.exitCode != 0)) {
        auto reason = result.timedOut
            ? std::string("Timed out")
            : std::string(trimmedWhitespaceAndNewlines(result.stderrText()));
        return {
            .items
            = { { .title = "Script filter failed", .subtitle = std::move(reason), .valid = false } }
        };
    }
    return parse(result.stdout);
}

Json::Value toJSON(const ScriptFilterItem& item)
{
    auto object = Json::Value::object();
    Json::putOptional(object, "uid", item.uid);
    object["title"] = item.title;
    object["subtitle"] = item.subtitle;
    Json::putOptional(object, "arg", item.arg);
    object["valid"] = item.valid;
    Json::putOptional(object, "autocomplete", item.autocomplete);
    if (item.iconPath)
        object["icon"] = { { "path", *item.iconPath } };
    object["variables"] = toJSON(item.variables);
    if (!item.mods.empty()) {
        auto& mods = object["mods"] = Json::Value::object();
        for (auto& [key, modifier] : item.mods)
            mods[key] = toJSON(modifier);
    }
    Json::putOptional(object, "quicklookurl", item.quicklookURL);
    return object;
}

Json::Value toJSON(const ScriptFilterOutput& output)
{
    auto items = Json::Value::array();
    for (auto& item : output.items)
        items.push_back(toJSON(item));
    Json::Value object { { "items", std::move(items) }, { "variables", toJSON(output.variables) } };
    if (output.rerun)
        object["rerun"] = *output.rerun;
    return object;
}

} // namespace zeph
