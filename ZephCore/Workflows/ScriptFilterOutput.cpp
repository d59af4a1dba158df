#include "Workflows/ScriptFilterOutput.h"

#include "Support/Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <vector>

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

// Whole numbers read as integers, "42" and not "42.0".
std::optional<std::string> argumentText(double number)
{
    if (!std::isfinite(number))
        return std::nullopt;
    if (number == std::trunc(number) && number >= -0x1p63 && number < 0x1p63)
        return std::to_string(static_cast<std::int64_t>(number));
    return decimalText(number);
}

// Always in floating point form, so that 1 is "1.0" as a variable while it is "1" as an argument.
std::string variableText(double number)
{
    auto text = decimalText(number);
    if (text.find_first_of(".e") == std::string::npos)
        text += ".0";
    return text;
}

// What a value is for, decided by where it stands: the key it is under and what holds it.
enum class Slot {
    output,
    items,
    item,
    rerun,
    uid,
    title,
    subtitle,
    valid,
    autocomplete,
    quicklookURL,
    itemArgument,
    icon,
    iconPath,
    mods,
    modifier,
    modifierArgument,
    modifierSubtitle,
    modifierValid,
    outputVariables,
    itemVariables,
    modifierVariables,
    variable, // One value of a variables map.
    argumentText, // One element of a list given as an argument.
    ignored, // Under a key nobody reads.
};

// A variables map as it is read: all texts, all numbers or all booleans, or nothing at all.
class TolerantVariables {
public:
    void start()
    {
        m_values.clear();
        m_kinds.clear();
    }
    void add(std::string name, Json::Value::value_t kind, std::string text)
    {
        m_values.insert_or_assign(name, std::move(text));
        m_kinds.insert_or_assign(std::move(name), kind);
    }
    std::optional<Variables> finish()
    {
        for (auto& [name, kind] : m_kinds) {
            if (kind != m_kinds.begin()->second || kind == Json::Value::value_t::null)
                return std::nullopt;
        }
        return std::move(m_values);
    }

private:
    Variables m_values;
    // A number's kind is value_t::number_float whatever its form; null stands for any other type.
    std::map<std::string, Json::Value::value_t, std::less<>> m_kinds;
};

// Reads the output straight from the parser's events into the records, with no document tree in
// between: building the tree of 500 rows took longer than reading it. Any value of the wrong type
// where the format is strict stops the parse, which then fails as a whole.
class OutputReader final : public nlohmann::json_sax<Json::Value> {
public:
    std::optional<ScriptFilterOutput> read(std::string_view data)
    {
        if (!Json::Value::sax_parse(data, this) || !m_isDone)
            return std::nullopt;
        if (m_output.rerun)
            m_output.rerun = std::clamp(*m_output.rerun, ScriptFilterOutput::minimumRerun,
                ScriptFilterOutput::maximumRerun);
        return std::move(m_output);
    }

    bool null() override { return scalar(Json::Value::value_t::null, {}, 0); }
    bool boolean(bool value) override
    {
        return scalar(Json::Value::value_t::boolean, value ? "true" : "false", value);
    }
    bool number_integer(number_integer_t value) override
    {
        return number(static_cast<double>(value));
    }
    bool number_unsigned(number_unsigned_t value) override
    {
        return number(static_cast<double>(value));
    }
    bool number_float(number_float_t value, const string_t&) override { return number(value); }
    bool string(string_t& value) override
    {
        return scalar(Json::Value::value_t::string, std::move(value), 0);
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(Json::Value::value_t::object); }
    bool start_array(std::size_t) override { return open(Json::Value::value_t::array); }
    bool key(string_t& key) override
    {
        if (m_skippedDepth == 0)
            m_frames.back().key = std::move(key);
        return true;
    }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override
    {
        return false;
    }

private:
    struct Frame {
        Slot slot = Slot::output;
        std::string key {};
    };

    ScriptFilterItem& item() { return m_output.items.back(); }

