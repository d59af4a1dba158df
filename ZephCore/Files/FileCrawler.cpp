#include "Files/FileCrawler.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <thread>

namespace zeph {

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

// Listings waiting for the caller's thread; a bound keeps memory flat when it is slower.
constexpr std::size_t waitingListings = 256;

} // namespace

struct FileCrawler::Listing {
    struct Entry {
        std::string name {};
        bool isFolder = false;
        std::int64_t modified = 0;
        ContentTypes::Bits types = 0;
    };
    std::string folder {}; // "" for the root.
    std::vector<Entry> entries {};
    std::vector<Pending> subfolders {};
};

bool FileCrawler::isLeftOut(std::string_view name, bool isFolder)
{
    return name.starts_with('.') || name.ends_with(".app")
        || (!isFolder && name.ends_with(".desktop"));
}

FileCrawler::FileCrawler(Exclusion isExcluded, Visit visit, Enter enter, int threads)
    : m_isExcluded(std::move(isExcluded))
    , m_visit(std::move(visit))
    , m_enter(std::move(enter))
    , m_threads(threads)
{
}

std::size_t FileCrawler::crawl(const std::vector<std::string>& scopes)
{
    m_folders = 0;
    std::vector<Pending> folders;
    for (auto& scope : scopes) {
        struct stat status { };
        if (lstat(scope.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)
            || (m_isExcluded && m_isExcluded(scope)))
            continue;
        std::string folder = scope;
        while (folder.size() > 1 && folder.ends_with('/'))
            folder.pop_back();
        if (folder == "/")
            folder.clear();
        folders.push_back({ std::move(folder), status.st_dev });
    }
    if (m_threads > 1)
        crawlOnThreads(std::move(folders));
    else
        crawlHere(std::move(folders));
    return m_folders;
}

bool FileCrawler::list(const Pending& folder, ContentTypes& types, Listing& listing) const
{
    listing.folder = folder.path;
    listing.entries.clear();
    listing.subfolders.clear();
    std::unique_ptr<DIR, DirectoryCloser> directory(
        opendir(folder.path.empty() ? "/" : folder.path.c_str()));
    if (!directory)
        return false;
    int descriptor = dirfd(directory.get());
    std::string path = folder.path;
    while (auto* entry = readdir(directory.get())) {
        std::string_view name = entry->d_name;
        if (name.starts_with('.'))
            continue;
        struct stat status { };
        if (fstatat(descriptor, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        bool isFolder = S_ISDIR(status.st_mode);
        if (isLeftOut(name, isFolder))
            continue;
        path.resize(folder.path.size());
        path += '/';
        path += name;
        if (m_isExcluded && m_isExcluded(path))
            continue;
        listing.entries.push_back(
            { std::string(name), isFolder, static_cast<std::int64_t>(status.st_mtime),
                types.ofEntry(descriptor, entry->d_name, status) });
        // Another file system's mount point is its own scope, or none.
        if (isFolder && status.st_dev == folder.device)
            listing.subfolders.push_back({ path, folder.device });
    }
    return true;
}

void FileCrawler::deliver(const Listing& listing)
{
    ++m_folders;
    if (m_enter)
        m_enter(listing.folder.empty() ? std::string("/") : listing.folder);
    for (auto& entry : listing.entries) {
        m_visit({ .folder = listing.folder,
            .name = entry.name,
            .isFolder = entry.isFolder,
            .modified = entry.modified,
            .types = entry.types });
    }
}

void FileCrawler::crawlHere(std::vector<Pending> folders)
{
    ContentTypes types;
    Listing listing;
    // Depth first, the nearest folders first.
    std::reverse(folders.begin(), folders.end());
    while (!folders.empty()) {
        auto folder = std::move(folders.back());
        folders.pop_back();
        if (!list(folder, types, listing))
            continue;
        deliver(listing);
        folders.insert(folders.end(), std::make_move_iterator(listing.subfolders.rbegin()),
            std::make_move_iterator(listing.subfolders.rend()));
    }
}

void FileCrawler::crawlOnThreads(std::vector<Pending> folders)
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Pending> pending = std::move(folders);
    std::deque<std::unique_ptr<Listing>> ready;
    int busy = 0;
    auto isFinished = [&] { return pending.empty() && busy == 0; };

    auto work = [&] {
        ContentTypes types;
        for (;;) {
            Pending folder;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return !pending.empty() || isFinished(); });
                if (pending.empty())
                    return;
                folder = std::move(pending.back());
                pending.pop_back();
                ++busy;
            }
            auto listing = std::make_unique<Listing>();
            bool isListed = list(folder, types, *listing);
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return ready.size() < waitingListings; });
            if (isListed) {
                pending.insert(pending.end(), std::make_move_iterator(listing->subfolders.begin()),
                    std::make_move_iterator(listing->subfolders.end()));
                ready.push_back(std::move(listing));
            }
            --busy;
            changed.notify_all();
        }
    };
    std::vector<std::thread> workers;
    for (int index = 0; index < m_threads; ++index)
        workers.emplace_back(work);
    for (;;) {
        std::unique_ptr<Listing> listing;
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return !ready.empty() || isFinished(); });
            if (ready.empty())
                break;
            listing = std::move(ready.front());
            ready.pop_front();
            changed.notify_all();
        }
        deliver(*listing);
    }
    for (auto& worker : workers)
        worker.join();
}

} // namespace zeph
