// The settings and themes commands of the built zeph, each run against a temporary data folder.
#include "cli/DataFolder.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using CommandLineTesting::DataFolder;
using zeph::readFile;

using CommandLineTesting::json;
using CommandLineTesting::lines;

void writeSettings(const DataFolder& run, const std::string& text)
{
    std::filesystem::create_directories(run.path());
    std::ofstream(run.path() / "settings.json") << text;
}

std::string settingsFile(const DataFolder& run)
{
    return readFile(run.path() / "settings.json");
}

} // namespace

TEST(ConfigCommand, PrintsTheDocumentMergedOverTheDefaults)
{
    DataFolder run;
    auto defaults = json(run({ "config", "--json" }).output);
    EXPECT_EQ(defaults["themeID"], "liquid-glass");
    EXPECT_EQ(defaults["hotkey"], json(R"({"keyCode": 49, "modifiers": 2})"));
    EXPECT_EQ(defaults["search"]["excludedPaths"].size(), 5u);
    EXPECT_EQ(defaults["search"]["webSearches"].size(), 8u);
    EXPECT_EQ(defaults["search"]["indexFileContents"], true);
    // Reading creates no document.
    EXPECT_FALSE(std::filesystem::exists(run.path() / "settings.json"));

    writeSettings(run, R"({"themeID": "paper", "search": {"maxResults": 5, "later": 1}})");
    auto merged = json(run({ "config", "--json" }).output);
    auto expected = defaults;
    expected["themeID"] = "paper";
    expected["search"]["maxResults"] = 5;
    EXPECT_EQ(merged, expected);

    auto text = run({ "config" });
    EXPECT_EQ(text.exitCode, 0);
    auto printed = lines(text.output);
    for (auto* line : { "themeID = \"paper\"", "search.maxResults = 5",
             "search.fileResultLimit = 3", "hotkey.keyCode = 49", "verticalPosition = 0.22",
             "clipboard.maxItems = 200", "snippets.launcherKeyword = \"snip\"" }) {
        SCOPED_TRACE(line);
        EXPECT_NE(std::find(printed.begin(), printed.end(), line), printed.end());
    }
}

TEST(ConfigCommand, GetFollowsDottedPaths)
{
    DataFolder run;
    writeSettings(run, R"({"themeID": "paper", "search": {"maxResults": 5}})");
    struct Case {
        std::vector<std::string> arguments;
        const char* output;
    };
    const Case cases[] = {
        { { "search.maxResults" }, "5\n" },
        { { "themeID" }, "paper\n" },
        { { "--json", "themeID" }, "\"paper\"\n" },
        { { "search.webSearches.1.keyword" }, "ddg\n" },
        { { "search.fileScopes" }, "[\"~\"]\n" },
        { { "hotkey" }, "{\"keyCode\":49,\"modifiers\":2}\n" },
        { { "search.showFallbacks" }, "true\n" },
    };
    for (auto& testCase : cases) {
        auto arguments = std::vector<std::string> { "config", "get" };
        arguments.insert(arguments.end(), testCase.arguments.begin(), testCase.arguments.end());
        SCOPED_TRACE(arguments.back());
        auto got = run(arguments);
        EXPECT_EQ(got.exitCode, 0);
        EXPECT_EQ(got.output, testCase.output);
    }
    for (auto* key : { "search.nothing", "search.webSearches.8", "search.webSearches.-1",
             "search.webSearches.x", "themeID.x", "search.", "", "Search.maxResults" }) {
        SCOPED_TRACE(key);
        auto got = run({ "config", "get", "--", key });
        EXPECT_EQ(got.exitCode, 2);
        EXPECT_EQ(got.output, "");
        EXPECT_EQ(got.errors,
            std::string("zeph: \"") + key + "\" is not a setting; `zeph config` lists them.\n");
    }
}

