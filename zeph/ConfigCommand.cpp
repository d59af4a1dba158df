#include "CommandLine.h"
#include "Storage/AppSettings.h"

#include <charconv>
#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

constexpr std::string_view defaultsMeanwhile = "the defaults apply.";

AppSettings settingsToShow(const GlobalOptions& global)
{
    return documentToShow(
        global.dataFolder(), Paths::settingsFile, AppSettings {}, defaultsMeanwhile);
}

// The value at a dotted path of object keys and array indices, "search.webSearches.0.keyword";
// nothing when the path leads nowhere.
Json::Value* valueAt(Json::Value& document, std::string_view path)
{
    Json::Value* value = &document;
    while (true) {
        auto dot = path.find('.');
        auto component = path.substr(0, dot);
        if (value->is_object()) {
            auto found = value->find(component);
            if (found == value->end())
                return nullptr;
            value = &*found;
        } else if (value->is_array()) {
            std::size_t index = 0;
            auto [end, error] = std::from_chars(component.begin(), component.end(), index);
            if (component.empty() || error != std::errc {} || end != component.end()
                || index >= value->size())
                return nullptr;
            value = &(*value)[index];
        } else {
            return nullptr;
        }
        if (dot == std::string_view::npos)
            return value;
        path.remove_prefix(dot + 1);
    }
}

Error notASetting(const std::string& key)
{
    return Error { "\"" + key + "\" is not a setting; `zeph config` lists them." };
}

// Puts `value` at `key` and reads the whole record back, so that the value must have the type the
// record gives that key. True when the settings changed.
Result<bool> apply(AppSettings& settings, const std::string& key, const Json::Value& value)
{
    auto document = toJSON(settings);
    auto* target = valueAt(document, key);
    if (!target)
        return notASetting(key);
    *target = value;
    auto changed = appSettingsFromJSON(document);
    if (!changed)
        return Error { "\"" + key + "\" cannot take "
            + value.dump(-1, ' ', false, Json::Value::error_handler_t::replace) + ": "
            + changed.error().message };
    if (*changed == settings)
        return false;
    settings = std::move(*changed);
    return true;
}

// Writes through the store under the data folder's lock. The value is tried first on the
// settings as they stand, so that a refused value never reaches the file, nor a change to the
// file that a corrupt document would bring.
int change(const std::string& key, const Json::Value& value, const GlobalOptions& global)
{
    auto current = settingsToShow(global);
    if (auto tried = apply(current, key, value); !tried)
        return fail(tried.error().message);
    std::optional<Error> refusal;
    auto changed = changeReporting(
        global.dataFolder(), Paths::settingsFile, AppSettings {},
        [&](AppSettings& settings) {
            auto applied = apply(settings, key, value);
            if (!applied)
                refusal = applied.error();
            return applied && *applied;
        },
        ", and the settings start from the defaults.");
    if (!changed)
        return fail(changed.error().message);
    if (refusal)
        return fail(refusal->message);
    return success;
}

std::string valueText(const Json::Value& value, bool json)
{
    if (!json && value.is_string())
        return value.get<std::string>();
    return value.dump(-1, ' ', false, Json::Value::error_handler_t::replace);
}

// One line for each value that is not a record, "search.maxResults = 9", in key order.
void printLines(const Json::Value& value, const std::string& path)
{
    if (value.is_object()) {
        for (auto& [key, child] : value.items())
            printLines(child, path.empty() ? key : path + "." + key);
        return;
    }
    std::printf("%s = %s\n", path.c_str(), valueText(value, true).c_str());
}

int print(bool json, const GlobalOptions& global)
{
    auto document = toJSON(settingsToShow(global));
    if (json)
        printJSON(document);
    else
        printLines(document, "");
    return success;
}

int get(const std::string& key, bool json, const GlobalOptions& global)
{
    auto document = toJSON(settingsToShow(global));
    auto* value = valueAt(document, key);
    if (!value)
        return fail(notASetting(key).message);
    std::printf("%s\n", valueText(*value, json).c_str());
    return success;
}

int set(const std::string& key, const std::string& text, const GlobalOptions& global)
{
    auto value = Json::parse(text);
    if (!value)
        return fail("The value for \"" + key
            + "\" must be JSON: a text goes in double quotes, as in '\"" + text + "\"'.");
    return change(key, *value, global);
}

int reset(const std::optional<std::string>& key, const GlobalOptions& global)
{
    if (key) {
        auto defaults = toJSON(AppSettings {});
        auto* value = valueAt(defaults, *key);
        if (!value)
            return fail(notASetting(*key).message);
        return change(*key, *value, global);
    }
    auto changed = changeReporting(
        global.dataFolder(), Paths::settingsFile, AppSettings {},
        [](AppSettings& settings) {
            settings = AppSettings {};
            return true;
        },
        ".");
    return changed ? success : fail(changed.error().message);
}

struct ConfigOptions {
    bool json = false;
    std::string key {};
    std::string value {};
    std::optional<std::string> resetKey {};
};

} // namespace

void addConfigCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto options = std::make_shared<ConfigOptions>();
    auto* config = app.add_subcommand("config",
        "Print the effective settings: settings.json merged over the defaults, one line for each "
        "value (KEY = JSON), or change them.");
    config->require_subcommand(0, 1);
    config->add_flag("--json", options->json, "The whole settings as one JSON object");

    auto* getCommand = config->add_subcommand("get",
        "Print one value: a text as it is, anything else as JSON. KEY is a dotted path, such as "
        "search.maxResults or search.webSearches.0.keyword.");
    getCommand->add_flag("--json", options->json, "Print a text as JSON too");
    getCommand->add_option("key", options->key, "The dotted path of the value")->required();
    getCommand->callback([&action, &global, options] {
        action = [&global, options] { return get(options->key, options->json, global); };
    });

    auto* setCommand = config->add_subcommand("set",
        "Change one value in settings.json, under the data folder's lock. The value is JSON and "
        "must have the setting's type (a text in double quotes: '\"paper\"'); anything else is "
        "refused and the file stays as it was.");
    setCommand->add_option("key", options->key, "The dotted path of the value")->required();
    setCommand->add_option("value", options->value, "The new value as JSON")->required();
    setCommand->callback([&action, &global, options] {
        action = [&global, options] { return set(options->key, options->value, global); };
    });

    auto* resetCommand = config->add_subcommand(
        "reset", "Put one value, or without KEY every value, back to its default.");
    resetCommand->add_option("key", options->resetKey, "The dotted path of the value");
    resetCommand->callback([&action, &global, options] {
        action = [&global, options] { return reset(options->resetKey, global); };
    });

    config->callback([&action, &global, config, options] {
        if (config->get_subcommands().empty())
            action = [&global, options] { return print(options->json, global); };
    });
}

} // namespace zeph::CommandLine
