#include "Storage/AppSettings.h"

#include "Storage/Paths.h"

#include <array>
#include <pwd.h>
#include <unistd.h>

namespace zeph {

namespace {

struct CategoryFacts {
    std::string_view title {};
    std::span<const std::string_view> contentTypes {};
};

constexpr std::array<std::string_view, 1> folderTypes { "public.folder" };
constexpr std::array<std::string_view, 7> documentTypes { "public.composite-content",
    "com.microsoft.word.doc", "org.openxmlformats.wordprocessingml.document",
    "com.apple.iwork.pages.sffpages", "public.spreadsheet", "public.presentation", "public.rtf" };
constexpr std::array<std::string_view, 1> imageTypes { "public.image" };
constexpr std::array<std::string_view, 1> pdfTypes { "com.adobe.pdf" };
constexpr std::array<std::string_view, 5> codeTypes { "public.source-code", "public.plain-text",
    "public.script", "public.json", "public.xml" };
constexpr std::array<std::string_view, 2> mediaTypes { "public.audiovisual-content",
    "public.audio" };
constexpr std::array<std::string_view, 2> archiveTypes { "public.archive", "public.disk-image" };

// In declaration order, so that a category's raw value indexes it.
constexpr std::array<CategoryFacts, 8> categoryFacts { {
    { "Folders", folderTypes },
    { "Documents", documentTypes },
    { "Images", imageTypes },
    { "PDFs", pdfTypes },
    { "Source code & text", codeTypes },
    { "Audio & video", mediaTypes },
    { "Archives & disk images", archiveTypes },
    { "Everything else", {} },
} };
static_assert(categoryFacts.size() == everyFileCategory.size());

const CategoryFacts& facts(FileCategory category)
{
    return categoryFacts[static_cast<std::size_t>(category)];
}

std::optional<std::string> homeOfUser(const std::string& name)
{
    std::vector<char> buffer(16384);
    passwd entry {};
    passwd* found = nullptr;
    if (getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found
        || !found->pw_dir)
        return std::nullopt;
    return std::string(found->pw_dir);
}

std::string joined(std::string_view home, std::string_view rest)
{
    if (home.ends_with('/') && rest.starts_with('/'))
        home.remove_suffix(1);
    return std::string(home) + std::string(rest);
}

Result<FileCategory> fileCategoryFromJSON(const Json::Value& json)
{
    if (!json.is_string())
        return Error { "A file category must be a string." };
    auto& text = json.get_ref<const std::string&>();
    if (auto category = fromString<FileCategory>(text))
        return *category;
    return Error { "\"" + text + "\" is not a file category." };
}

Result<std::vector<FileCategory>> fileCategoriesFromJSON(const Json::Value& json)
{
    return Json::decodeArray<FileCategory>(
        json, "file category", fileCategoryFromJSON, "file categories");
}

Result<std::vector<WebSearch>> webSearchesFromJSON(const Json::Value& json)
{
    return Json::decodeArray<WebSearch>(json, "web search", webSearchFromJSON, "web searches");
}

} // namespace

std::string_view title(FileCategory category)
{
    return facts(category).title;
}

std::span<const std::string_view> contentTypes(FileCategory category)
{
    return facts(category).contentTypes;
}

std::string expandingTilde(std::string_view path, std::string_view home)
{
    if (!path.starts_with('~'))
        return std::string(path);
    auto slash = path.find('/');
    auto name
        = path.substr(1, slash == std::string_view::npos ? std::string_view::npos : slash - 1);
    auto rest = slash == std::string_view::npos ? std::string_view {} : path.substr(slash);
    if (name.empty())
        return home.empty() ? std::string(path) : joined(home, rest);
    if (auto userHome = homeOfUser(std::string(name)))
        return joined(*userHome, rest);
    return std::string(path);
}

std::string expandingTilde(std::string_view path)
{
    if (!path.starts_with('~'))
        return std::string(path);
    return expandingTilde(path, Paths::Environment::current().home.value_or(""));
}

bool SearchSettings::isExcluded(std::string_view path, std::string_view home) const
{
    for (auto& entry : excludedPaths) {
        auto excluded = expandingTilde(entry, home);
        if (path == excluded)
            return true;
        if (!excluded.ends_with('/'))
            excluded.push_back('/');
        if (path.starts_with(excluded))
            return true;
    }
    return false;
}

bool SearchSettings::isExcluded(std::string_view path) const
{
    return isExcluded(path, Paths::Environment::current().home.value_or(""));
}

Json::Value toJSON(const SearchSettings& settings)
{
    Json::Value categories = Json::Value::array();
    for (auto category : settings.fileCategories)
        categories.push_back(toString(category));
    Json::Value webSearches = Json::Value::array();
    for (auto& search : settings.webSearches)
        webSearches.push_back(toJSON(search));
    return {
        { "includeApplications", settings.includeApplications },
        { "includeSystemSettings", settings.includeSystemSettings },
        { "includeSystemCommands", settings.includeSystemCommands },
        { "includeFiles", settings.includeFiles },
        { "includeCalculator", settings.includeCalculator },
        { "applicationFolders", settings.applicationFolders },
        { "fileScopes", settings.fileScopes },
        { "excludedPaths", settings.excludedPaths },
        { "fileCategories", std::move(categories) },
        { "fileResultLimit", settings.fileResultLimit },
        { "maxResults", settings.maxResults },
        { "webSearches", std::move(webSearches) },
        { "showFallbacks", settings.showFallbacks },
        { "fileNavigation", settings.fileNavigation },
        { "showHiddenFiles", settings.showHiddenFiles },
        { "showPreview", settings.showPreview },
        { "indexFileContents", settings.indexFileContents },
    };
}

Json::Value toJSON(const AppSettings& settings)
{
    return {
        { "hotkey", toJSON(settings.hotkey) },
        { "themeID", settings.themeID },
        { "launchAtLogin", settings.launchAtLogin },
        { "showMenuBarIcon", settings.showMenuBarIcon },
        { "learningEnabled", settings.learningEnabled },
        { "keepQuerySeconds", settings.keepQuerySeconds },
        { "verticalPosition", settings.verticalPosition },
        { "search", toJSON(settings.search) },
        { "snippets", toJSON(settings.snippets) },
        { "clipboard", toJSON(settings.clipboard) },
        { "hasCompletedOnboarding", settings.hasCompletedOnboarding },
    };
}

Result<SearchSettings> searchSettingsFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "The search settings must be a JSON object." };
    SearchSettings settings;
    if (auto error = Json::firstError({
            Json::readTolerant(json, "includeApplications", settings.includeApplications),
            Json::readTolerant(json, "includeSystemSettings", settings.includeSystemSettings),
            Json::readTolerant(json, "includeSystemCommands", settings.includeSystemCommands),
            Json::readTolerant(json, "includeFiles", settings.includeFiles),
            Json::readTolerant(json, "includeCalculator", settings.includeCalculator),
            Json::readTolerant(json, "applicationFolders", settings.applicationFolders),
            Json::readTolerant(json, "fileScopes", settings.fileScopes),
            Json::readTolerant(json, "excludedPaths", settings.excludedPaths),
            Json::readTolerant(
                json, "fileCategories", settings.fileCategories, fileCategoriesFromJSON),
            Json::readTolerant(json, "fileResultLimit", settings.fileResultLimit),
            Json::readTolerant(json, "maxResults", settings.maxResults),
            Json::readTolerant(json, "webSearches", settings.webSearches, webSearchesFromJSON),
            Json::readTolerant(json, "showFallbacks", settings.showFallbacks),
            Json::readTolerant(json, "fileNavigation", settings.fileNavigation),
            Json::readTolerant(json, "showHiddenFiles", settings.showHiddenFiles),
            Json::readTolerant(json, "showPreview", settings.showPreview),
            Json::readTolerant(json, "indexFileContents", settings.indexFileContents),
        }))
        return *error;
    return settings;
}