TEST(ConfigCommand, SetChecksTheTypeAndRefusalsLeaveTheFileAlone)
{
    DataFolder run;
    writeSettings(run, R"({"themeID": "paper"})");
    struct Case {
        const char* key;
        const char* value;
        const char* error;
    };
    const Case refused[] = {
        { "search.maxResults", "\"many\"",
            "zeph: \"search.maxResults\" cannot take \"many\": search: \"maxResults\" must be a "
            "whole number.\n" },
        { "search.maxResults", "5.5", nullptr },
        { "search.fileCategories", "[\"music\"]", nullptr },
        { "search.webSearches.0.url", "null", nullptr },
        { "hotkey", "\"opt+space\"", nullptr },
        { "launchAtLogin", "1", nullptr },
        { "themeID", "paper",
            "zeph: The value for \"themeID\" must be JSON: a text goes in double quotes, as in "
            "'\"paper\"'.\n" },
        { "nothing", "1", "zeph: \"nothing\" is not a setting; `zeph config` lists them.\n" },
    };
    for (auto& testCase : refused) {
        SCOPED_TRACE(std::string(testCase.key) + " " + testCase.value);
        auto set = run({ "config", "set", testCase.key, testCase.value });
        EXPECT_EQ(set.exitCode, 2);
        if (testCase.error) {
            EXPECT_EQ(set.errors, testCase.error);
        }
        EXPECT_EQ(settingsFile(run), R"({"themeID": "paper"})");
    }

    const Case accepted[] = {
        { "search.maxResults", "12", nullptr },
        { "keepQuerySeconds", "30", nullptr },
        { "hotkey", R"({"keyCode": 40, "modifiers": 9})", nullptr },
        { "search.fileCategories", R"(["images", "pdfs"])", nullptr },
        { "search.webSearches.0.isEnabled", "false", nullptr },
        { "clipboard.excludedBundleIDs", "[]", nullptr },
    };
    for (auto& testCase : accepted) {
        SCOPED_TRACE(testCase.key);
        EXPECT_EQ(run({ "config", "set", testCase.key, testCase.value }).exitCode, 0);
        EXPECT_EQ(
            json(run({ "config", "get", "--json", testCase.key }).output), json(testCase.value));
    }
    // The file now holds every key, sorted, with the earlier value kept.
    auto saved = json(settingsFile(run));
    EXPECT_EQ(saved, json(run({ "config", "--json" }).output));
    EXPECT_EQ(saved["themeID"], "paper");
    EXPECT_EQ(saved["search"]["maxResults"], 12);
    EXPECT_EQ(saved["keepQuerySeconds"], 30.0);
}

TEST(ConfigCommand, ResetPutsOneValueOrAllBack)
{
    DataFolder run;
    auto defaults = json(run({ "config", "--json" }).output);
    run({ "config", "set", "search.maxResults", "4" });
    run({ "config", "set", "themeID", "\"terminal\"" });
    run({ "config", "set", "search.webSearches.2.keyword", "\"hub\"" });

    EXPECT_EQ(run({ "config", "reset", "search.webSearches.2" }).exitCode, 0);
    EXPECT_EQ(run({ "config", "get", "search.webSearches.2.keyword" }).output, "gh\n");
    EXPECT_EQ(run({ "config", "reset", "search.maxResults" }).exitCode, 0);
    EXPECT_EQ(run({ "config", "get", "search.maxResults" }).output, "9\n");
    EXPECT_EQ(run({ "config", "get", "themeID" }).output, "terminal\n");
    EXPECT_EQ(run({ "config", "reset", "search.nothing" }).exitCode, 2);

    EXPECT_EQ(run({ "config", "reset" }).exitCode, 0);
    EXPECT_EQ(json(settingsFile(run)), defaults);
}

TEST(ConfigCommand, ACorruptDocumentShowsTheDefaultsAndIsSetAsideByTheNextChange)
{
    DataFolder run;
    writeSettings(run, R"({"search": {"maxResults": "many"}, "themeID": "paper"})");
    auto shown = run({ "config", "get", "themeID" });
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_EQ(shown.output, "liquid-glass\n");
    EXPECT_NE(
        shown.errors.find("settings.json is not valid: search: \"maxResults\""), std::string::npos)
        << shown.errors;
    EXPECT_EQ(settingsFile(run), R"({"search": {"maxResults": "many"}, "themeID": "paper"})");

    auto changed = run({ "config", "set", "learningEnabled", "false" });
    EXPECT_EQ(changed.exitCode, 0);
    EXPECT_NE(changed.errors.find("moved aside to settings.json.corrupt"), std::string::npos);
    EXPECT_EQ(readFile(run.path() / "settings.json.corrupt"),
        R"({"search": {"maxResults": "many"}, "themeID": "paper"})");
    EXPECT_EQ(json(settingsFile(run))["learningEnabled"], false);
    EXPECT_EQ(json(settingsFile(run))["themeID"], "liquid-glass");
}

