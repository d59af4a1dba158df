#pragma once

#include "Files/FileIndex.h"
#include "Search/LauncherResults.h"
#include "Storage/AppSettings.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zeph {

// Runs the file queries that the launcher's requests ask for, one at a time, over the file index,
// and turns what the index finds into rows: files and folders, never what lies in or is an
// application bundle, titled with the name and subtitled with the folder in tilde form. The work
// happens on a thread of the searcher's own; answers reach the caller's thread through `post`.
class FileSearcher {
public:
    using Completion = std::function<void(std::vector<SearchItem> items)>;
    // Runs a task on the thread that calls `start`, as its event loop allows.
    using Post = std::function<void(std::function<void()> task)>;

    FileSearcher(
        std::filesystem::path indexFile, std::string home, Post post, int resultLimit = 40);
    ~FileSearcher();
    FileSearcher(const FileSearcher&) = delete;
    FileSearcher& operator=(const FileSearcher&) = delete;

    // Cancels any running query and starts one; `completion` hears its answer, unless a newer
    // start or a cancel comes first. A request whose predicate asks for nothing starts nothing.
    void start(
        const FileSearchRequest& request, const SearchSettings& settings, Completion completion);
    // Stops the running query and forgets its completion.
    void cancel();

    // The query text of a request in the index's predicate language: the name or content words,
    // the chosen categories' content types, and folders left out unless chosen.
    static std::string predicate(const FileSearchRequest& request, const SearchSettings& settings);
    // The rows for what the index found, at most `limit`.
    static std::vector<SearchItem> items(
        const std::vector<IndexedFile>& found, std::string_view home, int limit);
    // The answer to a request, found on the calling thread.
    static std::vector<SearchItem> search(const FileIndex& index, const FileSearchRequest& request,
        const SearchSettings& settings, std::string_view home, int resultLimit = 40);

private:
    struct Shared;
    void work();
    static std::vector<SearchItem> answer(
        const FileIndex& index, std::string_view predicate, std::string_view home, int limit);

    std::shared_ptr<Shared> m_shared;
};

} // namespace zeph
