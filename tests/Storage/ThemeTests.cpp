#include "Storage/Theme.h"

#include "Storage/AppSettings.h"
#include "Storage/JSONFileStore.h"
#include "Support/RecordTesting.h"
#include "Support/TemporaryDirectory.h"

#include <fstream>
#include <set>

#include <gtest/gtest.h>

namespace zeph {

namespace {

const char* paletteText = R"({"background": "#000000FF", "border": "#111111FF",
    "searchText": "#222222FF", "placeholder": "#333333FF", "title": "#444444FF",
    "subtitle": "#555555FF", "selectionBackground": "#666666FF", "selectionTitle": "#777777FF",
    "selectionSubtitle": "#888888FF", "highlight": "#999999FF", "shortcut": "#AAAAAAFF",
    "separator": "#BBBBBBFF"})";

ThemePalette testPalette()
{
    return themePaletteFromJSON(json(paletteText)).value();
}

// Every field differs from what a missing key gives.
Theme customTheme()
{
    auto dark = testPalette();
    dark.background = *ThemeColor::parse("#FEDCBA98");
    return Theme {
        .id = "mine",
        .name = "Mine",
        .isBuiltIn = true,
        .material = ThemeMaterial::vibrancy,
        .appearance = ThemeAppearance::dark,
        .light = testPalette(),
        .dark = dark,
        .fontName = "monospace",
        .searchFontSize = 30,
        .titleFontSize = 18,
        .subtitleFontSize = 11,
        .width = 720,
        .cornerRadius = 12,
        .rowHeight = 44,
        .iconSize = 28,
        .visibleRows = 6,
        .borderWidth = 2,
        .showsShortcuts = false,
        .showsSubtitles = false,
    };
}

} // namespace

TEST(ThemeColor, ReadsThreeSixAndEightDigits)
{
    struct Case {
        std::string text;
        std::optional<std::string> hex;
    };
    const Case cases[] = {
        { "#abc", "#AABBCCFF" },
        { "AABBCC", "#AABBCCFF" },
        { "#1e1E20ff", "#1E1E20FF" },
        { "  #11223344\n", "#11223344" },
        { "#000", "#000000FF" },
        { "#ABCDE", std::nullopt },
        { "#1234", std::nullopt },
        { "#123456789", std::nullopt },
        { "#GG0000", std::nullopt },
        { "#12 456", std::nullopt },
        { "##abc", std::nullopt },
        { "0xabc", std::nullopt },
        { "-12345", std::nullopt },
        { "", std::nullopt },
        { "#", std::nullopt },
        { "#ab\xff", std::nullopt },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        auto color = ThemeColor::parse(testCase.text);
        EXPECT_EQ(color ? std::optional(color->hexText()) : std::nullopt, testCase.hex);
    }
    auto color = ThemeColor::parse("#FF800033").value();
    EXPECT_EQ(color, (ThemeColor { .red = 1, .green = 128 / 255.0, .blue = 0, .alpha = 0.2 }));
}

TEST(ThemeColor, WritingCapsAndRoundsEachChannel)
{
    struct Case {
        ThemeColor color;
        const char* hex;
    };
    const Case cases[] = {
        { { .red = 1, .green = 1, .blue = 1, .alpha = 1 }, "#FFFFFFFF" },
        { { .red = 1.5, .green = 2, .blue = 100, .alpha = 1.01 }, "#FFFFFFFF" },
        { { .red = 0.5, .green = 0.498, .blue = 0.002, .alpha = 0 }, "#807F0100" },
        { { .red = -1, .green = std::nan(""), .blue = 0, .alpha = 1 }, "#000000FF" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.hex);
        EXPECT_EQ(testCase.color.hexText(), testCase.hex);
    }
    // Every byte survives writing and reading.
    for (int byte = 0; byte < 256; ++byte) {
        ThemeColor color { .red = byte / 255.0, .green = 0, .blue = 0, .alpha = 1 };
        EXPECT_EQ(ThemeColor::parse(color.hexText()), color) << byte;
    }
}