    Slot slotOfNextValue() const
    {
        if (m_frames.empty())
            return Slot::output;
        auto& [slot, key] = m_frames.back();
        switch (slot) {
        case Slot::output:
            return key == "items"    ? Slot::items
                : key == "variables" ? Slot::outputVariables
                : key == "rerun"     ? Slot::rerun
                                     : Slot::ignored;
        case Slot::items:
            return Slot::item;
        case Slot::item: {
            static const std::map<std::string, Slot, std::less<>> itemSlots {
                { "uid", Slot::uid },
                { "title", Slot::title },
                { "subtitle", Slot::subtitle },
                { "arg", Slot::itemArgument },
                { "valid", Slot::valid },
                { "autocomplete", Slot::autocomplete },
                { "icon", Slot::icon },
                { "variables", Slot::itemVariables },
                { "mods", Slot::mods },
                { "quicklookurl", Slot::quicklookURL },
            };
            auto found = itemSlots.find(key);
            return found == itemSlots.end() ? Slot::ignored : found->second;
        }
        case Slot::icon:
            return key == "path" ? Slot::iconPath : Slot::ignored;
        case Slot::mods:
            return Slot::modifier;
        case Slot::modifier:
            return key == "arg"      ? Slot::modifierArgument
                : key == "subtitle"  ? Slot::modifierSubtitle
                : key == "valid"     ? Slot::modifierValid
                : key == "variables" ? Slot::modifierVariables
                                     : Slot::ignored;
        case Slot::outputVariables:
        case Slot::itemVariables:
        case Slot::modifierVariables:
            return Slot::variable;
        case Slot::itemArgument:
        case Slot::modifierArgument:
            return Slot::argumentText;
        default:
            return Slot::ignored;
        }
    }

    // Every number counts as floating point, as JSON has only the one kind of number.
    bool number(double value) { return scalar(Json::Value::value_t::number_float, {}, value); }

    // A value that holds no other: its type is all there is to check. `number` carries a number,
    // and `text` a text or the words of a boolean.
    bool scalar(Json::Value::value_t type, std::string text, double number)
    {
        using Type = Json::Value::value_t;
        if (m_skippedDepth > 0)
            return true;
        bool isNull = type == Type::null;
        bool isText = type == Type::string;
        bool isBoolean = type == Type::boolean;
        auto optionalText = [&](std::optional<std::string>& field) {
            if (isText)
                field = std::move(text);
            else if (isNull)
                field.reset();
            return isText || isNull;
        };
        auto argument = [&]() -> std::optional<std::string> {
            if (isText)
                return std::move(text);
            if (type == Type::number_float)
                return argumentText(number);
            return std::nullopt;
        };
        switch (auto slot = slotOfNextValue()) {
        case Slot::output:
        case Slot::item:
        case Slot::modifier:
            return false;
        case Slot::items:
        case Slot::mods:
            return isNull;
        case Slot::rerun:
            if (type == Type::number_float)
                m_output.rerun = number;
            else if (!isNull)
                return false;
            return true;
        case Slot::uid:
            return optionalText(item().uid);
        case Slot::autocomplete:
            return optionalText(item().autocomplete);
        case Slot::quicklookURL:
            return optionalText(item().quicklookURL);
        case Slot::modifierSubtitle:
            return optionalText(m_modifier->subtitle);
        case Slot::title:
        case Slot::subtitle:
            if (isText)
                (slot == Slot::title ? item().title : item().subtitle) = std::move(text);
            return isText || isNull;
        case Slot::valid:
            if (isBoolean)
                item().valid = number != 0;
            return isBoolean || isNull;
        case Slot::modifierValid:
            if (isBoolean)
                m_modifier->valid = number != 0;
            return isBoolean || isNull;
        case Slot::itemArgument:
            item().arg = argument();
            return true;
        case Slot::modifierArgument:
            m_modifier->arg = argument();
            return true;
        case Slot::icon:
            item().iconPath.reset();
            return true;
        case Slot::iconPath:
            if (isText)
                item().iconPath = std::move(text);
            return true;
        case Slot::outputVariables:
        case Slot::itemVariables:
        case Slot::modifierVariables:
            setVariables(slot, std::nullopt);
            return true;
        case Slot::variable: {
            bool isNumber = type == Type::number_float && std::isfinite(number);
            if (isNumber)
                text = variableText(number);
            m_variables.add(m_frames.back().key,
                isText || isBoolean || isNumber ? type : Type::null, std::move(text));
            return true;
        }
        case Slot::argumentText:
            if (isText)
                m_argumentTexts.append(m_argumentTexts.empty() && m_isFirstText ? "" : "\n")
                    .append(text);
            m_isFirstText = false;
            m_argumentIsTexts = m_argumentIsTexts && isText;
            return true;
        case Slot::ignored:
            return true;
        }
        return true;
    }

