#pragma once

#include "Support/IsoDate.h"
#include "Support/Result.h"

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
    std::int64_t modified = 0; // Seconds since the epoch.
    bool operator==(const IndexedFile&) const = default;
};

// The embedded file index: an SQLite database in WAL mode, so that readers never wait for the
// writer and a crash mid-update leaves the last committed state. Names are kept under their folded
// words in a full-text table; paths are split into folders and names to keep the file small.
class FileIndex {
public:
    struct Status {
        std::int64_t files = 0;
        std::int64_t folders = 0;
        std::uintmax_t bytes = 0;
        std::optional<Date> lastUpdate {};
    };
    struct Scope {
        std::vector<std::string> folders {}; // Absolute.
        std::function<bool(std::string_view path)> isExcluded {};
        // Hears each folder as the crawl enters it, so that a watcher can watch it.
        std::function<void(const std::string& folder)> onEnter {};
    };

    // Opens the index, creating it when missing. A file that is damaged or that another program
    // made is set aside as "<name>.corrupt" and a fresh index takes its place.
    static Result<std::unique_ptr<FileIndex>> open(const std::filesystem::path& file);
    ~FileIndex();
    FileIndex(const FileIndex&) = delete;
    FileIndex& operator=(const FileIndex&) = delete;

    // Replaces the whole index with a crawl of the scope, in one transaction: a query sees the old
    // index or the new one, never half of it. `progress` hears the number of entries so far.
    Result<std::int64_t> rebuild(const Scope& scope, Date now,
        const std::function<void(std::int64_t entries)>& progress = {});

    // Brings the entries at `paths` up to date with the disk, in one transaction: each path is
    // forgotten with everything below it, then indexed again with everything below it if it
    // still exists.
    std::optional<Error> refresh(
        const std::vector<std::string>& paths, const Scope& scope, Date now);

    // The entries whose name has a word starting with each word of the term, newest first: by
    // modification time as of the last rebuild, and entries that changed since before them.
    Result<std::vector<IndexedFile>> search(
        std::string_view term, int limit, bool includeFolders) const;

    Status status() const;

private:
    FileIndex(sqlite3* database, std::filesystem::path file);
    // Records the moment and commits, or rolls back what `isWritten` says failed.
    std::optional<Error> finish(bool isWritten, Date now);

    sqlite3* m_database;
    std::filesystem::path m_file;
};

} // namespace zeph
