#include "Platform/QtFolderWatching.h"

namespace zeph {

QtFolderWatching::QtFolderWatching()
{
    QObject::connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_watcher,
        [this](const QString& folder) {
            auto [begin, end] = m_observers.equal_range(folder);
            std::vector<std::function<void()>> calls;
            for (auto it = begin; it != end; ++it)
                calls.push_back(it->second.second);
            for (auto& call : calls)
                call();
        });
}

std::optional<Subscription> QtFolderWatching::watch(
    const std::filesystem::path& folder, std::function<void()> onChange)
{
    auto path = QString::fromStdString(folder.string());
    if (!m_watcher.directories().contains(path) && !m_watcher.addPath(path))
        return std::nullopt;
    auto id = m_nextID++;
    m_observers.emplace(path, std::pair { id, std::move(onChange) });
    return Subscription([this, path, id] {
        auto [begin, end] = m_observers.equal_range(path);
        for (auto it = begin; it != end; ++it) {
            if (it->second.first == id) {
                m_observers.erase(it);
                break;
            }
        }
        if (m_observers.count(path) == 0)
            m_watcher.removePath(path);
    });
}

} // namespace zeph
