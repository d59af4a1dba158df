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

std::optional<Error> FileWatcher::rebuild()
{
    m_folders.clear();
    m_unwatched.clear();
    if (m_inotify >= 0)
        close(m_inotify);
    m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    auto built = m_index.rebuild(m_scope, m_clock());
    return built ? std::nullopt : std::optional(built.error());
}

std::optional<Error> FileWatcher::run(const std::atomic<bool>& stop)
{
    if (auto error = rebuild())
        return error;
    auto nextRescan = std::chrono::steady_clock::now() + rescanInterval;
    alignas(inotify_event) char buffer[64 * 1024];
    while (!stop) {
        pollfd descriptor { m_inotify, POLLIN, 0 };
        int ready = poll(&descriptor, m_inotify >= 0 ? 1 : 0, 200);
        std::set<std::string> changed;
        bool hasOverflowed = false;
        while (ready > 0) {
            auto length = read(m_inotify, buffer, sizeof buffer);
            if (length <= 0) {
                // Drained: wait a little for the rest of a burst, then write it.
                pollfd more { m_inotify, POLLIN, 0 };
                if (changed.empty() || poll(&more, 1, batchMilliseconds) <= 0)
                    break;
                continue;
            }
            for (char* at = buffer; at < buffer + length;) {
                auto* event = reinterpret_cast<inotify_event*>(at);
                at += sizeof(inotify_event) + event->len;
                if (event->mask & IN_Q_OVERFLOW) {
                    hasOverflowed = true;
                    continue;
                }
                auto folder = m_folders.find(event->wd);
                if (folder == m_folders.end())
                    continue;
                if (event->mask & (IN_DELETE_SELF | IN_IGNORED)) {
                    if (event->mask & IN_IGNORED)
                        m_folders.erase(folder);
                    continue;
                }
                if (event->len > 0)
                    changed.insert(
                        folder->second + (folder->second == "/" ? "" : "/") + event->name);
            }
        }
        if (hasOverflowed) {
            // Events were lost: only a new crawl knows the truth.
            if (auto error = rebuild())
                return error;
            continue;
        }
        if (std::chrono::steady_clock::now() >= nextRescan) {
            changed.insert(m_unwatched.begin(), m_unwatched.end());
            m_unwatched.clear();
            nextRescan = std::chrono::steady_clock::now() + rescanInterval;
        }
        if (changed.empty())
            continue;
        // Watches of folders that are refreshed are made again as the refresh enters them.
        std::vector<std::string> paths(changed.begin(), changed.end());
        if (auto error = m_index.refresh(paths, m_scope, m_clock()))
            return error;
    }
    return std::nullopt;
}

} // namespace zeph
