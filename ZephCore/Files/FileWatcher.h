#pragma once

#include "Files/FileIndex.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zeph {

// Keeps the file index fresh: crawls the scope once, watching every folder it enters with inotify,
// then refreshes the paths that change, a batch at a time. When the system's watches run out it
// says so once and rescans the folders it could not watch every `rescanInterval`.
class FileWatcher {
public:
    using Clock = std::function<Date()>;
    using Log = std::function<void(const std::string& message)>;

    FileWatcher(FileIndex& index, FileIndex::Scope scope, Clock clock, Log log);
    ~FileWatcher();
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

    // Runs until `stop` is set; fails only when the index cannot be written.
    std::optional<Error> run(const std::atomic<bool>& stop);

    std::chrono::milliseconds rescanInterval { 60'000 };

private:
    void watch(const std::string& folder);
    std::optional<Error> rebuild();

    FileIndex& m_index;
    FileIndex::Scope m_scope;
    Clock m_clock;
    Log m_log;
    int m_inotify = -1;
    std::unordered_map<int, std::string> m_folders; // Watch descriptor to folder.
    std::vector<std::string> m_unwatched;
    bool m_hasReportedLimit = false;
};

} // namespace zeph
