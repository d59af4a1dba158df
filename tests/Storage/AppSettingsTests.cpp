#include "Storage/AppSettings.h"

#include "Storage/JSONFileStore.h"
#include "Support/RecordTesting.h"
#include "Support/TemporaryDirectory.h"

#include <fstream>
#include <pwd.h>

#include <gtest/gtest.h>

namespace zeph {

namespace {

// A record in which every field, nested ones included, differs from its default, so that a key that
// is read into the wrong field or not read at all shows.
AppSettings customSettings()
{
    return AppSettings {
        .hotkey = { .keyCode = 40, .modifiers = KeyCombo::Modifiers::command | KeyCombo::Modifiers::shift },
        .themeID = "paper",
        .launchAtLogin = true,
        .showMenuBarIcon = false,
        .learningEnabled = false,
        .keepQuerySeconds = 30,
        .verticalPosition = 0.5,
        .search = {
            .includeApplications = false,
            .includeSystemSettings = false,
            .includeSystemCommands = false,
            .includeFiles = false,
            .includeCalculator = false,
            .applicationFolders = { "/opt/applications" },
            .fileScopes = { "~/Documents", "/srv" },
            .excludedPaths = {},
            .fileCategories = { FileCategory::pdfs, FileCategory::images },
            .fileResultLimit = 5,
            .maxResults = 20,
            .webSearches = { { .id = "ex", .keyword = "ex", .name = "Example", .url = "https://example.com/?q={query}" } },
            .showFallbacks = false,
            .fileNavigation = false,
            .showHiddenFiles = true,
            .showPreview = false,
            .indexFileContents = false,
        },
        .snippets = { .autoExpand = false,
            .requireWordBoundary = true,
            .restoreClipboard = false,
            .excludedBundleIDs = { "code" },
            .launcherKeyword = "s" },
        .clipboard = { .enabled = false,
            .retentionDays = 7,
            .includeImages = false,
            .keepPinnedForever = false,
            .excludedBundleIDs = {},
            .maxItems = 50 },
        .hasCompletedOnboarding = true,
    };
}

// The keys of an object, as the encoder writes them.
std::vector<std::string> keysOf(const Json::Value& object)
{
    std::vector<std::string> keys;
    for (auto& [key, value] : object.items())
        keys.push_back(key);
    return keys;
}

// A value of another type than `value`.
Json::Value wrongTypeFor(const Json::Value& value)
{
    return value.is_string() ? Json::Value(7) : Json::Value("text");
}

} // namespace

TEST(AppSettings, EmptyDocumentIsTheDefaultRecord)
{
    auto settings = appSettingsFromJSON(json("{}")).value();
    EXPECT_EQ(settings, AppSettings {});
    EXPECT_EQ(std::hash<AppSettings> {}(settings), std::hash<AppSettings> {}(AppSettings {}));

    EXPECT_EQ(settings.hotkey.displayString(), "⌥Space");
    EXPECT_EQ(settings.hotkey.textForm(), "opt+space");
    EXPECT_EQ(settings.themeID, "liquid-glass");
    EXPECT_EQ(settings.verticalPosition, 0.22);
    // Files get at most a third of the rows.
    EXPECT_EQ(settings.search.fileResultLimit, 3);
    EXPECT_EQ(settings.search.maxResults, 9);
    EXPECT_EQ(settings.search.webSearches, WebSearch::defaults());
    EXPECT_EQ(settings.search.fileCategories.size(), 8u);
    EXPECT_EQ(settings.search.fileCategories.back(), FileCategory::other);
    EXPECT_EQ(settings.search.applicationFolders.front(), "~/.local/share/applications");
    EXPECT_EQ(settings.search.fileScopes, std::vector<std::string> { "~" });
    EXPECT_TRUE(settings.search.indexFileContents);
    EXPECT_EQ(settings.clipboard, ClipboardSettings {});
    EXPECT_EQ(settings.snippets, SnippetSettings {});
}

TEST(AppSettings, EachMissingOrNullKeyTakesItsDefaultAndOnlyThat)
{
    auto custom = toJSON(customSettings());
    auto defaults = toJSON(AppSettings {});
    // The path of each nested record, so that its keys are tried one by one too.
    for (const char* section : { "", "search", "snippets", "clipboard" }) {
        auto pointer = Json::Value::json_pointer(*section ? std::string("/") + section : "");
        for (auto& key : keysOf(custom[pointer])) {
            SCOPED_TRACE(std::string(section) + "." + key);
            auto keyPointer = pointer / key;
            ASSERT_NE(custom[keyPointer], defaults[keyPointer]) << "the custom record must differ";
            for (bool asNull : { false, true }) {
                auto document = custom;
                if (asNull)
                    document[keyPointer] = nullptr;
                else
                    document[pointer].erase(key);
                auto decoded = appSettingsFromJSON(document);
                ASSERT_TRUE(decoded) << decoded.error().message;
                auto expected = custom;
                expected[keyPointer] = defaults[keyPointer];
                EXPECT_EQ(toJSON(*decoded), expected);
            }
        }
    }
}

TEST(AppSettings, EachWrongTypeFailsTheWholeDocument)
{
    auto defaults = toJSON(AppSettings {});
    for (const char* section : { "", "search", "snippets", "clipboard" }) {
        auto pointer = Json::Value::json_pointer(*section ? std::string("/") + section : "");
        for (auto& key : keysOf(defaults[pointer])) {
            SCOPED_TRACE(std::string(section) + "." + key);
            auto document = defaults;
            document[pointer / key] = wrongTypeFor(defaults[pointer / key]);
            auto decoded = appSettingsFromJSON(document);
            ASSERT_FALSE(decoded);
            auto& message = decoded.error().message;
            EXPECT_TRUE(message.starts_with(*section ? std::string(section) + ": " : ""))
                << message;
            EXPECT_NE(message.find(key), std::string::npos) << message;
        }
    }

    struct Case {
        const char* document;
        const char* message;
    };
    const Case cases[] = {
        { R"({"search": {"maxResults": "5"}})", "search: \"maxResults\" must be a whole number." },
        { R"({"search": {"maxResults": 5.5}})", "search: \"maxResults\" must be a whole number." },
        { R"({"search": {"fileCategories": ["folders", "music"]}})",
            "search: fileCategories: file category 2: \"music\" is not a file category." },
        { R"({"search": {"fileCategories": "images"}})",
            "search: fileCategories: The file categories must be a JSON array." },
        { R"({"search": {"webSearches": [{"id": "a", "keyword": "a", "name": "A"}]}})",
            "search: webSearches: web search 1: \"url\" is missing." },
        { R"({"search": {"excludedPaths": ["~/.cache", 3]}})",
            "search: \"excludedPaths\" must be an array of strings." },
        { R"({"hotkey": {"keyCode": 49}})", "hotkey: \"modifiers\" is missing." },
        { R"({"search": []})", "search: The search settings must be a JSON object." },
        { R"({"clipboard": {"maxItems": true}})",
            "clipboard: \"maxItems\" must be a whole number." },
        { R"([])", "The settings must be a JSON object." },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.document);
        auto decoded = appSettingsFromJSON(json(testCase.document));
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, testCase.message);
    }
}

