#include "Storage/Theme.h"

#include "Support/Text.h"
#include "Support/UUID.h"
#include "Support/Verify.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace zeph {

namespace {

int channelByte(double channel)
{
    // NaN fails both comparisons and becomes 0.
    double capped = channel > 0 ? std::min(channel, 1.0) : 0.0;
    return static_cast<int>(std::lround(capped * 255));
}

// The built-in colours are written as the documents write them, so that they read back exactly.
ThemeColor color(std::string_view hex)
{
    auto parsed = ThemeColor::parse(hex);
    verify(parsed.has_value());
    return *parsed;
}

ThemePalette palette(const std::array<std::string_view, 12>& hex)
{
    return ThemePalette {
        .background = color(hex[0]),
        .border = color(hex[1]),
        .searchText = color(hex[2]),
        .placeholder = color(hex[3]),
        .title = color(hex[4]),
        .subtitle = color(hex[5]),
        .selectionBackground = color(hex[6]),
        .selectionTitle = color(hex[7]),
        .selectionSubtitle = color(hex[8]),
        .highlight = color(hex[9]),
        .shortcut = color(hex[10]),
        .separator = color(hex[11]),
    };
}

std::vector<Theme> makeBuiltInThemes()
{
    auto builtIn
        = [](std::string id, std::string name, ThemeMaterial material, ThemeAppearance appearance,
              ThemePalette light, std::optional<ThemePalette> dark = std::nullopt) {
              return Theme { .id = std::move(id),
                  .name = std::move(name),
                  .isBuiltIn = true,
                  .material = material,
                  .appearance = appearance,
                  .light = light,
                  .dark = dark };
          };
    using enum ThemeMaterial;
    using enum ThemeAppearance;
    std::vector<Theme> themes {
        builtIn("liquid-glass", "Liquid Glass", liquidGlass, system,
            palette({ "#FFFFFF1F", "#FFFFFF59", "#1D1D1FFF", "#3C3C4399", "#1D1D1FFF", "#3C3C43B3",
                "#0A84FFD9", "#FFFFFFFF", "#FFFFFFCC", "#0A84FFFF", "#3C3C4380", "#3C3C4326" }),
            palette({ "#1C1C1E2E", "#FFFFFF26", "#F5F5F7FF", "#EBEBF599", "#F5F5F7FF", "#EBEBF5B3",
                "#0A84FFD9", "#FFFFFFFF", "#FFFFFFCC", "#64D2FFFF", "#EBEBF580", "#FFFFFF1A" })),
        builtIn("crystal", "Crystal", clearGlass, system,
            palette({ "#FFFFFF0F", "#FFFFFF40", "#000000FF", "#00000080", "#000000FF", "#000000A6",
                "#FFFFFF59", "#000000FF", "#000000B3", "#0066CCFF", "#00000073", "#0000001A" }),
            palette({ "#0000000F", "#FFFFFF33", "#FFFFFFFF", "#FFFFFF80", "#FFFFFFFF", "#FFFFFFA6",
                "#FFFFFF33", "#FFFFFFFF", "#FFFFFFCC", "#7FD4FFFF", "#FFFFFF73", "#FFFFFF1A" })),
        builtIn("frost", "Frost", vibrancy, system,
            palette({ "#F5F5F7BF", "#D2D2D780", "#1D1D1FFF", "#86868BFF", "#1D1D1FFF", "#6E6E73FF",
                "#0071E3E6", "#FFFFFFFF", "#FFFFFFCC", "#0071E3FF", "#86868BFF", "#D2D2D799" }),
            palette({ "#2C2C2EBF", "#48484A80", "#F5F5F7FF", "#98989DFF", "#F5F5F7FF", "#AEAEB2FF",
                "#0A84FFE6", "#FFFFFFFF", "#FFFFFFCC", "#64D2FFFF", "#98989DFF", "#48484A99" })),
        builtIn("graphite", "Graphite", solid, dark,
            palette({ "#1E1E20FF", "#3A3A3CFF", "#F2F2F7FF", "#8E8E93FF", "#F2F2F7FF", "#AEAEB2FF",
                "#3A3A3CFF", "#FFFFFFFF", "#D1D1D6FF", "#FF9F0AFF", "#8E8E93FF", "#2C2C2EFF" })),
        builtIn("midnight", "Midnight", solid, dark,
            palette({ "#14162BFF", "#2A2E55FF", "#E6E8FFFF", "#7A7FA8FF", "#E6E8FFFF", "#9BA0C8FF",
                "#3D4AB8FF", "#FFFFFFFF", "#D6DAFFFF", "#8C9EFFFF", "#7A7FA8FF", "#23264AFF" })),
        builtIn("solarized-dark", "Solarized Dark", solid, dark,
            palette({ "#002B36FF", "#073642FF", "#EEE8D5FF", "#586E75FF", "#93A1A1FF", "#839496FF",
                "#073642FF", "#FDF6E3FF", "#93A1A1FF", "#B58900FF", "#657B83FF", "#073642FF" })),
        builtIn("paper", "Paper", solid, light,
            palette({ "#FBF8F1FF", "#E4DCCBFF", "#2B2A28FF", "#A59F94FF", "#2B2A28FF", "#6F6A60FF",
                "#EFE6D2FF", "#1F1E1CFF", "#5A554CFF", "#B0472EFF", "#A59F94FF", "#ECE5D6FF" })),
        builtIn("terminal", "Terminal", solid, dark,
            palette({ "#0B0F0BFF", "#1F3D1FFF", "#33FF66FF", "#1F7A3AFF", "#33FF66FF", "#22AA44FF",
                "#14331CFF", "#66FF99FF", "#33CC66FF", "#B3FFC6FF", "#1F7A3AFF", "#132613FF" })),
    };
    // fontconfig picks the installed face of these generic families.
    themes[6].fontName = "serif";
    themes[7].fontName = "monospace";
    themes[7].visibleRows = 9;
    return themes;
}

Result<std::optional<ThemePalette>> optionalPalette(const Json::Value& json)
{
    auto palette = themePaletteFromJSON(json);
    if (!palette)
        return palette.error();
    return std::optional<ThemePalette>(*palette);
}

// The colour fields of a palette: required, and a text that is no colour fails the document.
std::optional<Error> readColor(const Json::Value& object, const char* key, ThemeColor& field)
{
    auto found = object.find(key);
    if (found == object.end() || !found->is_string())
        return Json::fieldError(object, key, "a colour such as \"#1E1E20FF\"");
    auto color = themeColorFromJSON(*found);
    if (!color)
        return Error { std::string(key) + ": " + color.error().message };
    field = *color;
    return std::nullopt;
}

template <typename Enum>
std::optional<Error> readTolerantEnum(const Json::Value& object, const char* key, Enum& field)
{
    if (Json::isAbsent(object, key))
        return std::nullopt;
    return Json::readInto(Json::requiredEnum<Enum>(object, key), field);
}

} // namespace

