#pragma once

#include "Files/FileSearcher.h"
#include "Logic/FileSearching.h"
#include "Logic/MainLoop.h"

namespace zeph {

// The launcher's file search over the file index, answering on the main loop.
class IndexedFileSearching final : public FileSearching {
public:
    IndexedFileSearching(std::filesystem::path indexFile, std::string home, MainLoop& loop);

    void start(const FileSearchRequest& request, const SearchSettings& settings,
        std::function<void(std::vector<SearchItem>)> completion) override;
    void cancel() override;

private:
    FileSearcher m_searcher;
};

} // namespace zeph
