#pragma once

#include "Support/EnumTable.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// A colour with channels from 0 to 1; in documents one text, "#RRGGBBAA".
struct ThemeColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
    bool operator==(const ThemeColor&) const = default;

    // "#RGB", "#RRGGBB" (opaque) or "#RRGGBBAA", with or without "#" and surrounding whitespace;
    // nothing for any other text.
    static std::optional<ThemeColor> parse(std::string_view hex);
    // Upper-case "#RRGGBBAA", each channel capped to the range 0 to 1 first.
    std::string hexText() const;
};

// How the panel's background is drawn: translucent where a compositor runs, else opaque.
enum class ThemeMaterial { liquidGlass, clearGlass, vibrancy, solid };
template <>
inline constexpr auto
    enumNames<ThemeMaterial> = std::to_array<std::pair<ThemeMaterial, std::string_view>>({
        { ThemeMaterial::liquidGlass, "liquidGlass" },
        { ThemeMaterial::clearGlass, "clearGlass" },
        { ThemeMaterial::vibrancy, "vibrancy" },
        { ThemeMaterial::solid, "solid" },
    });
static_assert(isCompleteEnumTable<ThemeMaterial>());

// `system` follows the desktop's colour scheme.
enum class ThemeAppearance { system, light, dark };
template <>
inline constexpr auto
    enumNames<ThemeAppearance> = std::to_array<std::pair<ThemeAppearance, std::string_view>>({
        { ThemeAppearance::system, "system" },
        { ThemeAppearance::light, "light" },
        { ThemeAppearance::dark, "dark" },
    });
static_assert(isCompleteEnumTable<ThemeAppearance>());

// Every colour of the panel; strict on reading, each key required.
struct ThemePalette {
    ThemeColor background {};
    ThemeColor border {};
    ThemeColor searchText {};
    ThemeColor placeholder {};
    ThemeColor title {};
    ThemeColor subtitle {};
    ThemeColor selectionBackground {};
    ThemeColor selectionTitle {};
    ThemeColor selectionSubtitle {};
    ThemeColor highlight {};
    ThemeColor shortcut {};
    ThemeColor separator {};
    bool operator==(const ThemePalette&) const = default;
};

// The whole look of the panel as data. On reading, "id" and "light" are required and every other
// key may be missing.
struct Theme {
    std::string id {};
    std::string name = "Untitled";
    bool isBuiltIn = false;
    ThemeMaterial material = ThemeMaterial::liquidGlass;
    ThemeAppearance appearance = ThemeAppearance::system;
    ThemePalette light {};
    std::optional<ThemePalette> dark {}; // Without one, the light palette serves both.
    std::optional<std::string> fontName {}; // A fontconfig family; without one, the system font.
    double searchFontSize = 26;
    double titleFontSize = 17;
    double subtitleFontSize = 12;
    double width = 680;
    double cornerRadius = 26;
    double rowHeight = 52;
    double iconSize = 34;
    std::int64_t visibleRows = 8;
    double borderWidth = 1;
    bool showsShortcuts = true;
    bool showsSubtitles = true;
    bool operator==(const Theme&) const = default;

    // A custom copy to edit: a new UUID as id, " Copy" after the name.
    Theme duplicate() const;
};

namespace BuiltInThemes {

inline constexpr std::string_view defaultThemeID = "liquid-glass";

// The eight themes that ship, in the order the settings list them; the first is the default.
const std::vector<Theme>& all();
const Theme& defaultTheme();

} // namespace BuiltInThemes

// The user's own themes, "themes.json", beside the built-in ones.
struct ThemeLibrary {
    std::vector<Theme> custom {};
    bool operator==(const ThemeLibrary&) const = default;

    // The built-in themes, then the custom ones.
    std::vector<Theme> all() const;
    // The theme with `id`, built-in ones first; nothing for an unknown id.
    const Theme* find(std::string_view id) const;
    // The theme with `id`, else the default theme, so that a removed theme never leaves the panel
    // without one.
    const Theme& theme(std::string_view id) const;
    // Replaces the custom theme with the same id in place, else appends; a theme with a built-in
    // theme's id changes nothing.
    void save(Theme theme);
    void remove(std::string_view id);
};

Json::Value toJSON(const ThemeColor& color);
Json::Value toJSON(const ThemePalette& palette);
Json::Value toJSON(const Theme& theme);
Result<ThemeColor> themeColorFromJSON(const Json::Value& json);
Result<ThemePalette> themePaletteFromJSON(const Json::Value& json);
Result<Theme> themeFromJSON(const Json::Value& json);

// "themes.json": the custom themes as an array.
template <> struct DocumentCoding<ThemeLibrary> {
    static Json::Value encode(const ThemeLibrary& library);
    static Result<ThemeLibrary> decode(const Json::Value& json);
};

} // namespace zeph
