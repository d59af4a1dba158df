#include "Search/FileNavigator.h"

#include "Search/FuzzyMatcher.h"
#include "Search/Ranker.h"

#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>

namespace zeph {

Json::Value toJSON(const NavigationQuery& query)
{
    return {
        { "directory", query.directory },
        { "filter", query.filter },
        { "typedDirectory", query.typedDirectory },
    };
}

namespace FileNavigator {

namespace {

class SystemFileManager final : public FileManager {
public:
    std::optional<std::vector<std::string>> contentsOfDirectory(
        const std::string& path) const override
    {
        auto* directory = opendir(path.c_str());
        if (!directory)
            return std::nullopt;
        std::vector<std::string> names;
        while (auto* entry = readdir(directory)) {
            std::string_view name = entry->d_name;
            if (name != "." && name != "..")
                names.emplace_back(name);
        }
        closedir(directory);
        return names;
    }

    bool isDirectory(const std::string& path) const override
    {
        struct stat status { };
        return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    }
};

std::string normalised(std::string_view raw)
{
    std::string path;
    std::size_t start = 0;
    while (start <= raw.size()) {
        auto end = raw.find('/', start);
        if (end == std::string_view::npos)
            end = raw.size();
        if (end > start) {
            path += '/';
            path.append(raw.substr(start, end - start));
        }
        start = end + 1;
    }
    return path.empty() ? "/" : path;
}

std::string_view lastComponent(std::string_view path)
{
    if (path == "/")
        return path;
    return path.substr(path.rfind('/') + 1);
}

std::string deletingLastComponent(std::string_view path)
{
    auto slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return "";
    return slash == 0 ? "/" : std::string(path.substr(0, slash));
}

bool endsWith(std::string_view text, std::string_view suffix)
{
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

} // namespace

const FileManager& systemFileManager()
{
    static const SystemFileManager manager;
    return manager;
}

std::optional<NavigationQuery> parse(std::string_view text, std::string_view home)
{
    if (!text.starts_with('/') && !text.starts_with('~'))
        return std::nullopt;
    if (text == "~")
        return NavigationQuery { normalised(home), "", "~/" };
    if (text.starts_with('~') && !text.starts_with("~/"))
        return std::nullopt;
    auto slash = text.rfind('/');
    NavigationQuery query;
    query.typedDirectory = text.substr(0, slash + 1);
    query.filter = text.substr(slash + 1);
    auto raw = query.typedDirectory.starts_with('~')
        ? std::string(home) + query.typedDirectory.substr(1)
        : query.typedDirectory;
    query.directory = normalised(raw);
    return query;
}

std::string abbreviate(std::string_view path, std::string_view home)
{
    if (home.empty())
        return std::string(path);
    if (path == home)
        return "~";
    std::string prefix(home);
    if (!prefix.ends_with('/'))
        prefix += '/';
    if (path.starts_with(prefix))
        return "~/" + std::string(path.substr(prefix.size()));
    return std::string(path);
}

std::optional<std::string> parentPath(const NavigationQuery& query)
{
    if (query.directory == "/")
        return std::nullopt;
    if (query.typedDirectory != "~/") {
        std::string_view typed = query.typedDirectory;
        typed.remove_suffix(1);
        auto slash = typed.rfind('/');
        if (slash == std::string_view::npos)
            return "/";
        return std::string(typed.substr(0, slash + 1));
    }
    auto parent = deletingLastComponent(query.directory);
    return parent == "/" ? parent : parent + "/";
}

std::vector<RankedResult> list(const NavigationQuery& query, bool showHidden, std::string_view home,
    int limit, const FileManager& fileManager)
{
    std::vector<RankedResult> rows;
    if (query.filter.empty()) {
        SearchItem itself {
            .id = query.directory,
            .title = std::string(lastComponent(query.directory)),
            .subtitle = abbreviate(query.directory, home),
            .kind = ItemKind::folder,
            .path = query.directory,
        };
        rows.push_back({ .item = std::move(itself), .score = 2.0, .matchScore = 1.0 });
    }
    auto names = fileManager.contentsOfDirectory(query.directory);
    if (!names)
        return rows;

    bool showDotFiles = showHidden || query.filter.starts_with('.');
    std::optional<FuzzyMatcher::Pattern> pattern;
    if (!query.filter.empty())
        pattern = FuzzyMatcher::makePattern(makeQueryText(query.filter));
    auto prefix = query.directory == "/" ? std::string("/") : query.directory + "/";

    std::vector<RankedResult> entries;
    for (auto& name : *names) {
        if (name.starts_with('.') && !showDotFiles)
            continue;
        RankedResult entry;
        // An odd name is shown with replacement characters; its path stays as it is on disk.
        auto title = sanitizedUTF8(name);
        if (pattern) {
            auto score = FuzzyMatcher::score(
                *pattern, FuzzyMatcher::MatchTextTarget(makeMatchText(title)), 0, &entry.highlight);
            if (!score || *score < 0.3)
                continue;
            entry.score = entry.matchScore = *score;
        }
        auto path = prefix + name;
        bool isDirectory = fileManager.isDirectory(path);
        bool isBundle = endsWith(name, ".app");
        entry.item = SearchItem {
            .id = path,
            .title = std::move(title),
            .kind
            = isBundle ? ItemKind::application : (isDirectory ? ItemKind::folder : ItemKind::file),
            .path = path,
            .autocomplete = query.typedDirectory + name + (isDirectory && !isBundle ? "/" : ""),
        };
        entries.push_back(std::move(entry));
    }
    std::sort(entries.begin(), entries.end(), [](const RankedResult& a, const RankedResult& b) {
        if (a.score != b.score)
            return a.score > b.score;
        if (int order = Ranker::compareLowercased(a.item.title, b.item.title))
            return order < 0;
        return a.item.id < b.item.id;
    });
    if (static_cast<int>(entries.size()) > std::max(limit, 0))
        entries.resize(static_cast<std::size_t>(std::max(limit, 0)));
    std::move(entries.begin(), entries.end(), std::back_inserter(rows));
    return rows;
}

} // namespace FileNavigator

} // namespace zeph
