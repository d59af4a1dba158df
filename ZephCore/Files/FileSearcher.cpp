#include "Files/FileSearcher.h"

#include "Search/FileNavigator.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace zeph {

struct FileSearcher::Shared {
    struct Job {
        std::uint64_t generation = 0;
        std::string predicate {};
        int limit = 0;
    };

    std::filesystem::path indexFile;
    std::string home;
    Post post;
    int resultLimit = 40;
    // Raised by every start and cancel; an answer of another generation is dropped.
    std::atomic<std::uint64_t> generation = 0;
    // Touched on the caller's thread only.
    Completion completion {};

    std::mutex mutex;
    std::condition_variable wake;
    std::optional<Job> pending {};
    bool isStopping = false;
    // Opened by the worker when first needed; the caller interrupts it under the mutex.
    std::unique_ptr<FileIndex> index {};
    std::thread worker {};
};

FileSearcher::FileSearcher(
    std::filesystem::path indexFile, std::string home, Post post, int resultLimit)
    : m_shared(std::make_shared<Shared>())
{
    m_shared->indexFile = std::move(indexFile);
    m_shared->home = std::move(home);
    m_shared->post = std::move(post);
    m_shared->resultLimit = resultLimit;
    m_shared->worker = std::thread([this] { work(); });
}

FileSearcher::~FileSearcher()
{
    {
        std::lock_guard lock(m_shared->mutex);
        m_shared->isStopping = true;
        if (m_shared->index)
            m_shared->index->interrupt();
    }
    m_shared->wake.notify_one();
    m_shared->worker.join();
}

void FileSearcher::start(
    const FileSearchRequest& request, const SearchSettings& settings, Completion completion)
{
    cancel();
    auto text = predicate(request, settings);
    if (!FileQuery::parse(text))
        return;
    m_shared->completion = std::move(completion);
    {
        std::lock_guard lock(m_shared->mutex);
        m_shared->pending = Shared::Job { .generation = m_shared->generation,
            .predicate = std::move(text),
            .limit = std::min(m_shared->resultLimit, request.limit) };
    }
    m_shared->wake.notify_one();
}

void FileSearcher::cancel()
{
    m_shared->completion = nullptr;
    std::lock_guard lock(m_shared->mutex);
    ++m_shared->generation;
    m_shared->pending.reset();
    if (m_shared->index)
        m_shared->index->interrupt();
}

void FileSearcher::work()
{
    auto& shared = *m_shared;
    std::weak_ptr<Shared> weak = m_shared;
    for (;;) {
        Shared::Job job;
        {
            std::unique_lock lock(shared.mutex);
            shared.wake.wait(lock, [&] { return shared.isStopping || shared.pending; });
            if (shared.isStopping)
                return;
            job = std::move(*shared.pending);
            shared.pending.reset();
        }
        if (!shared.index) {
            // Until it opens (a first build holds it), answers are empty.
            auto opened = FileIndex::open(shared.indexFile);
            std::lock_guard lock(shared.mutex);
            if (opened)
                shared.index = std::move(*opened);
        }
        std::vector<SearchItem> items;
        if (shared.index)
            items = answer(*shared.index, job.predicate, shared.home, job.limit);
        if (job.generation != shared.generation)
            continue;
        shared.post([weak, generation = job.generation, items = std::move(items)]() mutable {
            auto alive = weak.lock();
            if (alive && alive->generation == generation && alive->completion)
                alive->completion(std::move(items));
        });
    }
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

std::vector<SearchItem> FileSearcher::search(const FileIndex& index,
    const FileSearchRequest& request, const SearchSettings& settings, std::string_view home,
    int resultLimit)
{
    return answer(index, predicate(request, settings), home, std::min(resultLimit, request.limit));
}

std::vector<SearchItem> FileSearcher::answer(
    const FileIndex& index, std::string_view predicate, std::string_view home, int limit)
{
    // A few more than asked for, as bundles and what lies in them are dropped.
    auto found = index.search(predicate, limit * 3);
    if (!found)
        return {};
    return items(*found, home, limit);
}

} // namespace zeph