TEST(Theme, MissingKeysTakeTheMetricsAndTheRequiredOnesFail)
{
    auto minimal
        = themeFromJSON(json((std::string(R"({"id": "x", "light": )") + paletteText + "}").c_str()))
              .value();
    EXPECT_EQ(minimal, (Theme { .id = "x", .light = testPalette() }));
    EXPECT_EQ(minimal.name, "Untitled");
    EXPECT_EQ(minimal.material, ThemeMaterial::liquidGlass);
    EXPECT_EQ(minimal.appearance, ThemeAppearance::system);
    EXPECT_FALSE(minimal.dark);
    EXPECT_FALSE(minimal.fontName);
    EXPECT_EQ((std::array { minimal.searchFontSize, minimal.titleFontSize, minimal.subtitleFontSize,
                  minimal.width, minimal.cornerRadius, minimal.rowHeight, minimal.iconSize,
                  minimal.borderWidth }),
        (std::array<double, 8> { 26, 17, 12, 680, 26, 52, 34, 1 }));
    EXPECT_EQ(minimal.visibleRows, 8);
    EXPECT_TRUE(minimal.showsShortcuts && minimal.showsSubtitles);

    // Each optional key, missing or null, takes its default; the two required ones fail.
    auto custom = toJSON(customTheme());
    auto defaults = toJSON(minimal);
    for (auto& [key, value] : custom.items()) {
        SCOPED_TRACE(key);
        for (bool asNull : { false, true }) {
            auto document = custom;
            if (asNull)
                document[key] = nullptr;
            else
                document.erase(key);
            auto decoded = themeFromJSON(document);
            if (key == "id" || key == "light") {
                ASSERT_FALSE(decoded);
                EXPECT_TRUE(decoded.error().message.starts_with("\"" + key + "\" "));
                continue;
            }
            ASSERT_TRUE(decoded) << decoded.error().message;
            auto expected = custom;
            if (defaults.contains(key))
                expected[key] = defaults[key];
            else
                expected.erase(key);
            EXPECT_EQ(toJSON(*decoded), expected);
        }
    }
}

TEST(Theme, AWrongValueFailsTheWholeDocument)
{
    auto valid = toJSON(customTheme());
    struct Case {
        const char* pointer;
        Json::Value value;
        const char* message;
    };
    const Case cases[] = {
        { "/light/background", "#ABCDE", "theme 1: light: background: Invalid colour #ABCDE" },
        { "/dark/separator", "red", "theme 1: dark: separator: Invalid colour red" },
        { "/light/title", 16777215,
            "theme 1: light: \"title\" must be a colour such as \"#1E1E20FF\"." },
        { "/material", "glass", "theme 1: \"glass\" is not a valid \"material\"." },
        { "/appearance", 1, "theme 1: \"appearance\" must be a string." },
        { "/visibleRows", 8.5, "theme 1: \"visibleRows\" must be a whole number." },
        { "/width", "680", "theme 1: \"width\" must be a number." },
        { "/fontName", false, "theme 1: \"fontName\" must be a string." },
        { "/id", 3, "theme 1: \"id\" must be a string." },
        { "/light", "#FFFFFF", "theme 1: light: A palette must be a JSON object." },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.pointer);
        auto theme = valid;
        theme[Json::Value::json_pointer(testCase.pointer)] = testCase.value;
        auto decoded = DocumentCoding<ThemeLibrary>::decode(Json::Value::array({ theme }));
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, testCase.message);
    }
    auto withoutColour = valid;
    withoutColour["light"].erase("highlight");
    EXPECT_EQ(themeFromJSON(withoutColour).error().message, "light: \"highlight\" is missing.");
    EXPECT_EQ(DocumentCoding<ThemeLibrary>::decode(json("{}")).error().message,
        "The themes must be a JSON array.");

    // The store sets such a document aside and the user's library starts empty.
    TemporaryDirectory folder;
    std::ofstream(folder / "themes.json") << R"([{"id": "a", "light": {"background": "#ABCDE"}}])";
    JSONFileStore<ThemeLibrary> store("themes.json", folder.path());
    EXPECT_FALSE(store.load());
    EXPECT_NE(store.lastError()->message.find("Invalid colour #ABCDE"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(folder / "themes.json.corrupt"));
}

