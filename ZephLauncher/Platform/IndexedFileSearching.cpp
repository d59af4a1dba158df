#include "Platform/IndexedFileSearching.h"

namespace zeph {

IndexedFileSearching::IndexedFileSearching(
    std::filesystem::path indexFile, std::string home, MainLoop& loop)
    : m_searcher(std::move(indexFile), std::move(home),
        [&loop](std::function<void()> task) { loop.post(std::move(task)); })
{
}

void IndexedFileSearching::start(const FileSearchRequest& request, const SearchSettings& settings,
    std::function<void(std::vector<SearchItem>)> completion)
{
    m_searcher.start(request, settings, std::move(completion));
}

void IndexedFileSearching::cancel()
{
    m_searcher.cancel();
}

} // namespace zeph
