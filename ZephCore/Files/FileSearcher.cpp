#include "Files/FileSearcher.h"

#include "Search/FileNavigator.h"

#include <algorithm>

namespace zeph {

FileSearcher::FileSearcher(const FileIndex& index, std::string home, int resultLimit)
    : m_index(index)
    , m_home(std::move(home))
    , m_resultLimit(resultLimit)
{
}

std::string FileSearcher::predicate(
    const FileSearchRequest& request, const SearchSettings& settings)
{
    if (request.contents)
        return request.contentPredicate();
    auto predicate = wordsPredicate("kMDItemDisplayName", request.term);
    auto& chosen = settings.fileCategories;
    auto holds = [&](FileCategory category) {
        return std::find(chosen.begin(), chosen.end(), category) != chosen.end();
    };
    if (!chosen.empty() && !holds(FileCategory::other)) {
        std::string types;
        for (auto category : everyFileCategory) {
            if (!holds(category))
                continue;
            for (auto type : contentTypes(category)) {
                if (!types.empty())
                    types += " || ";
                types += "kMDItemContentTypeTree == \"" + std::string(type) + "\"";
            }
        }
        predicate += " && (" + types + ")";
    }
    if (!holds(FileCategory::folders))
        predicate += " && kMDItemContentType != \"public.folder\"";
    return predicate;
}

std::vector<SearchItem> FileSearcher::items(
    const std::vector<IndexedFile>& found, std::string_view home, int limit)
{
    std::vector<SearchItem> items;
    for (auto& file : found) {
        if (static_cast<int>(items.size()) >= limit)
            break;
        if (file.path.empty() || file.path.ends_with(".app")
            || file.path.find(".app/") != std::string::npos)
            continue;
        auto slash = file.path.rfind('/');
        auto folder = slash == 0 ? std::string("/") : file.path.substr(0, slash);
        items.push_back({
            .id = file.path,
            .title = file.name.empty() ? file.path.substr(slash + 1) : file.name,
            .subtitle = FileNavigator::abbreviate(folder, home),
            .kind = file.isFolder ? ItemKind::folder : ItemKind::file,
            .path = file.path,
        });
    }
    return items;
}

std::vector<SearchItem> FileSearcher::search(
    const FileSearchRequest& request, const SearchSettings& settings) const
{
    // Searching inside files needs the content index, which is not built yet.
    if (request.contents)
        return {};
    auto& chosen = settings.fileCategories;
    bool includeFolders
        = std::find(chosen.begin(), chosen.end(), FileCategory::folders) != chosen.end();
    auto limit = std::min(m_resultLimit, request.limit);
    auto found = m_index.search(request.term, limit * 3, includeFolders);
    if (!found)
        return {};
    return items(*found, m_home, limit);
}

} // namespace zeph