std::optional<ThemeColor> ThemeColor::parse(std::string_view hex)
{
    if (!isValidUTF8(hex))
        return std::nullopt;
    auto text = trimmedWhitespaceAndNewlines(hex);
    if (text.starts_with('#'))
        text.remove_prefix(1);
    std::string digits;
    if (text.size() == 3) {
        for (char digit : text)
            digits.append(2, digit);
        digits += "FF";
    } else if (text.size() == 6) {
        digits = std::string(text) + "FF";
    } else if (text.size() == 8) {
        digits = text;
    } else {
        return std::nullopt;
    }
    std::array<double, 4> channels {};
    for (std::size_t index = 0; index < channels.size(); ++index) {
        auto high = hexDigit(digits[2 * index]);
        auto low = hexDigit(digits[2 * index + 1]);
        if (!high || !low)
            return std::nullopt;
        channels[index] = (*high * 16 + *low) / 255.0;
    }
    return ThemeColor {
        .red = channels[0], .green = channels[1], .blue = channels[2], .alpha = channels[3]
    };
}

std::string ThemeColor::hexText() const
{
    char text[10];
    std::snprintf(text, sizeof text, "#%02X%02X%02X%02X", channelByte(red), channelByte(green),
        channelByte(blue), channelByte(alpha));
    return text;
}

Theme Theme::duplicate() const
{
    Theme copy = *this;
    copy.id = makeUUID();
    copy.name += " Copy";
    copy.isBuiltIn = false;
    return copy;
}

const std::vector<Theme>& BuiltInThemes::all()
{
    static const std::vector<Theme> themes = makeBuiltInThemes();
    return themes;
}

const Theme& BuiltInThemes::defaultTheme()
{
    return all().front();
}

std::vector<Theme> ThemeLibrary::all() const
{
    auto themes = BuiltInThemes::all();
    themes.insert(themes.end(), custom.begin(), custom.end());
    return themes;
}

const Theme* ThemeLibrary::find(std::string_view id) const
{
    auto hasID = [&](const Theme& theme) { return theme.id == id; };
    auto& builtIn = BuiltInThemes::all();
    if (auto found = std::find_if(builtIn.begin(), builtIn.end(), hasID); found != builtIn.end())
        return &*found;
    if (auto found = std::find_if(custom.begin(), custom.end(), hasID); found != custom.end())
        return &*found;
    return nullptr;
}

const Theme& ThemeLibrary::theme(std::string_view id) const
{
    auto* found = find(id);
    return found ? *found : BuiltInThemes::defaultTheme();
}

void ThemeLibrary::save(Theme theme)
{
    auto& builtIn = BuiltInThemes::all();
    auto hasID = [&](const Theme& candidate) { return candidate.id == theme.id; };
    if (std::any_of(builtIn.begin(), builtIn.end(), hasID))
        return;
    if (auto found = std::find_if(custom.begin(), custom.end(), hasID); found != custom.end())
        *found = std::move(theme);
    else
        custom.push_back(std::move(theme));
}

void ThemeLibrary::remove(std::string_view id)
{
    std::erase_if(custom, [&](const Theme& theme) { return theme.id == id; });
}

Json::Value toJSON(const ThemeColor& color)
{
    return color.hexText();
}

