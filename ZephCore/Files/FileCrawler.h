#pragma once

#include "Files/ContentTypes.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace zeph {

class FileCrawler;

// One thing the crawler found.
struct CrawledEntry {
    std::string_view folder {}; // Absolute, without a trailing slash ("" for the root's children).
    std::string_view name {};
    bool isFolder = false;
    std::int64_t modified = 0; // Seconds since the epoch.
    FileCrawler* crawler = nullptr;

    // Its content types, found when asked (an update wants those only of what changed), while
    // `visit` has it.
    ContentTypes::Bits types() const;
};

// Walks the scopes without following symbolic links, so a link loop is walked once. It leaves out
// hidden entries, application bundles (".app", not entered) and desktop entries, anything
// `isExcluded` names (not entered), and folders that are the mount point of another file system,
// unless that folder is itself a scope. An unreadable folder is listed but not entered.
//
// With more than one thread, folders are listed on that many threads of the crawl's own;
// `isExcluded` must then be safe to call from any thread. The entries' types are found, and `enter`
// and `visit` called, on the caller's thread: `enter` for a folder, then `visit` for each of its
// entries, folder after folder.
class FileCrawler {
public:
    using Visit = std::function<void(const CrawledEntry&)>;
    using Exclusion = std::function<bool(std::string_view path)>;
    using Enter = std::function<void(const std::string& folder)>;

    // `enter` hears each folder before its entries, so that a watcher can watch it.
    FileCrawler(Exclusion isExcluded, Visit visit, Enter enter = {}, int threads = 1);
    // Whether a name is one the crawler never lists.
    static bool isLeftOut(std::string_view name, bool isFolder);
    // The number of folders entered.
    std::size_t crawl(const std::vector<std::string>& scopes);
    // The types of the entry that `visit` has.
    ContentTypes::Bits typesOf(const CrawledEntry& entry);

private:
    struct Listing;
    struct Pending {
        std::string path {};
        std::uint64_t device = 0;
    };
    // The entries of one folder, and the subfolders to walk next; false when it cannot be read.
    bool list(const Pending& folder, Listing& listing) const;
    void deliver(const Listing& listing);
    void crawlHere(std::vector<Pending> folders);
    void crawlOnThreads(std::vector<Pending> folders);

    Exclusion m_isExcluded;
    Visit m_visit;
    Enter m_enter;
    int m_threads;
    std::size_t m_folders = 0;
    ContentTypes m_types;
    std::string m_path;
    struct stat m_status { }; // Of the entry being visited, as far as the types need it.
};

} // namespace zeph
