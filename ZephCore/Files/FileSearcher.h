#pragma once

#include "Files/FileIndex.h"
#include "Search/LauncherResults.h"
#include "Storage/AppSettings.h"

#include <string>
#include <vector>

namespace zeph {

// Asks the file index what a file search request wants and turns the answer into rows: files and
// folders, never what lies in or is an application bundle, titled with the name and subtitled with
// the folder in tilde form. Blocking; the launcher runs it off its main thread.
class FileSearcher {
public:
    FileSearcher(const FileIndex& index, std::string home, int resultLimit = 40);

    std::vector<SearchItem> search(
        const FileSearchRequest& request, const SearchSettings& settings) const;

    // The query text of a request in the index's predicate language: the name or content words,
    // the chosen categories' content types, and folders left out unless chosen.
    static std::string predicate(const FileSearchRequest& request, const SearchSettings& settings);

    // The rows for what the index found, at most `limit`.
    static std::vector<SearchItem> items(
        const std::vector<IndexedFile>& found, std::string_view home, int limit);

private:
    const FileIndex& m_index;
    std::string m_home;
    int m_resultLimit;
};

} // namespace zeph