TEST(ConfigCommand, ConcurrentChangesLoseNothing)
{
    DataFolder run;
    const std::vector<std::pair<std::string, std::string>> changes {
        { "launchAtLogin", "true" },
        { "showMenuBarIcon", "false" },
        { "search.maxResults", "4" },
        { "clipboard.maxItems", "7" },
        { "snippets.launcherKeyword", "\"x\"" },
        { "verticalPosition", "0.5" },
    };
    auto statuses = CommandLineTesting::inParallel(changes.size(), [&](std::size_t index) {
        auto& [key, value] = changes[index];
        return run({ "config", "set", key, value }).exitCode;
    });
    EXPECT_EQ(statuses, std::vector<int>(changes.size(), 0));
    for (auto& [key, value] : changes) {
        SCOPED_TRACE(key);
        EXPECT_EQ(json(run({ "config", "get", "--json", key }).output), json(value));
    }
}

TEST(ConfigCommand, TheClipboardCommandTakesItsSettingsFromTheSameDocument)
{
    DataFolder run;
    run({ "config", "set", "clipboard.maxItems", "1" });
    run({ "clipboard", "add", "one" });
    run({ "clipboard", "add", "two" });
    EXPECT_EQ(lines(run({ "clipboard", "list" }).output).size(), 1u);
    run({ "config", "set", "clipboard.enabled", "false" });
    run({ "clipboard", "add", "three" });
    EXPECT_EQ(run({ "clipboard", "list", "--json" }).output.find("three"), std::string::npos);
}

TEST(ThemesCommand, ListsBuiltInThenCustomThemesAndShowsOne)
{
    DataFolder run;
    auto listed = run({ "themes" });
    EXPECT_EQ(listed.exitCode, 0);
    auto rows = lines(listed.output);
    ASSERT_EQ(rows.size(), 8u);
    EXPECT_EQ(rows.front(), "liquid-glass\tLiquid Glass\tbuilt-in");
    EXPECT_EQ(rows.back(), "terminal\tTerminal\tbuilt-in");

    std::filesystem::create_directories(run.path());
    auto terminal = json(run({ "themes", "show", "--json", "terminal" }).output);
    EXPECT_EQ(terminal["fontName"], "monospace");
    EXPECT_EQ(terminal["visibleRows"], 9);
    EXPECT_EQ(terminal["light"]["background"], "#0B0F0BFF");
    auto custom = terminal;
    custom["id"] = "mine";
    custom["name"] = "Mine";
    custom["isBuiltIn"] = false;
    custom.erase("visibleRows");
    std::ofstream(run.path() / "themes.json") << nlohmann::json::array({ custom }).dump();

    auto withCustom = run({ "themes", "--json" });
    auto themes = lines(withCustom.output);
    ASSERT_EQ(themes.size(), 9u);
    EXPECT_EQ(json(themes.back())["id"], "mine");
    EXPECT_EQ(json(themes.back())["visibleRows"], 8);
    EXPECT_EQ(lines(run({ "themes" }).output).back(), "mine\tMine\tcustom");

    auto shown = run({ "themes", "show", "mine" });
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_TRUE(shown.output.starts_with("{\n  \"appearance\": \"dark\",\n")) << shown.output;
    EXPECT_EQ(json(shown.output)["name"], "Mine");

    auto unknown = run({ "themes", "show", "removed" });
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.errors, "zeph: No theme has the id \"removed\"; `zeph themes` lists them.\n");
}

TEST(ThemesCommand, ABadColourLeavesOnlyTheBuiltInThemes)
{
    DataFolder run;
    std::filesystem::create_directories(run.path());
    std::ofstream(run.path() / "themes.json")
        << R"([{"id": "a", "light": {"background": "#ABCDE"}}])";
    auto listed = run({ "themes" });
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_EQ(lines(listed.output).size(), 8u);
    EXPECT_NE(listed.errors.find("Invalid colour #ABCDE"), std::string::npos) << listed.errors;
    EXPECT_TRUE(std::filesystem::exists(run.path() / "themes.json"));
}
