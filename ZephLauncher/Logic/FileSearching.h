#pragma once

#include "Search/LauncherResults.h"
#include "Storage/AppSettings.h"

#include <functional>
#include <vector>

namespace zeph {

// The file index's searcher, one query at a time: a new start ends the one before, and answers
// arrive on the main thread.
class FileSearching {
public:
    virtual ~FileSearching() = default;
    virtual void start(const FileSearchRequest& request, const SearchSettings& settings,
        std::function<void(std::vector<SearchItem>)> completion)
        = 0;
    virtual void cancel() = 0;
};

} // namespace zeph