TEST(BuiltInThemes, EightThemesWithTheirCharacter)
{
    struct Expected {
        const char* name;
        ThemeMaterial material;
        ThemeAppearance appearance;
        const char* background;
        std::optional<std::string> fontName;
        std::int64_t visibleRows;
    };
    using enum ThemeMaterial;
    const Expected expected[] = {
        { "Liquid Glass", liquidGlass, ThemeAppearance::system, "#FFFFFF1F", std::nullopt, 8 },
        { "Crystal", clearGlass, ThemeAppearance::system, "#FFFFFF0F", std::nullopt, 8 },
        { "Frost", vibrancy, ThemeAppearance::system, "#F5F5F7BF", std::nullopt, 8 },
        { "Graphite", solid, ThemeAppearance::dark, "#1E1E20FF", std::nullopt, 8 },
        { "Midnight", solid, ThemeAppearance::dark, "#14162BFF", std::nullopt, 8 },
        { "Solarized Dark", solid, ThemeAppearance::dark, "#002B36FF", std::nullopt, 8 },
        { "Paper", solid, ThemeAppearance::light, "#FBF8F1FF", "serif", 8 },
        { "Terminal", solid, ThemeAppearance::dark, "#0B0F0BFF", "monospace", 9 },
    };
    auto& themes = BuiltInThemes::all();
    ASSERT_EQ(themes.size(), std::size(expected));
    EXPECT_EQ(themes.front().id, "liquid-glass");
    EXPECT_EQ(&BuiltInThemes::defaultTheme(), &themes.front());
    std::set<std::string> ids;
    for (std::size_t index = 0; index < themes.size(); ++index) {
        auto& theme = themes[index];
        SCOPED_TRACE(theme.name);
        EXPECT_EQ(theme.name, expected[index].name);
        EXPECT_EQ(theme.material, expected[index].material);
        EXPECT_EQ(theme.appearance, expected[index].appearance);
        EXPECT_EQ(theme.light.background.hexText(), expected[index].background);
        EXPECT_EQ(theme.fontName, expected[index].fontName);
        EXPECT_EQ(theme.visibleRows, expected[index].visibleRows);
        EXPECT_TRUE(theme.isBuiltIn && theme.showsShortcuts && theme.showsSubtitles);
        // Themes that follow the desktop carry a palette for each scheme.
        EXPECT_EQ(theme.dark.has_value(), theme.appearance == ThemeAppearance::system);
        EXPECT_TRUE(ids.insert(theme.id).second) << "ids must be unique";
        EXPECT_EQ(themeFromJSON(toJSON(theme)).value(), theme);
    }
}

TEST(ThemeLibrary, LooksUpSavesAndRemoves)
{
    ThemeLibrary library;
    EXPECT_EQ(library.theme("paper").name, "Paper");
    EXPECT_EQ(&library.theme("removed"), &BuiltInThemes::defaultTheme());
    EXPECT_EQ(library.find("removed"), nullptr);
    // A theme the settings name but that was since removed shows the default theme.
    AppSettings settings { .themeID = "mine" };
    library.save(Theme { .id = "mine", .name = "Mine" });
    EXPECT_EQ(library.theme(settings.themeID).name, "Mine");
    library.remove("mine");
    EXPECT_EQ(library.theme(settings.themeID).id, "liquid-glass");

    // A built-in id is refused, a known custom id replaced in place, a new one appended.
    library.save(Theme { .id = "liquid-glass", .name = "Hijack" });
    EXPECT_TRUE(library.custom.empty());
    EXPECT_EQ(library.theme("liquid-glass").name, "Liquid Glass");
    library.save(Theme { .id = "a", .name = "A" });
    library.save(Theme { .id = "b", .name = "B" });
    library.save(Theme { .id = "a", .name = "A2" });
    ASSERT_EQ(library.custom.size(), 2u);
    EXPECT_EQ(library.custom[0].name, "A2");
    EXPECT_EQ(library.custom[1].name, "B");
    auto all = library.all();
    ASSERT_EQ(all.size(), 10u);
    EXPECT_EQ(all[7].id, "terminal");
    EXPECT_EQ(all[8].id, "a");
    library.remove("terminal");
    library.remove("nothing");
    EXPECT_EQ(library.all().size(), 10u);

    auto copy = BuiltInThemes::defaultTheme().duplicate();
    EXPECT_EQ(copy.id.size(), 36u);
    EXPECT_NE(copy.id, BuiltInThemes::defaultTheme().duplicate().id);
    EXPECT_EQ(copy.name, "Liquid Glass Copy");
    EXPECT_FALSE(copy.isBuiltIn);
    copy.id = "liquid-glass";
    copy.name = "Liquid Glass";
    copy.isBuiltIn = true;
    EXPECT_EQ(copy, BuiltInThemes::defaultTheme());
}

TEST(ThemeLibrary, CustomThemesSurviveTheStore)
{
    TemporaryDirectory folder;
    ThemeLibrary library;
    library.save(customTheme());
    library.save(BuiltInThemes::all()[6].duplicate());
    library.save(Theme { .id = "plain" });
    {
        JSONFileStore<ThemeLibrary> store("themes.json", folder.path());
        store.save(library);
        ASSERT_FALSE(store.lastError());
    }
    JSONFileStore<ThemeLibrary> store("themes.json", folder.path());
    EXPECT_EQ(store.load(), library);
    auto text = Json::documentText(DocumentCoding<ThemeLibrary>::encode(library)).value();
    EXPECT_NE(text.find("\"background\": \"#000000FF\""), std::string::npos);
    EXPECT_NE(text.find("\"fontName\": \"serif\""), std::string::npos);
}

} // namespace zeph