TEST(AppSettings, OldAndNewerFilesLoadAndTheNextSaveWritesEveryKey)
{
    auto themeOnly = appSettingsFromJSON(json(R"({"themeID": "terminal"})")).value();
    EXPECT_EQ(themeOnly, (AppSettings { .themeID = "terminal" }));

    auto document = json(R"({"search": {"maxResults": 5, "laterSetting": [1]}, "later": {}})");
    auto settings = appSettingsFromJSON(document).value();
    EXPECT_EQ(settings.search, (SearchSettings { .maxResults = 5 }));

    TemporaryDirectory folder;
    {
        std::ofstream(folder / "settings.json") << document.dump();
        JSONFileStore<AppSettings> store("settings.json", folder.path());
        EXPECT_EQ(store.load(), settings);
        store.save(*store.load());
    }
    auto saved = Json::parse(readFile(folder / "settings.json")).value();
    EXPECT_FALSE(saved.contains("later"));
    EXPECT_FALSE(saved["search"].contains("laterSetting"));
    EXPECT_EQ(keysOf(saved), keysOf(toJSON(AppSettings {})));
    EXPECT_EQ(keysOf(saved["search"]), keysOf(toJSON(SearchSettings {})));
}

TEST(AppSettings, EveryFieldSurvivesTheStore)
{
    TemporaryDirectory folder;
    auto custom = customSettings();
    EXPECT_EQ(appSettingsFromJSON(toJSON(custom)).value(), custom);
    EXPECT_NE(std::hash<AppSettings> {}(custom), std::hash<AppSettings> {}(AppSettings {}));
    EXPECT_NE(std::hash<SearchSettings> {}(custom.search), std::hash<SearchSettings> {}({}));
    {
        JSONFileStore<AppSettings> store("settings.json", folder.path());
        store.save(custom);
        ASSERT_FALSE(store.lastError());
    }
    JSONFileStore<AppSettings> store("settings.json", folder.path());
    EXPECT_EQ(store.load(), custom);
}