Json::Value toJSON(const ThemePalette& palette)
{
    return {
        { "background", toJSON(palette.background) },
        { "border", toJSON(palette.border) },
        { "searchText", toJSON(palette.searchText) },
        { "placeholder", toJSON(palette.placeholder) },
        { "title", toJSON(palette.title) },
        { "subtitle", toJSON(palette.subtitle) },
        { "selectionBackground", toJSON(palette.selectionBackground) },
        { "selectionTitle", toJSON(palette.selectionTitle) },
        { "selectionSubtitle", toJSON(palette.selectionSubtitle) },
        { "highlight", toJSON(palette.highlight) },
        { "shortcut", toJSON(palette.shortcut) },
        { "separator", toJSON(palette.separator) },
    };
}

Json::Value toJSON(const Theme& theme)
{
    Json::Value json {
        { "id", theme.id },
        { "name", theme.name },
        { "isBuiltIn", theme.isBuiltIn },
        { "material", toString(theme.material) },
        { "appearance", toString(theme.appearance) },
        { "light", toJSON(theme.light) },
        { "searchFontSize", theme.searchFontSize },
        { "titleFontSize", theme.titleFontSize },
        { "subtitleFontSize", theme.subtitleFontSize },
        { "width", theme.width },
        { "cornerRadius", theme.cornerRadius },
        { "rowHeight", theme.rowHeight },
        { "iconSize", theme.iconSize },
        { "visibleRows", theme.visibleRows },
        { "borderWidth", theme.borderWidth },
        { "showsShortcuts", theme.showsShortcuts },
        { "showsSubtitles", theme.showsSubtitles },
    };
    if (theme.dark)
        json["dark"] = toJSON(*theme.dark);
    Json::putOptional(json, "fontName", theme.fontName);
    return json;
}

Result<ThemeColor> themeColorFromJSON(const Json::Value& json)
{
    if (!json.is_string())
        return Error { "A colour must be a string such as \"#1E1E20FF\"." };
    auto& text = json.get_ref<const std::string&>();
    if (auto color = ThemeColor::parse(text))
        return *color;
    return Error { "Invalid colour " + text };
}

Result<ThemePalette> themePaletteFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A palette must be a JSON object." };
    ThemePalette palette;
    if (auto error = Json::firstError({
            readColor(json, "background", palette.background),
            readColor(json, "border", palette.border),
            readColor(json, "searchText", palette.searchText),
            readColor(json, "placeholder", palette.placeholder),
            readColor(json, "title", palette.title),
            readColor(json, "subtitle", palette.subtitle),
            readColor(json, "selectionBackground", palette.selectionBackground),
            readColor(json, "selectionTitle", palette.selectionTitle),
            readColor(json, "selectionSubtitle", palette.selectionSubtitle),
            readColor(json, "highlight", palette.highlight),
            readColor(json, "shortcut", palette.shortcut),
            readColor(json, "separator", palette.separator),
        }))
        return *error;
    return palette;
}

Result<Theme> themeFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A theme must be a JSON object." };
    Theme theme;
    auto readLight = [&]() -> std::optional<Error> {
        if (Json::isAbsent(json, "light"))
            return Error { "\"light\" is missing." };
        return Json::readTolerant(json, "light", theme.light, themePaletteFromJSON);
    };
    if (auto error = Json::firstError({
            Json::read(json, "id", theme.id),
            Json::readTolerant(json, "name", theme.name),
            Json::readTolerant(json, "isBuiltIn", theme.isBuiltIn),
            readTolerantEnum(json, "material", theme.material),
            readTolerantEnum(json, "appearance", theme.appearance),
            readLight(),
            Json::readTolerant(json, "dark", theme.dark, optionalPalette),
            Json::read(json, "fontName", theme.fontName),
            Json::readTolerant(json, "searchFontSize", theme.searchFontSize),
            Json::readTolerant(json, "titleFontSize", theme.titleFontSize),
            Json::readTolerant(json, "subtitleFontSize", theme.subtitleFontSize),
            Json::readTolerant(json, "width", theme.width),
            Json::readTolerant(json, "cornerRadius", theme.cornerRadius),
            Json::readTolerant(json, "rowHeight", theme.rowHeight),
            Json::readTolerant(json, "iconSize", theme.iconSize),
            Json::readTolerant(json, "visibleRows", theme.visibleRows),
            Json::readTolerant(json, "borderWidth", theme.borderWidth),
            Json::readTolerant(json, "showsShortcuts", theme.showsShortcuts),
            Json::readTolerant(json, "showsSubtitles", theme.showsSubtitles),
        }))
        return *error;
    return theme;
}

Json::Value DocumentCoding<ThemeLibrary>::encode(const ThemeLibrary& library)
{
    Json::Value json = Json::Value::array();
    for (auto& theme : library.custom)
        json.push_back(toJSON(theme));
    return json;
}

Result<ThemeLibrary> DocumentCoding<ThemeLibrary>::decode(const Json::Value& json)
{
    auto themes = Json::decodeArray<Theme>(json, "theme", themeFromJSON);
    if (!themes)
        return themes.error();
    return ThemeLibrary { .custom = std::move(*themes) };
}

} // namespace zeph
