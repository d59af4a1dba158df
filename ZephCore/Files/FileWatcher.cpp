#include "Files/FileWatcher.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <set>
#include <sys/inotify.h>
#include <unistd.h>

namespace zeph {

namespace {

constexpr std::uint32_t watchedEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO
    | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_ONLYDIR;
// Changes come in bursts (a copy, an unpacked archive): gather them this long before writing.
constexpr int batchMilliseconds = 100;

} // namespace

FileWatcher::FileWatcher(FileIndex& index, FileIndex::Scope scope, Clock clock, Log log)
    : m_index(index)
    , m_scope(std::move(scope))
    , m_clock(std::move(clock))
    , m_log(std::move(log))
    , m_inotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    m_scope.onEnter = [this](const std::string& folder) { watch(folder); };
}

FileWatcher::~FileWatcher()
{
    if (m_inotify >= 0)
        close(m_inotify);
}

void FileWatcher::watch(const std::string& folder)
{
    int descriptor
        = m_inotify >= 0 ? inotify_add_watch(m_inotify, folder.c_str(), watchedEvents) : -1;
    if (descriptor >= 0) {
        m_folders[descriptor] = folder;
        return;
    }
    if (errno != ENOSPC && m_inotify >= 0)
        return; // Gone already, or unreadable: nothing to watch.
    m_unwatched.push_back(folder);
    if (!m_hasReportedLimit) {
        m_hasReportedLimit = true;
        m_log("The file index cannot watch every folder: the system's limit of watches "
              "(fs.inotify.max_user_watches) is reached. Folders it cannot watch are scanned again "
              "every minute.");
    }
}

std::optional<Error> FileWatcher::update(const std::atomic<bool>& stop)
{
    m_folders.clear();
    m_unwatched.clear();
    if (m_inotify >= 0)
        close(m_inotify);
    m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    // The list is replaced as a whole when it changes, so its folder is what can be watched.
    auto& recentlyUsed = m_scope.recentlyUsed;
    m_recentlyUsedWatch = m_inotify < 0 || recentlyUsed.empty()
        ? -1
        : inotify_add_watch(m_inotify, recentlyUsed.parent_path().c_str(),
            IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE);
    auto updated = m_index.update(m_scope, m_clock(), {}, &stop);
    if (!updated)
        return updated.error();
    m_index.recordWatching(
        static_cast<std::int64_t>(m_folders.size()), static_cast<std::int64_t>(m_unwatched.size()));
    return std::nullopt;
}

bool FileWatcher::readEvents(const char* buffer, std::size_t length, std::set<std::string>& changed,
    bool& isRecentlyUsedChanged)
{
    bool hasOverflowed = false;
    auto recentlyUsedName = m_scope.recentlyUsed.filename().string();
    for (const char* at = buffer; at < buffer + length;) {
        auto* event = reinterpret_cast<const inotify_event*>(at);
        at += sizeof(inotify_event) + event->len;
        if (event->mask & IN_Q_OVERFLOW) {
            hasOverflowed = true;
            continue;
        }
        // Read on: the list's folder may be watched as part of a scope too.
        if (event->wd == m_recentlyUsedWatch && event->len > 0 && event->name == recentlyUsedName)
            isRecentlyUsedChanged = true;
        auto folder = m_folders.find(event->wd);
        if (folder == m_folders.end())
            continue;
        if (event->mask & (IN_DELETE_SELF | IN_IGNORED)) {
            if (event->mask & IN_IGNORED)
                m_folders.erase(folder);
            continue;
        }
        if (event->len > 0)
            changed.insert(folder->second + (folder->second == "/" ? "" : "/") + event->name);
    }
    return hasOverflowed;
}

std::optional<Error> FileWatcher::run(
    const std::atomic<bool>& stop, const std::function<void()>& onReady)
{
    if (auto error = update(stop))
        return error;
    if (onReady)
        onReady();
    auto nextRescan = std::chrono::steady_clock::now() + rescanInterval;
    alignas(inotify_event) char buffer[64 * 1024];
    while (!stop) {
        pollfd descriptor { m_inotify, POLLIN, 0 };
        int ready = poll(&descriptor, m_inotify >= 0 ? 1 : 0, 200);
        std::set<std::string> changed;
        bool hasOverflowed = false;
        bool isRecentlyUsedChanged = false;
        while (ready > 0) {
            auto length = read(m_inotify, buffer, sizeof buffer);
            if (length <= 0) {
                // Drained: wait a little for the rest of a burst, then write it.
                pollfd more { m_inotify, POLLIN, 0 };
                if ((changed.empty() && !isRecentlyUsedChanged)
                    || poll(&more, 1, batchMilliseconds) <= 0)
                    break;
                continue;
            }
            hasOverflowed = readEvents(buffer, static_cast<std::size_t>(length), changed,
                                isRecentlyUsedChanged)
                || hasOverflowed;
        }
        if (hasOverflowed) {
            // Events were lost: only a new crawl knows the truth.
            if (auto error = update(stop))
                return error;
            continue;
        }
        if (std::chrono::steady_clock::now() >= nextRescan) {
            changed.insert(m_unwatched.begin(), m_unwatched.end());
            m_unwatched.clear();
            nextRescan = std::chrono::steady_clock::now() + rescanInterval;
        }
        if (!changed.empty()) {
            // Watches of folders that are refreshed are made again as the refresh enters them.
            std::vector<std::string> paths(changed.begin(), changed.end());
            if (auto error = m_index.refresh(paths, m_scope, m_clock()))
                return error;
        }
        if (isRecentlyUsedChanged) {
            if (auto error = m_index.followRecentlyUsed(m_scope, m_clock()))
                return error;
        }
    }
    return std::nullopt;
}

} // namespace zeph
