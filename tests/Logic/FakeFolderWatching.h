#pragma once

#include "Logic/FolderWatching.h"

namespace zeph {

// A folder watcher the test fires by hand, as the desktop's would after a write.
class FakeFolderWatching final : public FolderWatching {
public:
    std::optional<Subscription> watch(
        const std::filesystem::path& folder, std::function<void()> onChange) override
    {
        watched = folder;
        m_onChange = std::make_shared<std::function<void()>>(std::move(onChange));
        return Subscription([this] { m_onChange.reset(); });
    }
    void fire()
    {
        if (m_onChange)
            (*m_onChange)();
    }

    std::filesystem::path watched;

private:
    std::shared_ptr<std::function<void()>> m_onChange;
};

} // namespace zeph
