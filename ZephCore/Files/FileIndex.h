#pragma once

#include "Files/ContentTypes.h"
#include "Files/FileQuery.h"
#include "Support/IsoDate.h"
#include "Support/Result.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace zeph {

struct IndexedFile {
    std::string path {};
    std::string name {};
    bool isFolder = false;
    ContentTypes::Bits types = 0;
    std::int64_t modified = 0; // Seconds since the epoch.
    bool operator==(const IndexedFile&) const = default;
};

// The embedded file index: an SQLite database in WAL mode, so that readers never wait for the
// writer and a crash mid-update leaves the last committed state. Names are kept under their folded
// words in one full-text table, and the words inside text files in another; paths are split into
// folders and names to keep the file small. Row ids give the order, most recently used last.
class FileIndex {
public:
    struct Status {
        std::int64_t files = 0;
        std::int64_t folders = 0;
        std::int64_t texts = 0; // Text files whose contents are indexed.
        std::uintmax_t bytes = 0;
        std::optional<Date> lastUpdate {};
        // As the last watcher recorded them.
        std::optional<std::int64_t> watchedFolders {};
        std::optional<std::int64_t> unwatchedFolders {};
    };
    struct Scope {
        std::vector<std::string> folders {}; // Absolute.
        std::function<bool(std::string_view path)> isExcluded {};
        // Hears each folder as the crawl enters it, so that a watcher can watch it.
        std::function<void(const std::string& folder)> onEnter {};
        // The desktop's list of recently used files, which orders what it names; none when empty.
        std::filesystem::path recentlyUsed {};
        bool indexesContents = true;
    };
    struct Progress {
        enum class Phase { names, contents };
        Phase phase = Phase::names;
        std::int64_t folders = 0;
        std::int64_t entries = 0;
        std::int64_t textsRead = 0;
        std::int64_t textsToRead = 0;
    };
    using ProgressReport = std::function<void(const Progress&)>;

    // Opens the index, creating it when missing. A file that is damaged, unfinished or that another
    // program made is set aside as "<name>.corrupt" and a fresh index takes its place. Opening
    // never writes to a sound file, and only one process at a time, under "<name>.lock", creates
    // or sets aside, so that processes opening at once never take another's file for a bad one.
    // `afresh` deletes the file, sound or not, under the same lock, and starts an empty index.
    enum class Start { asFound, afresh };
    static Result<std::unique_ptr<FileIndex>> open(
        const std::filesystem::path& file, Start start = Start::asFound);
    ~FileIndex();
    FileIndex(const FileIndex&) = delete;
    FileIndex& operator=(const FileIndex&) = delete;

    // Brings the index up to date with the scope and returns its number of entries. An empty
    // index is filled in one pass; one with entries is compared with the disk folder by folder,
    // and only what differs is written, in one transaction. Then, when the scope asks for it, the
    // text files whose contents are not indexed yet are read, a batch a transaction, until done
    // or until `stop` is set.
    Result<std::int64_t> update(const Scope& scope, Date now, const ProgressReport& progress = {},
        const std::atomic<bool>* stop = nullptr);

    // Brings the entries at `paths` up to date with the disk, in one transaction: each path is
    // forgotten with everything below it, then indexed again with everything below it if it
    // still exists.
    std::optional<Error> refresh(
        const std::vector<std::string>& paths, const Scope& scope, Date now);

    // Puts first in the order the entries that the scope's recently used list says were used
    // since the last look, the latest first of all.
    std::optional<Error> followRecentlyUsed(const Scope& scope, Date now);

    // The entries the query asks for, most recently used first.
    Result<std::vector<IndexedFile>> search(const FileQuery& query, int limit) const;
    // The same for a predicate text, as the launcher writes one.
    Result<std::vector<IndexedFile>> search(std::string_view predicate, int limit) const;
    // Ends a search that another thread is running, with an error. Safe from any thread.
    void interrupt() const;

    // Keeps how many folders a watcher follows and how many it could not, for the status.
    void recordWatching(std::int64_t watched, std::int64_t unwatched);
    Status status() const;

private:
    FileIndex(sqlite3* database, std::filesystem::path file);
    Result<std::int64_t> build(const Scope& scope, Date now, const ProgressReport& progress);
    Result<std::int64_t> compare(const Scope& scope, Date now, const ProgressReport& progress);
    std::optional<Error> indexContents(const Scope& scope, Date now, const ProgressReport& progress,
        const std::atomic<bool>* stop);
    std::int64_t count(const char* query) const;
    // Records the moment and commits, or rolls back what `isWritten` says failed.
    std::optional<Error> finish(bool isWritten, Date now);

    sqlite3* m_database;
    std::filesystem::path m_file;
};

} // namespace zeph
