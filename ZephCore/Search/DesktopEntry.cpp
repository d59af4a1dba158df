#include "Search/DesktopEntry.h"

#include "Support/GLib.h"
#include "Support/Text.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace zeph {

namespace {

constexpr const char* entryGroup = "Desktop Entry";

// A key file and the library that reads it.
class KeyFile {
public:
    explicit KeyFile(const GLib& library)
        : glib(library)
        , handle(library.keyFileNew())
    {
    }
    ~KeyFile() { glib.keyFileFree(handle); }
    KeyFile(const KeyFile&) = delete;
    KeyFile& operator=(const KeyFile&) = delete;

    // A string GLib gave, in the hands of its deleter.
    std::unique_ptr<char, void (*)(void*)> owned(char* text) const { return { text, glib.free }; }

    const GLib& glib;
    GKeyFile* const handle;
};

std::vector<std::string> splitList(std::string_view text, char separator)
{
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start <= text.size()) {
        auto end = text.find(separator, start);
        if (end == std::string_view::npos)
            end = text.size();
        if (end > start)
            pieces.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

// The raw value of a key in the user's language: GLib picks the locale, and the value is read
// unescaped here, because GLib's own list reader complains on stderr about odd escapes.
std::optional<std::string> rawValue(const KeyFile& file, const char* key, bool isLocalised)
{
    std::string localisedKey = key;
    if (isLocalised) {
        if (auto locale
            = file.owned(file.glib.keyFileGetLocaleForKey(file.handle, entryGroup, key, nullptr)))
            localisedKey += "[" + std::string(locale.get()) + "]";
    }
    auto value = file.owned(
        file.glib.keyFileGetValue(file.handle, entryGroup, localisedKey.c_str(), nullptr));
    if (!value)
        return std::nullopt;
    std::string text = value.get();
    if (!isValidUTF8(text))
        return std::nullopt;
    return text;
}

// Undoes the escapes of a string value; a list splits on unescaped semicolons.
std::vector<std::string> unescaped(std::string_view raw, bool isList)
{
    std::vector<std::string> values(1);
    for (std::size_t index = 0; index < raw.size(); ++index) {
        char character = raw[index];
        if (character == '\\' && index + 1 < raw.size()) {
            switch (char escaped = raw[++index]) {
            case 's':
                values.back() += ' ';
                break;
            case 'n':
                values.back() += '\n';
                break;
            case 't':
                values.back() += '\t';
                break;
            case 'r':
                values.back() += '\r';
                break;
            default:
                values.back() += escaped;
            }
        } else if (character == ';' && isList) {
            values.emplace_back();
        } else {
            values.back() += character;
        }
    }
    std::erase_if(values, [](const std::string& value) { return value.empty(); });
    return values;
}

std::string stringValue(const KeyFile& file, const char* key, bool isLocalised)
{
    auto raw = rawValue(file, key, isLocalised);
    if (!raw)
        return {};
    auto values = unescaped(*raw, false);
    return values.empty() ? std::string() : std::string(trimmedWhitespace(values.front()));
}

std::vector<std::string> listValue(const KeyFile& file, const char* key, bool isLocalised)
{
    auto raw = rawValue(file, key, isLocalised);
    return raw ? unescaped(*raw, true) : std::vector<std::string> {};
}

bool boolValue(const KeyFile& file, const char* key)
{
    auto raw = rawValue(file, key, false);
    return raw && trimmedWhitespace(*raw) == "true";
}

} // namespace

std::optional<DesktopEntry> DesktopEntry::read(std::string_view text)
{
    const auto* glib = GLib::shared();
    if (!glib)
        return std::nullopt;
    KeyFile file(*glib);
    if (!glib->keyFileLoadFromData(file.handle, text.data(), text.size(), G_KEY_FILE_NONE, nullptr)
        || !glib->keyFileHasGroup(file.handle, entryGroup))
        return std::nullopt;
    DesktopEntry entry;
    entry.hidden = boolValue(file, "Hidden");
    if (entry.hidden)
        return entry;
    if (stringValue(file, "Type", false) != "Application")
        return std::nullopt;
    entry.name = stringValue(file, "Name", true);
    if (entry.name.empty())
        return std::nullopt;
    entry.genericName = stringValue(file, "GenericName", true);
    entry.icon = stringValue(file, "Icon", true);
    entry.keywords = listValue(file, "Keywords", true);
    entry.categories = listValue(file, "Categories", false);
    entry.onlyShowIn = listValue(file, "OnlyShowIn", false);
    entry.notShowIn = listValue(file, "NotShowIn", false);
    entry.tryExec = stringValue(file, "TryExec", false);
    entry.noDisplay = boolValue(file, "NoDisplay");
    return entry;
}

bool DesktopEntry::isShownIn(std::span<const std::string> desktops) const
{
    auto isCurrent = [&](const std::string& desktop) {
        return std::find(desktops.begin(), desktops.end(), desktop) != desktops.end();
    };
    if (!onlyShowIn.empty() && std::none_of(onlyShowIn.begin(), onlyShowIn.end(), isCurrent))
        return false;
    return std::none_of(notShowIn.begin(), notShowIn.end(), isCurrent);
}

bool DesktopEntry::isSettingsPanel() const
{
    return std::find(categories.begin(), categories.end(), "Settings") != categories.end();
}

std::vector<std::string> currentDesktops()
{
    auto* value = std::getenv("XDG_CURRENT_DESKTOP");
    return value ? splitList(value, ':') : std::vector<std::string> {};
}

} // namespace zeph
