#include "Files/FileIndex.h"

#include "Files/FileCrawler.h"
#include "Files/IndexWords.h"
#include "Storage/Paths.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unordered_map>

namespace zeph {

namespace fs = std::filesystem;

namespace {

// Raised when the layout of the tables changes; an index of another version is rebuilt.
constexpr int schemaVersion = 3;
constexpr std::string_view applicationID = "zeph-file-index";

// The words arrive folded and split by indexWords, letters and digits only; the ascii tokenizer
// keeps every non-ASCII character inside its word, so each of our words is exactly one token,
// whatever Unicode version SQLite's own tables know.
const char* const schema = R"(
    CREATE TABLE IF NOT EXISTS meta (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
    CREATE TABLE IF NOT EXISTS folders (id INTEGER PRIMARY KEY, path TEXT NOT NULL);
    CREATE TABLE IF NOT EXISTS files (
        id INTEGER PRIMARY KEY, folder INTEGER NOT NULL, name TEXT NOT NULL,
        isFolder INTEGER NOT NULL, modified INTEGER NOT NULL);
    CREATE INDEX IF NOT EXISTS folderPaths ON folders (path);
    CREATE INDEX IF NOT EXISTS folderEntries ON files (folder, name);
    CREATE VIRTUAL TABLE IF NOT EXISTS names USING fts5(
        words, content='', detail=none, prefix='1 2', tokenize='ascii');
)";

struct Statement {
    sqlite3_stmt* handle = nullptr;
    Statement(sqlite3* database, const char* text)
    {
        sqlite3_prepare_v2(database, text, -1, &handle, nullptr);
    }
    ~Statement() { sqlite3_finalize(handle); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    explicit operator bool() const { return handle != nullptr; }
    void bind(int index, std::string_view text)
    {
        sqlite3_bind_text(
            handle, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    void bind(int index, std::int64_t value) { sqlite3_bind_int64(handle, index, value); }
    // One step of a statement that returns no rows, then ready for the next bindings.
    bool run()
    {
        int code = sqlite3_step(handle);
        sqlite3_reset(handle);
        return code == SQLITE_DONE;
    }
    std::string_view text(int column) const
    {
        auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle, column));
        return bytes ? std::string_view(
                   bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle, column)))
                     : std::string_view();
    }
};

Error databaseError(sqlite3* database, std::string_view doing)
{
    return Error { "The file index could not " + std::string(doing) + ": "
        + sqlite3_errmsg(database) + "." };
}

bool execute(sqlite3* database, const char* text)
{
    return sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::optional<std::string> metaValue(sqlite3* database, std::string_view key)
{
    Statement select(database, "SELECT value FROM meta WHERE key = ?1");
    if (!select)
        return std::nullopt;
    select.bind(1, key);
    if (sqlite3_step(select.handle) != SQLITE_ROW)
        return std::nullopt;
    return std::string(select.text(0));
}

bool setMeta(sqlite3* database, std::string_view key, std::string_view value)
{
    Statement upsert(database, "INSERT OR REPLACE INTO meta (key, value) VALUES (?1, ?2)");
    if (!upsert)
        return false;
    upsert.bind(1, key);
    upsert.bind(2, value);
    return upsert.run();
}

// Opens and checks one file: a database, ours, and of this version. (Reading the whole index to
// prove it sound would cost more than the query it serves; SQLite reports damage when it meets it.)
sqlite3* openChecked(const fs::path& file)
{
    sqlite3* database = nullptr;
    if (sqlite3_open_v2(file.c_str(), &database,
            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr)
        != SQLITE_OK) {
        sqlite3_close(database);
        return nullptr;
    }
    sqlite3_busy_timeout(database, 5000);
    bool isSound = execute(database, "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;")
        && execute(database, schema);
    if (isSound) {
        auto owner = metaValue(database, "application");
        auto version = metaValue(database, "schemaVersion");
        if (!owner) {
            // A fresh file: nothing but our own empty tables in it.
            Statement count(database, "SELECT count(*) FROM files");
            isSound = count && sqlite3_step(count.handle) == SQLITE_ROW
                && sqlite3_column_int64(count.handle, 0) == 0
                && setMeta(database, "application", applicationID)
                && setMeta(database, "schemaVersion", std::to_string(schemaVersion));
        } else {
            isSound = owner == applicationID && version == std::to_string(schemaVersion);
        }
    }
    if (!isSound) {
        sqlite3_close(database);
        return nullptr;
    }
    return database;
}

std::string wordsOf(std::string_view name)
{
    std::string words;
    for (auto& word : indexWords(name)) {
        words += word;
        words += ' ';
    }
    return words;
}

// The statements of an update, prepared once for all its rows. A contentless full-text table
// forgets its rows only when told their words again, and the words follow from the name.
class IndexWriter {
public:
    // A staging writer puts the entries of a crawl into the temporary table "crawl" without their
    // words, for a rebuild to order them.
    explicit IndexWriter(sqlite3* database, bool isStaging = false)
        : m_database(database)
        , m_isStaging(isStaging)
        , m_insertFolder(database, "INSERT INTO folders (path) VALUES (?1)")
        , m_findFolder(database, "SELECT id FROM folders WHERE path = ?1")
        , m_insertFile(database,
              isStaging
                  ? "INSERT INTO temp.crawl (folder, name, isFolder, modified) VALUES (?1, ?2, ?3, "
                    "?4)"
                  : "INSERT INTO files (folder, name, isFolder, modified) VALUES (?1, ?2, ?3, ?4)")
        , m_insertWords(database, "INSERT INTO names (rowid, words) VALUES (?1, ?2)")
        , m_deleteWords(
              database, "INSERT INTO names (names, rowid, words) VALUES ('delete', ?1, ?2)")
        , m_findEntry(database, "SELECT id, name FROM files WHERE folder = ?1 AND name = ?2")
        , m_folderEntries(database, "SELECT id, name FROM files WHERE folder = ?1")
        , m_deleteFile(database, "DELETE FROM files WHERE id = ?1")
        , m_subtree(database,
              "SELECT id FROM folders WHERE path = ?1 OR (path >= ?1 || '/' AND path < ?1 || '0')")
        , m_deleteFolder(database, "DELETE FROM folders WHERE id = ?1")
    {
    }

    bool isPrepared() const
    {
        return m_insertFolder && m_findFolder && m_insertFile && m_insertWords && m_deleteWords
            && m_findEntry && m_folderEntries && m_deleteFile && m_subtree && m_deleteFolder;
    }

    bool add(const CrawledEntry& entry)
    {
        std::string_view folder = entry.folder.empty() ? std::string_view("/") : entry.folder;
        if (m_folderID == 0 || folder != m_lastFolder) {
            m_lastFolder = folder;
            m_folderID = folderID(folder);
            if (m_folderID == 0)
                return false;
        }
        m_insertFile.bind(1, m_folderID);
        m_insertFile.bind(2, entry.name);
        m_insertFile.bind(3, std::int64_t { entry.isFolder });
        m_insertFile.bind(4, entry.modified);
        if (!m_insertFile.run())
            return false;
        return m_isStaging || addWords(sqlite3_last_insert_rowid(m_database), entry.name);
    }

    bool addWords(std::int64_t id, std::string_view name)
    {
        m_insertWords.bind(1, id);
        m_insertWords.bind(2, wordsOf(name));
        return m_insertWords.run();
    }

    // The entry at `path` and everything below it.
    bool remove(std::string_view path)
    {
        m_folderID = 0;
        auto slash = path.rfind('/');
        if (slash == std::string_view::npos)
            return true;
        auto parent = slash == 0 ? std::string_view("/") : path.substr(0, slash);
        if (auto parentID = existingFolderID(parent)) {
            m_findEntry.bind(1, parentID);
            m_findEntry.bind(2, path.substr(slash + 1));
            if (!removeRows(m_findEntry))
                return false;
        }
        std::vector<std::int64_t> folders;
        m_subtree.bind(1, path);
        while (sqlite3_step(m_subtree.handle) == SQLITE_ROW)
            folders.push_back(sqlite3_column_int64(m_subtree.handle, 0));
        sqlite3_reset(m_subtree.handle);
        for (auto folder : folders) {
            m_folderEntries.bind(1, folder);
            m_deleteFolder.bind(1, folder);
            if (!removeRows(m_folderEntries) || !m_deleteFolder.run())
                return false;
        }
        return true;
    }

private:
    std::int64_t existingFolderID(std::string_view path)
    {
        m_findFolder.bind(1, path);
        std::int64_t id = sqlite3_step(m_findFolder.handle) == SQLITE_ROW
            ? sqlite3_column_int64(m_findFolder.handle, 0)
            : 0;
        sqlite3_reset(m_findFolder.handle);
        return id;
    }

    std::int64_t folderID(std::string_view path)
    {
        if (auto id = existingFolderID(path))
            return id;
        m_insertFolder.bind(1, path);
        return m_insertFolder.run() ? sqlite3_last_insert_rowid(m_database) : 0;
    }

    // Removes the files that `select`, bound already, yields.
    bool removeRows(Statement& select)
    {
        std::vector<std::pair<std::int64_t, std::string>> rows;
        while (sqlite3_step(select.handle) == SQLITE_ROW)
            rows.emplace_back(sqlite3_column_int64(select.handle, 0), std::string(select.text(1)));
        sqlite3_reset(select.handle);
        for (auto& [id, name] : rows) {
            m_deleteWords.bind(1, id);
            m_deleteWords.bind(2, wordsOf(name));
            m_deleteFile.bind(1, id);
            if (!m_deleteWords.run() || !m_deleteFile.run())
                return false;
        }
        return true;
    }

    sqlite3* m_database;
    bool m_isStaging;
    Statement m_insertFolder;
    Statement m_findFolder;
    Statement m_insertFile;
    Statement m_insertWords;
    Statement m_deleteWords;
    Statement m_findEntry;
    Statement m_folderEntries;
    Statement m_deleteFile;
    Statement m_subtree;
    Statement m_deleteFolder;
    std::string m_lastFolder;
    std::int64_t m_folderID = 0;
};

} // namespace

Result<std::unique_ptr<FileIndex>> FileIndex::open(const fs::path& file)
{
    if (auto* database = openChecked(file))
        return std::unique_ptr<FileIndex>(new FileIndex(database, file));
    // Damaged, foreign or of another version: keep it for a look, and start afresh.
    std::error_code error;
    auto aside = file;
    aside += Paths::corruptExtension;
    fs::rename(file, aside, error);
    for (auto suffix : { "-wal", "-shm" }) {
        auto companion = file;
        companion += suffix;
        fs::remove(companion, error);
    }
    if (auto* database = openChecked(file))
        return std::unique_ptr<FileIndex>(new FileIndex(database, file));
    return Error { "The file index " + file.string() + " cannot be opened or created." };
}

FileIndex::FileIndex(sqlite3* database, fs::path file)
    : m_database(database)
    , m_file(std::move(file))
{
}

FileIndex::~FileIndex()
{
    sqlite3_close(m_database);
}

Result<std::int64_t> FileIndex::rebuild(
    const Scope& scope, Date now, const std::function<void(std::int64_t entries)>& progress)
{
    if (!execute(m_database, "BEGIN IMMEDIATE"))
        return databaseError(m_database, "start an update");
    bool isCleared = execute(m_database,
        "DELETE FROM files; DELETE FROM folders; INSERT INTO names (names) VALUES ('delete-all');"
        "DROP TABLE IF EXISTS temp.crawl;"
        "CREATE TEMP TABLE crawl (folder INTEGER, name TEXT, isFolder INTEGER, modified INTEGER);");
    std::optional<IndexWriter> writer;
    if (isCleared)
        writer.emplace(m_database, true);
    if (!isCleared || !writer->isPrepared()) {
        execute(m_database, "ROLLBACK");
        return databaseError(m_database, "prepare the update");
    }
    std::int64_t entries = 0;
    bool isWritten = true;
    FileCrawler crawler(
        scope.isExcluded,
        [&](const CrawledEntry& entry) {
            isWritten = isWritten && writer->add(entry);
            if (++entries % 10'000 == 0 && progress)
                progress(entries);
        },
        scope.onEnter);
    crawler.crawl(scope.folders);

    // Row ids in order of modification, and entries added later above them, so that the newest
    // matches are the full-text table's last rows and a query keeps the first it meets backwards.
    isWritten = isWritten
        && execute(m_database,
            "INSERT INTO files (folder, name, isFolder, modified) "
            "SELECT folder, name, isFolder, modified FROM temp.crawl ORDER BY modified, rowid;"
            "DROP TABLE temp.crawl;");
    IndexWriter words(m_database);
    Statement rows(m_database, "SELECT id, name FROM files ORDER BY id");
    isWritten = isWritten && words.isPrepared() && rows;
    while (isWritten && sqlite3_step(rows.handle) == SQLITE_ROW)
        isWritten = words.addWords(sqlite3_column_int64(rows.handle, 0), rows.text(1));
    writer.reset();
    if (auto error = finish(isWritten, now))
        return *error;
    if (progress)
        progress(entries);
    return entries;
}

std::optional<Error> FileIndex::refresh(
    const std::vector<std::string>& paths, const Scope& scope, Date now)
{
    if (!execute(m_database, "BEGIN IMMEDIATE"))
        return databaseError(m_database, "start an update");
    IndexWriter writer(m_database);
    bool isWritten = writer.isPrepared();
    FileCrawler crawler(
        scope.isExcluded,
        [&](const CrawledEntry& entry) { isWritten = isWritten && writer.add(entry); },
        scope.onEnter);
    for (auto& path : paths) {
        isWritten = isWritten && writer.remove(path);
        auto slash = path.rfind('/');
        struct stat status { };
        if (!isWritten || slash == std::string::npos || lstat(path.c_str(), &status) != 0)
            continue;
        bool isFolder = S_ISDIR(status.st_mode);
        std::string_view name = std::string_view(path).substr(slash + 1);
        if (FileCrawler::isLeftOut(name, isFolder) || (scope.isExcluded && scope.isExcluded(path)))
            continue;
        auto folder = std::string_view(path).substr(0, slash);
        isWritten
            = writer.add({ folder, name, isFolder, static_cast<std::int64_t>(status.st_mtime) });
        if (isFolder)
            crawler.crawl({ path });
    }
    return finish(isWritten, now);
}

std::optional<Error> FileIndex::finish(bool isWritten, Date now)
{
    if (!isWritten || !setMeta(m_database, "lastUpdate", isoDateText(now))
        || !execute(m_database, "COMMIT")) {
        auto error = databaseError(m_database, "write the update");
        execute(m_database, "ROLLBACK");
        return error;
    }
    return std::nullopt;
}

Result<std::vector<IndexedFile>> FileIndex::search(
    std::string_view term, int limit, bool includeFolders) const
{
    std::vector<IndexedFile> found;
    auto expression = nameMatchExpression(term);
    if (expression.empty() || limit <= 0)
        return found;
    Statement select(m_database,
        "SELECT folders.path, files.name, files.isFolder, files.modified FROM names "
        "JOIN files ON files.id = names.rowid JOIN folders ON folders.id = files.folder "
        "WHERE names MATCH ?1 AND (?2 OR files.isFolder = 0) "
        "ORDER BY names.rowid DESC LIMIT ?3");
    if (!select)
        return databaseError(m_database, "prepare the query");
    select.bind(1, expression);
    select.bind(2, std::int64_t { includeFolders });
    select.bind(3, std::int64_t { limit });
    int code = 0;
    while ((code = sqlite3_step(select.handle)) == SQLITE_ROW) {
        auto folder = select.text(0);
        IndexedFile file { .name = std::string(select.text(1)),
            .isFolder = sqlite3_column_int64(select.handle, 2) != 0,
            .modified = sqlite3_column_int64(select.handle, 3) };
        file.path = (folder == "/" ? std::string() : std::string(folder)) + "/" + file.name;
        found.push_back(std::move(file));
    }
    if (code != SQLITE_DONE)
        return databaseError(m_database, "answer the query");
    return found;
}

FileIndex::Status FileIndex::status() const
{
    Status status;
    auto count = [&](const char* text) {
        Statement select(m_database, text);
        return select && sqlite3_step(select.handle) == SQLITE_ROW
            ? sqlite3_column_int64(select.handle, 0)
            : 0;
    };
    status.files = count("SELECT count(*) FROM files");
    status.folders = count("SELECT count(*) FROM folders");
    std::error_code error;
    for (auto suffix : { "", "-wal" }) {
        auto path = m_file;
        path += suffix;
        auto size = fs::file_size(path, error);
        if (!error)
            status.bytes += size;
    }
    if (auto last = metaValue(m_database, "lastUpdate"))
        status.lastUpdate = parseIsoDate(*last);
    return status;
}

} // namespace zeph