Result<AppSettings> appSettingsFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "The settings must be a JSON object." };
    AppSettings settings;
    if (auto error = Json::firstError({
            Json::readTolerant(json, "hotkey", settings.hotkey, keyComboFromJSON),
            Json::readTolerant(json, "themeID", settings.themeID),
            Json::readTolerant(json, "launchAtLogin", settings.launchAtLogin),
            Json::readTolerant(json, "showMenuBarIcon", settings.showMenuBarIcon),
            Json::readTolerant(json, "learningEnabled", settings.learningEnabled),
            Json::readTolerant(json, "keepQuerySeconds", settings.keepQuerySeconds),
            Json::readTolerant(json, "verticalPosition", settings.verticalPosition),
            Json::readTolerant(json, "search", settings.search, searchSettingsFromJSON),
            Json::readTolerant(json, "snippets", settings.snippets, snippetSettingsFromJSON),
            Json::readTolerant(json, "clipboard", settings.clipboard, clipboardSettingsFromJSON),
            Json::readTolerant(json, "hasCompletedOnboarding", settings.hasCompletedOnboarding),
        }))
        return *error;
    return settings;
}

} // namespace zeph

std::size_t std::hash<zeph::SearchSettings>::operator()(
    const zeph::SearchSettings& settings) const noexcept
{
    return zeph::Json::hashOf(zeph::toJSON(settings));
}

std::size_t std::hash<zeph::AppSettings>::operator()(
    const zeph::AppSettings& settings) const noexcept
{
    return zeph::Json::hashOf(zeph::toJSON(settings));
}
