#pragma once

#include "Logic/Observable.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace zeph {

// Hears that something was written into a folder. It may be coarser than one call per file, and
// calls may come from any thread.
class FolderWatching {
public:
    virtual ~FolderWatching() = default;

    // Watches until the subscription goes; nothing when the folder cannot be watched.
    virtual std::optional<Subscription> watch(
        const std::filesystem::path& folder, std::function<void()> onChange)
        = 0;
};

} // namespace zeph
