#pragma once

#include "Logic/FolderWatching.h"

#include <map>

#include <QFileSystemWatcher>

namespace zeph {

// Folders watched through Qt (inotify): an entry made, renamed or removed, which is how every
// document is written, by replacing it.
class QtFolderWatching final : public FolderWatching {
public:
    QtFolderWatching();

    std::optional<Subscription> watch(
        const std::filesystem::path& folder, std::function<void()> onChange) override;

private:
    QFileSystemWatcher m_watcher;
    std::multimap<QString, std::pair<int, std::function<void()>>> m_observers;
    int m_nextID = 1;
};

} // namespace zeph