TEST(AppSettings, AnUndecodableFileIsSetAsideAndTheDefaultsServe)
{
    for (const char* bytes : { R"({"search": {"maxResults": "many"}})",
             R"({"search": {"fileCategories": ["music"]}})", "{\"themeID\": " }) {
        SCOPED_TRACE(bytes);
        TemporaryDirectory folder;
        std::ofstream(folder / "settings.json") << bytes;
        JSONFileStore<AppSettings> store("settings.json", folder.path());
        EXPECT_EQ(store.load().value_or(AppSettings {}), AppSettings {});
        EXPECT_TRUE(store.lastError());
        EXPECT_FALSE(std::filesystem::exists(folder / "settings.json"));
        EXPECT_EQ(readFile(folder / "settings.json.corrupt"), bytes);
    }
}

TEST(SearchSettings, ExcludedPathsCoverThemselvesAndWhatLiesInside)
{
    struct Case {
        std::vector<std::string> excluded;
        const char* home;
        const char* path;
        bool isExcluded;
    };
    const std::vector<std::string> library { "~/Library", "~/.Trash" };
    const std::vector<std::string> linux = SearchSettings {}.excludedPaths;
    const Case cases[] = {
        { library, "/Users/a", "/Users/a/Library", true },
        { library, "/Users/a", "/Users/a/Library/Caches", true },
        { library, "/Users/a", "/Users/a/LibraryOld", false },
        { library, "/Users/a", "/Users/a/.Trash/old.txt", true },
        { library, "/Users/a", "/Users/a", false },
        { library, "/Users/a", "/Users/b/Library", false },
        // A trailing "/" is not doubled, and an entry equal to the path counts.
        { { "/srv/data/" }, "/home/u", "/srv/data/x", true },
        { { "/srv/data/" }, "/home/u", "/srv/data/", true },
        { { "/srv/data/" }, "/home/u", "/srv/data", false },
        { {}, "/home/u", "/home/u/.cache", false },
        { linux, "/home/u", "/home/u/.cache", true },
        { linux, "/home/u", "/home/u/.cache/fontconfig/x", true },
        { linux, "/home/u", "/home/u/.config/zeph", true },
        { linux, "/home/u", "/home/u/.local/share/Zeph Launcher/settings.json", true },
        { linux, "/home/u", "/home/u/.var/app/org.example", true },
        { linux, "/home/u", "/home/u/snap/firefox", true },
        { linux, "/home/u", "/home/u/.cachedir", false },
        { linux, "/home/u", "/home/u/Documents/.cache", false },
        { linux, "/home/u", "/home/u/snapshots", false },
        { linux, "/home/u", "/home/u", false },
        // Entries are expanded, paths are not.
        { linux, "/home/u", "~/.cache", false },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(std::string(testCase.path) + " under " + testCase.home);
        SearchSettings settings { .excludedPaths = testCase.excluded };
        EXPECT_EQ(settings.isExcluded(testCase.path, testCase.home), testCase.isExcluded);
    }
}

TEST(ExpandingTilde, HomeFoldersOfTheUserAndOfOthers)
{
    auto* root = getpwnam("root");
    ASSERT_TRUE(root);
    std::string rootHome = root->pw_dir;
    struct Case {
        const char* path;
        const char* home;
        std::string expanded;
    };
    const Case cases[] = {
        { "~", "/home/u", "/home/u" },
        { "~/", "/home/u", "/home/u/" },
        { "~/a/b", "/home/u", "/home/u/a/b" },
        { "~/a", "/", "/a" },
        { "~/a", "/home/u/", "/home/u/a" },
        { "~root", "/home/u", rootHome },
        { "~root/x", "/home/u", (rootHome == "/" ? "" : rootHome) + "/x" },
        { "~no-such-user-here/x", "/home/u", "~no-such-user-here/x" },
        { "~/a", "", "~/a" },
        { "/usr/~/a", "/home/u", "/usr/~/a" },
        { "a~", "/home/u", "a~" },
        { "", "/home/u", "" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.path);
        EXPECT_EQ(expandingTilde(testCase.path, testCase.home), testCase.expanded);
    }
    EXPECT_EQ(expandingTilde("/plain"), "/plain");
}

TEST(FileCategory, TitlesAndContentTypes)
{
    EXPECT_EQ(title(FileCategory::code), "Source code & text");
    EXPECT_EQ(title(FileCategory::other), "Everything else");
    EXPECT_TRUE(contentTypes(FileCategory::other).empty());
    EXPECT_EQ(contentTypes(FileCategory::documents).size(), 7u);
    EXPECT_EQ(contentTypes(FileCategory::archives).back(), "public.disk-image");
    for (auto category : everyFileCategory) {
        SCOPED_TRACE(toString(category));
        EXPECT_FALSE(title(category).empty());
        EXPECT_EQ(fromString<FileCategory>(toString(category)), category);
    }
}

} // namespace zeph
