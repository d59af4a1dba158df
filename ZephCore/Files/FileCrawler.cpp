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
// The caller's thread wakes for this many listings at a time (or the last ones): a wake-up for
// each folder cost more than listing it.
constexpr std::size_t listingsPerWake = 64;

} // namespace

struct FileCrawler::Listing {
    // What the types need of an entry's status, and no more: a listing can hold many thousands.
    struct Entry {
        std::string name {};
        mode_t mode = 0;
        off_t size = 0;
        std::int64_t modified = 0;
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

bool FileCrawler::list(const Pending& folder, Listing& listing) const
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
        listing.entries.push_back({ std::string(name), status.st_mode, status.st_size,
            static_cast<std::int64_t>(status.st_mtime) });
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
        m_status.st_mode = entry.mode;
        m_status.st_size = entry.size;
        m_status.st_mtime = static_cast<time_t>(entry.modified);
        m_visit({ .folder = listing.folder,
            .name = entry.name,
            .isFolder = S_ISDIR(entry.mode),
            .modified = entry.modified,
            .crawler = this });
    }
}

// On the caller's thread: GIO's guess holds one lock for the whole process, and the crawl's
// threads spent more time waiting for it than listing.
ContentTypes::Bits FileCrawler::typesOf(const CrawledEntry& entry)
{
    m_path.assign(entry.folder);
    m_path += '/';
    m_path += entry.name;
    return m_types.ofEntry(AT_FDCWD, m_path.c_str(), m_status);
}

ContentTypes::Bits CrawledEntry::types() const
{
    return crawler->typesOf(*this);
}

void FileCrawler::crawlHere(std::vector<Pending> folders)
{
    Listing listing;
    // Depth first, the nearest folders first.
    std::reverse(folders.begin(), folders.end());
    while (!folders.empty()) {
        auto folder = std::move(folders.back());
        folders.pop_back();
        if (!list(folder, listing))
            continue;
        deliver(listing);
        folders.insert(folders.end(), std::make_move_iterator(listing.subfolders.rbegin()),
            std::make_move_iterator(listing.subfolders.rend()));
    }
}

void FileCrawler::crawlOnThreads(std::vector<Pending> folders)
{
    std::mutex mutex;
    // Each side is woken only when what it waits for appears.
    std::condition_variable hasWork;
    std::condition_variable hasRoom;
    std::condition_variable hasListings;
    std::vector<Pending> pending = std::move(folders);
    std::deque<std::unique_ptr<Listing>> ready;
    int busy = 0;
    auto isFinished = [&] { return pending.empty() && busy == 0; };

    auto work = [&] {
        std::unique_lock lock(mutex);
        for (;;) {
            hasWork.wait(lock, [&] { return !pending.empty() || isFinished(); });
            if (pending.empty())
                return;
            auto folder = std::move(pending.back());
            pending.pop_back();
            ++busy;
            lock.unlock();
            auto listing = std::make_unique<Listing>();
            bool isListed = list(folder, *listing);
            lock.lock();
            hasRoom.wait(lock, [&] { return ready.size() < waitingListings; });
            if (isListed) {
                // Only a worker that found nothing to do waits for work.
                if (pending.empty() && !listing->subfolders.empty())
                    hasWork.notify_all();
                pending.insert(pending.end(), std::make_move_iterator(listing->subfolders.begin()),
                    std::make_move_iterator(listing->subfolders.end()));
                ready.push_back(std::move(listing));
                if (ready.size() == listingsPerWake)
                    hasListings.notify_one();
            }
            --busy;
            if (isFinished()) {
                hasWork.notify_all();
                hasListings.notify_one();
            }
        }
    };
    std::vector<std::thread> workers;
    for (int index = 0; index < m_threads; ++index)
        workers.emplace_back(work);
    std::deque<std::unique_ptr<Listing>> taken;
    for (;;) {
        {
            std::unique_lock lock(mutex);
            hasListings.wait(lock, [&] { return ready.size() >= listingsPerWake || isFinished(); });
            if (ready.empty())
                break;
            if (ready.size() >= waitingListings)
                hasRoom.notify_all();
            taken.swap(ready);
        }
        for (auto& listing : taken)
            deliver(*listing);
        taken.clear();
    }
    for (auto& worker : workers)
        worker.join();
}

} // namespace zeph
