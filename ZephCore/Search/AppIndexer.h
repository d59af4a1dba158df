#pragma once

#include "Search/SearchItem.h"

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zeph {

struct ApplicationIndex {
    std::vector<SearchItem> applications {};
    std::vector<SearchItem> systemSettings {};
    bool operator==(const ApplicationIndex&) const = default;
};

// The applications and settings panels of the desktop entries in the application folders. One
// item per desktop-file id, from the first folder that holds it; its id and path are that file's
// path and its argument the desktop-file id.
class AppIndexer {
public:
    // One scan, on the caller's thread. A "~" in a folder stands for the home folder.
    static ApplicationIndex scan(const std::vector<std::string>& folders);

    // Scans on a thread of its own, watches the folders, and after a change rescans once, 1.5 s
    // later, so that a package install that writes many files costs one scan. Every result goes to
    // `onUpdate` on that thread.
    explicit AppIndexer(std::function<void(ApplicationIndex)> onUpdate);
    ~AppIndexer();
    AppIndexer(const AppIndexer&) = delete;
    AppIndexer& operator=(const AppIndexer&) = delete;

    // Scans the new folders at once.
    void setFolders(std::vector<std::string> folders);
    void rescan();

private:
    void run(std::stop_token stop);
    void wake();

    std::function<void(ApplicationIndex)> m_onUpdate;
    std::mutex m_mutex;
    std::vector<std::string> m_folders;
    bool m_isScanRequested = false;
    int m_wakeDescriptor = -1;
    std::jthread m_thread;
};

} // namespace zeph