    bool open(Json::Value::value_t type)
    {
        if (m_skippedDepth > 0) {
            ++m_skippedDepth;
            return true;
        }
        bool isObject = type == Json::Value::value_t::object;
        auto skip = [&] {
            ++m_skippedDepth;
            return true;
        };
        auto enter = [&](Slot slot) {
            m_frames.push_back({ .slot = slot });
            return true;
        };
        switch (auto slot = slotOfNextValue()) {
        case Slot::output:
        case Slot::mods:
            return isObject && enter(slot);
        case Slot::items:
            return !isObject && enter(slot);
        case Slot::item:
            if (!isObject)
                return false;
            m_output.items.emplace_back();
            return enter(slot);
        case Slot::modifier:
            if (!isObject)
                return false;
            m_modifier = &(item().mods[m_frames.back().key] = {});
            return enter(slot);
        case Slot::rerun:
        case Slot::uid:
        case Slot::title:
        case Slot::subtitle:
        case Slot::valid:
        case Slot::autocomplete:
        case Slot::quicklookURL:
        case Slot::modifierSubtitle:
        case Slot::modifierValid:
            return false;
        case Slot::itemArgument:
        case Slot::modifierArgument:
            if (isObject) {
                (slot == Slot::itemArgument ? item().arg : m_modifier->arg).reset();
                return skip();
            }
            m_argumentTexts.clear();
            m_isFirstText = true;
            m_argumentIsTexts = true;
            return enter(slot);
        case Slot::icon:
            item().iconPath.reset();
            return isObject ? enter(slot) : skip();
        case Slot::outputVariables:
        case Slot::itemVariables:
        case Slot::modifierVariables:
            if (!isObject) {
                setVariables(slot, std::nullopt);
                return skip();
            }
            m_variables.start();
            return enter(slot);
        case Slot::variable:
            m_variables.add(m_frames.back().key, Json::Value::value_t::null, {});
            return skip();
        case Slot::argumentText:
            m_argumentIsTexts = false;
            m_isFirstText = false;
            return skip();
        case Slot::iconPath:
        case Slot::ignored:
            return skip();
        }
        return skip();
    }

    bool close()
    {
        if (m_skippedDepth > 0) {
            --m_skippedDepth;
            return true;
        }
        auto slot = m_frames.back().slot;
        m_frames.pop_back();
        switch (slot) {
        case Slot::output:
            m_isDone = true;
            break;
        case Slot::itemArgument:
        case Slot::modifierArgument:
            (slot == Slot::itemArgument ? item().arg : m_modifier->arg)
                = m_argumentIsTexts ? std::optional(std::move(m_argumentTexts)) : std::nullopt;
            break;
        case Slot::outputVariables:
        case Slot::itemVariables:
        case Slot::modifierVariables:
            setVariables(slot, m_variables.finish());
            break;
        default:
            break;
        }
        return true;
    }

    // A map that matches none of the forms is no map: the empty one for the output and an item,
    // nothing for a modifier.
    void setVariables(Slot slot, std::optional<Variables> variables)
    {
        if (slot == Slot::outputVariables)
            m_output.variables = std::move(variables).value_or(Variables {});
        else if (slot == Slot::itemVariables)
            item().variables = std::move(variables).value_or(Variables {});
        else
            m_modifier->variables = std::move(variables);
    }

    ScriptFilterOutput m_output;
    std::vector<Frame> m_frames;
    std::size_t m_skippedDepth = 0;
    ScriptFilterItem::Modifier* m_modifier = nullptr;
    TolerantVariables m_variables;
    std::string m_argumentTexts;
    bool m_isFirstText = true;
    bool m_argumentIsTexts = true;
    bool m_isDone = false;
};

std::optional<ScriptFilterOutput> decodeOutput(std::string_view data)
{
    return OutputReader().read(data);
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
    // A script that had nothing to say found nothing: no rows, not an error.
    if (result.stdout.empty())
        return {};
    return parse(result.stdout);
}

const ScriptFilterItem* ScriptFilterOutput::firstActionableItem() const
{
    for (auto& item : items) {
        if (item.valid && item.arg)
            return &item;
    }
    return nullptr;
}

Variables ScriptFilterOutput::variablesOfChoice(const ScriptFilterItem& item) const
{
    auto chosen = variables;
    for (auto& [name, value] : item.variables)
        chosen.insert_or_assign(name, value);
    return chosen;
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
