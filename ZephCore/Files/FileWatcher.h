#pragma once

#include "Files/FileIndex.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace zeph {

// Keeps the file index fresh: brings it up to date with the scope once, watching every folder the
// crawl enters with inotify, then refreshes the paths that change, a batch at a time, and follows
// the desktop's list of recently used files. When the system's watches run out it says so once and
// rescans the folders it could not watch every `rescanInterval`.
class FileWatcher {
public:
    using Clock = std::function<Date()>;
    using Log = std::function<void(const std::string& message)>;

    FileWatcher(FileIndex& index, FileIndex::Scope scope, Clock clock, Log log);
    ~FileWatcher();
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

    // Runs until `stop` is set; fails only when the index cannot be written. `onReady` hears when
    // the first update is done, so that a caller can tell changes from then on are followed.
    std::optional<Error> run(
        const std::atomic<bool>& stop, const std::function<void()>& onReady = {});

    std::chrono::milliseconds rescanInterval { 60'000 };

private:
    void watch(const std::string& folder);
    // Starts watching afresh and brings the whole index up to date.
    std::optional<Error> update(const std::atomic<bool>& stop);
    // The changed paths among the events in `buffer`; true when events were lost.
    bool readEvents(const char* buffer, std::size_t length, std::set<std::string>& changed,
        bool& isRecentlyUsedChanged);

    FileIndex& m_index;
    FileIndex::Scope m_scope;
    Clock m_clock;
    Log m_log;
    int m_inotify = -1;
    int m_recentlyUsedWatch = -1;
    std::unordered_map<int, std::string> m_folders; // Watch descriptor to folder.
    std::vector<std::string> m_unwatched;
    bool m_hasReportedLimit = false;
};

} // namespace zeph
