#include "Files/FileIndex.h"

#include "Files/FileCrawler.h"
#include "Files/IndexWords.h"
#include "Files/IndexWriter.h"
#include "Files/RecentlyUsed.h"
#include "Storage/Paths.h"
#include "Support/FileLock.h"
#include "Support/Verify.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>

namespace zeph {

namespace fs = std::filesystem;

namespace {

// Raised when the layout of the tables changes; an index of another version is rebuilt.
constexpr int schemaVersion = 6;
constexpr std::string_view applicationID = "zeph-file-index";

// Ids are never used twice: a contentless full-text table keeps what it was never told to forget
// under the old id. The words arrive folded and split by appendIndexWords, letters and digits only;
// the ascii tokenizer keeps every non-ASCII character inside its word, so each of our words is
// exactly one token, whatever Unicode version SQLite's own tables know. Nothing ranks by the
// number of words in a row, so the full-text tables keep no such counts (`columnsize=0`): a row
// of its own for each entry, 8 % of the file.
const char* const schema = R"(
    CREATE TABLE IF NOT EXISTS meta (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
    CREATE TABLE IF NOT EXISTS folders (id INTEGER PRIMARY KEY, path TEXT NOT NULL);
    CREATE TABLE IF NOT EXISTS files (
        id INTEGER PRIMARY KEY, folder INTEGER NOT NULL, name TEXT NOT NULL,
        types INTEGER NOT NULL, modified INTEGER NOT NULL);
    CREATE INDEX IF NOT EXISTS folderPaths ON folders (path);
    CREATE INDEX IF NOT EXISTS folderEntries ON files (folder, name);
    CREATE TABLE IF NOT EXISTS texts (
        id INTEGER PRIMARY KEY AUTOINCREMENT, file INTEGER NOT NULL UNIQUE);
    CREATE VIRTUAL TABLE IF NOT EXISTS contents USING fts5(
        words, content='', detail=none, prefix='2', tokenize='ascii', columnsize=0);
)";
// Apart from the rest, because a build writes the names' words into a file of its own first.
const char* const namesTable = R"(
    CREATE VIRTUAL TABLE IF NOT EXISTS names USING fts5(
        words, content='', detail=none, prefix='1 2 3', tokenize='ascii', columnsize=0))";

// How much the full-text tables gather in memory before writing a segment, while the whole index
// is built and the rest of the time: fewer, larger segments need fewer merges. (Building a million
// names, 16 MiB takes a tenth less time than 3 MiB, for 23 MB more at the peak.)
constexpr const char* buildingHashSize
    = "INSERT INTO names (names, rank) VALUES ('hashsize', 16777216)";
constexpr const char* usualHashSize
    = "INSERT INTO names (names, rank) VALUES ('hashsize', 1048576)";
// Pages kept in memory while building, in KiB; the usual cache is 2 MiB.
constexpr const char* buildingCache = "PRAGMA cache_size = -4096";
constexpr const char* usualCache = "PRAGMA cache_size = -2000";
// A transaction of the content phase reads at most this many files or bytes, so that the launcher's
// searches and the watcher's changes never wait long.
constexpr std::size_t textsPerBatch = 256;
constexpr std::int64_t bytesPerBatch = 8 << 20;
constexpr std::int64_t reportEvery = 10'000;
// The longest prefix, in characters, that the names table keeps an index of (its `prefix` option).
constexpr std::size_t longestIndexedPrefix = 3;
// A search through those prefixes gives up once it has read this many rows of which fewer than one
// in `sparseShare` matched.
constexpr std::int64_t sparseRowsRead = 24;
constexpr std::int64_t sparseShare = 8;
// How many entries ahead of the one being written a build fetches the name of.
constexpr std::size_t namesAhead = 16;

std::optional<std::string> metaValue(sqlite3* database, std::string_view key)
{
    SQLiteStatement select(database, "SELECT value FROM meta WHERE key = ?1");
    if (!select)
        return std::nullopt;
    select.bind(1, key);
    if (!select.step())
        return std::nullopt;
    return std::string(select.text(0));
}

std::int64_t metaNumber(sqlite3* database, std::string_view key)
{
    auto value = metaValue(database, key);
    return value ? std::strtoll(value->c_str(), nullptr, 10) : 0;
}

bool setMeta(sqlite3* database, std::string_view key, std::string_view value)
{
    SQLiteStatement upsert(database, "INSERT OR REPLACE INTO meta (key, value) VALUES (?1, ?2)");
    if (!upsert)
        return false;
    upsert.bind(1, key);
    upsert.bind(2, value);
    return upsert.run();
}

// The journal mode after asking for `mode`; a database that others have open stays in WAL.
std::string journalMode(sqlite3* database, const char* mode)
{
    SQLiteStatement pragma(database, (std::string("PRAGMA journal_mode = ") + mode).c_str());
    return pragma && pragma.step() ? std::string(pragma.text(0)) : std::string();
}

enum class Soundness { sound, unsound, unreadable, busy };

// One look at the file, without writing to it: the file may be another process's, half created
// or in the middle of a build. Sound means a database, ours, of this version and not left half
// built. (Reading the whole index to prove it sound would cost more than the query it serves;
// SQLite reports damage when it meets it.) Unsound means missing, not a database, damaged, or
// not ours; busy, that another process holds it; unreadable, any other failure (input and
// output, memory), which is no reason to set a file aside.
Soundness examine(const fs::path& file, sqlite3*& database)
{
    auto openForWriting = [&] {
        database = nullptr;
        return sqlite3_open_v2(
                   file.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr)
            == SQLITE_OK;
    };
    bool isOpen = openForWriting();
    // When SQLite cannot open a file for writing it opens it for reading, so a file that another
    // process creates between the two attempts would be left read-only here, and the next write
    // would fail. A second open gets it for writing.
    if (isOpen && sqlite3_db_readonly(database, "main") == 1) {
        sqlite3_close(database);
        isOpen = openForWriting();
    }
    if (!isOpen) {
        sqlite3_close(database);
        database = nullptr;
        std::error_code error;
        return fs::exists(file, error) ? Soundness::unreadable : Soundness::unsound;
    }
    sqlite3_busy_timeout(database, 5000);
    sqlite3_extended_result_codes(database, 1);
    auto soundness = [database] {
        auto failure = [database] {
            switch (sqlite3_errcode(database) & 0xff) {
            case SQLITE_BUSY:
            case SQLITE_LOCKED:
                return Soundness::busy;
            case SQLITE_ERROR: // No such table: another program's database, or an empty file.
            case SQLITE_NOTADB:
            case SQLITE_CORRUPT:
                return Soundness::unsound;
            default:
                return Soundness::unreadable;
            }
        };
        if (!execute(database, "PRAGMA synchronous = NORMAL"))
            return failure();
        std::unordered_map<std::string, std::string> meta;
        SQLiteStatement select(database, "SELECT key, value FROM meta");
        while (select && select.step())
            meta.emplace(select.text(0), select.text(1));
        if (!select || !select.isDone())
            return failure();
        if (meta["application"] != applicationID
            || meta["schemaVersion"] != std::to_string(schemaVersion) || meta["complete"] != "1")
            return Soundness::unsound;
        // A finished index is in WAL mode already; only a build without a journal, which holds
        // the file alone, keeps it from being so.
        return journalMode(database, "WAL") == "wal" ? Soundness::sound : Soundness::busy;
    }();
    if (soundness != Soundness::sound) {
        sqlite3_close(database);
        database = nullptr;
    }
    return soundness;
}

// An empty index, written in one transaction, so that a crash cannot leave a file that looks
// finished without its tables.
bool create(const fs::path& file)
{
    sqlite3* database = nullptr;
    bool isCreated = sqlite3_open_v2(file.c_str(), &database,
                         SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr)
            == SQLITE_OK
        && sqlite3_busy_timeout(database, 5000) == SQLITE_OK
        && journalMode(database, "WAL") == "wal" && execute(database, "BEGIN IMMEDIATE")
        && execute(database, schema) && execute(database, namesTable)
        && setMeta(database, "application", applicationID)
        && setMeta(database, "schemaVersion", std::to_string(schemaVersion))
        && setMeta(database, "complete", "1") && execute(database, "COMMIT");
    sqlite3_close(database);
    return isCreated;
}

// Listing folders is mostly the kernel's work on each entry; it scales with the cores.
int crawlThreads()
{
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 4u));
}

// What a crawl found, kept compactly until it can be written in the order of use: names in blocks
// that never move, entries of 16 bytes in a deque that never copies them to grow. Times are
// seconds in 32 bits (up to 2106; earlier and later ones are clamped), as in the index itself.
class CrawlStage {
public:
    struct Entry {
        std::uint32_t used = 0; // The order of the index.
        std::uint32_t folder = 0;
        std::uint32_t name = 0; // Offset of the name, ended by a NUL, in the blocks.
        ContentTypes::Bits types = 0;
    };

    void add(std::int64_t folder, std::string_view name, ContentTypes::Bits types,
        std::int64_t modified, std::int64_t used)
    {
        verify(folder > 0 && folder <= std::numeric_limits<std::uint32_t>::max());
        if (m_blocks.empty() || m_filled + name.size() + 1 > blockSize) {
            m_blocks.push_back(std::make_unique<char[]>(blockSize));
            m_filled = 0;
        }
        auto offset = (m_blocks.size() - 1) * blockSize + m_filled;
        verify(offset <= std::numeric_limits<std::uint32_t>::max());
        std::memcpy(m_blocks.back().get() + m_filled, name.data(), name.size());
        m_blocks.back()[m_filled + name.size()] = '\0';
        m_filled += name.size() + 1;
        m_entries.push_back({ .used = static_cast<std::uint32_t>(indexTime(used)),
            .folder = static_cast<std::uint32_t>(folder),
            .name = static_cast<std::uint32_t>(offset),
            .types = types });
        // Only what the recently used list names has a moment of use apart from its change.
        if (indexTime(modified) != indexTime(used))
            m_modified.emplace(static_cast<std::uint32_t>(offset),
                static_cast<std::uint32_t>(indexTime(modified)));
    }

    // Puts the entries in the order of use: oldest first; entries used at the same second in the
    // order the crawl met them.
    void sort()
    {
        std::sort(m_entries.begin(), m_entries.end(), [](const Entry& left, const Entry& right) {
            return left.used != right.used ? left.used < right.used : left.name < right.name;
        });
    }

    // Hands each entry to `visit`, in their order, until it returns false; whether none did.
    template <typename Visit> bool forEach(Visit&& visit) const
    {
        for (std::size_t index = 0; index < m_entries.size(); ++index) {
            // The names lie in the order of the crawl, the entries in that of use once sorted:
            // each name would be a cache miss.
            if (index + namesAhead < m_entries.size())
                __builtin_prefetch(name(m_entries[index + namesAhead]));
            if (!visit(m_entries[index]))
                return false;
        }
        return true;
    }

    const char* name(const Entry& entry) const
    {
        return m_blocks[entry.name / blockSize].get() + entry.name % blockSize;
    }

    std::int64_t modified(const Entry& entry) const
    {
        auto found = m_modified.find(entry.name);
        return found == m_modified.end() ? entry.used : found->second;
    }

    std::size_t size() const { return m_entries.size(); }

private:
    // Names are at most 255 bytes, so one always fits a block.
    static constexpr std::size_t blockSize = 1 << 20;
    std::vector<std::unique_ptr<char[]>> m_blocks;
    std::size_t m_filled = 0;
    std::deque<Entry> m_entries;
    std::unordered_map<std::uint32_t, std::uint32_t> m_modified;
};

// The names' words of a build, written into a file beside the index through a connection of their
// own, so that one thread writes them, most of a build's work, while another writes the entries.
// The index's connection attaches the file as "apart" and then takes the full-text table's stored
// pages across as they are, which takes a fraction of the time that writing them took. That
// connection must not read its own names table between its 'delete-all' and the copy: it would
// keep what it read, since the copy is its own change. Both connections hold the file from the
// start, so that a build in another process, which puts a file of its own in its place, cannot
// take it from under them.
class WordsApart {
public:
    WordsApart(sqlite3* index, fs::path file)
        : m_index(index)
        , m_file(std::move(file))
    {
        std::error_code error;
        fs::remove(m_file, error); // Left by a build that crashed.
        if (sqlite3_open_v2(m_file.c_str(), &m_database,
                SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr)
                != SQLITE_OK
            || !execute(m_database, "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF")
            || !execute(m_database, namesTable) || !execute(m_database, buildingHashSize))
            return;
        SQLiteStatement attach(m_index, "ATTACH ?1 AS apart");
        attach.bind(1, m_file.native());
        m_isAttached = attach && attach.run();
    }

    ~WordsApart()
    {
        sqlite3_close(m_database);
        if (m_isAttached)
            execute(m_index, "DETACH apart");
        std::error_code error;
        fs::remove(m_file, error);
    }

    WordsApart(const WordsApart&) = delete;
    WordsApart& operator=(const WordsApart&) = delete;

    bool isAttached() const { return m_isAttached; }

    // Writes the words of the staged entries in their order, with ids counting from 1, in one
    // transaction. Safe on another thread than the index's.
    bool write(const CrawlStage& stage)
    {
        SQLiteStatement insert(m_database, "INSERT INTO names (rowid, words) VALUES (?1, ?2)");
        std::string words;
        std::int64_t id = 0;
        return insert && execute(m_database, "BEGIN")
            && stage.forEach([&](const CrawlStage::Entry& entry) {
                   words.clear();
                   appendIndexWords(stage.name(entry), words);
                   insert.bind(1, ++id);
                   insert.bind(2, words);
                   return insert.run();
               })
            && execute(m_database, "COMMIT");
    }

    // Puts the words written in place of the index's own, which are none.
    bool moveInto() const
    {
        return execute(m_index,
            "DELETE FROM names_data; DELETE FROM names_idx;"
            "INSERT INTO names_data SELECT * FROM apart.names_data;"
            "INSERT INTO names_idx SELECT * FROM apart.names_idx;");
    }

private:
    sqlite3* m_index;
    fs::path m_file;
    sqlite3* m_database = nullptr;
    bool m_isAttached = false;
};

// The moment of use of the entries that the recently used list names, found by folder first so
// that the crawl asks only in the few folders that hold such entries.
class RecentUse {
public:
    explicit RecentUse(const fs::path& file)
        : m_used(file.empty() ? RecentlyUsed() : readRecentlyUsed(file))
    {
        for (auto& [path, moment] : m_used) {
            auto slash = path.rfind('/');
            if (slash != std::string::npos)
                m_folders.insert(path.substr(0, slash));
        }
    }

    // When the entry `name` of `folder` was last used, or its modification time.
    std::int64_t of(std::string_view folder, std::string_view name, std::int64_t modified)
    {
        if (!m_folders.contains(std::string(folder)))
            return modified;
        m_path.assign(folder);
        m_path += '/';
        m_path += name;
        auto found = m_used.find(m_path);
        return found == m_used.end() ? modified : found->second;
    }

    std::int64_t latest() const
    {
        std::int64_t latest = 0;
        for (auto& [path, moment] : m_used)
            latest = std::max(latest, moment);
        return latest;
    }

    const RecentlyUsed& entries() const { return m_used; }

private:
    RecentlyUsed m_used;
    std::unordered_set<std::string> m_folders;
    std::string m_path;
};

std::string_view folderOf(const CrawledEntry& entry)
{
    return entry.folder.empty() ? std::string_view("/") : entry.folder;
}

std::string joinedPath(std::string_view folder, std::string_view name)
{
    std::string path(folder == "/" ? std::string_view() : folder);
    path += '/';
    path += name;
    return path;
}

} // namespace

Result<std::unique_ptr<FileIndex>> FileIndex::open(const fs::path& file, Start start)
{
    // SQLite counts the memory it holds under a lock on every allocation, which nothing here
    // reads: 2 % of a build. The setting must come before the library's first use.
    [[maybe_unused]] static const bool isCounting
        = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) != SQLITE_OK;
    sqlite3* database = nullptr;
    auto look
        = [&] { return start == Start::afresh ? Soundness::unsound : examine(file, database); };
    auto soundness = look();
    std::optional<FileLock> lock;
    if (soundness == Soundness::unsound || soundness == Soundness::unreadable) {
        // One process at a time creates or sets aside, and looks again first: what it saw may
        // have been another process's file half created, since finished.
        auto locked = FileLock::acquire(file.string() + ".lock");
        if (!locked)
            return locked.error();
        lock = std::move(*locked);
        soundness = look();
    }
    if (soundness == Soundness::unsound) {
        // Damaged, unfinished, foreign or of another version: kept for a look, unless the caller
        // asked to start afresh; either way an empty index takes its place.
        std::error_code error;
        if (start == Start::afresh) {
            fs::remove(file, error);
        } else {
            auto aside = file;
            aside += Paths::corruptExtension;
            fs::rename(file, aside, error);
        }
        // Its log belongs to the file gone; a fresh file must not replay it.
        for (auto suffix : { "-wal", "-shm" }) {
            auto companion = file;
            companion += suffix;
            fs::remove(companion, error);
        }
        if (create(file))
            soundness = examine(file, database);
    }
    if (soundness == Soundness::busy)
        return Error { "The file index " + file.string()
            + " is being built by another process; try again when it is done." };
    if (soundness != Soundness::sound)
        return Error { "The file index " + file.string() + " cannot be opened or created." };
    return std::unique_ptr<FileIndex>(new FileIndex(database, file));
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

std::int64_t FileIndex::count(const char* query) const
{
    SQLiteStatement select(m_database, query);
    return select && select.step() ? select.integer(0) : 0;
}

Result<std::int64_t> FileIndex::update(
    const Scope& scope, Date now, const ProgressReport& progress, const std::atomic<bool>* stop)
{
    bool isEmpty = count("SELECT EXISTS (SELECT 1 FROM files)") == 0;
    auto entries = isEmpty ? build(scope, now, progress) : compare(scope, now, progress);
    if (!entries)
        return entries;
    if (auto error = followRecentlyUsed(scope, now))
        return *error;
    if (auto error = indexContents(scope, now, progress, stop))
        return *error;
    return entries;
}

Result<std::int64_t> FileIndex::build(const Scope& scope, Date now, const ProgressReport& progress)
{
    // Alone with the file, the build goes without a journal, under a lock that keeps every reader
    // out, and the file is marked unfinished until the end: a crash midway leaves an index that the
    // next open sets aside. With readers about, it is one transaction in the write-ahead log.
    execute(m_database, "PRAGMA main.locking_mode = EXCLUSIVE");
    bool isJournalOff = journalMode(m_database, "OFF") == "off";
    if (!isJournalOff)
        execute(m_database, "PRAGMA locking_mode = NORMAL");
    else if (!setMeta(m_database, "complete", "0"))
        return databaseError(m_database, "start building");
    // Attached before the transaction, which cannot attach; a deferred one, so that it takes no
    // lock on that file before the other connection is done with it. Its first statement writes,
    // which takes the index's lock at once.
    WordsApart apart(m_database, m_file.string() + ".words");
    if (!apart.isAttached() || !execute(m_database, "BEGIN"))
        return databaseError(m_database, "start building");
    std::optional<IndexWriter> writer;
    bool isWritten
        = execute(m_database,
              "DELETE FROM folders; DELETE FROM texts; DROP INDEX IF EXISTS folderEntries;"
              "INSERT INTO names (names) VALUES ('delete-all');"
              "INSERT INTO contents (contents) VALUES ('delete-all');")
        && execute(m_database, buildingCache);
    if (isWritten)
        writer.emplace(m_database);
    isWritten = isWritten && writer->isPrepared();

    RecentUse recentUse(scope.recentlyUsed);
    auto stage = std::make_unique<CrawlStage>();
    Progress seen;
    std::int64_t folder = 0;
    FileCrawler crawler(
        scope.isExcluded,
        [&](const CrawledEntry& entry) {
            // A failed write ends the build; its folder has no id to file the entry under.
            if (!isWritten)
                return;
            stage->add(folder, entry.name, entry.types(), entry.modified,
                recentUse.of(folderOf(entry), entry.name, entry.modified));
            if (++seen.entries % reportEvery == 0 && progress)
                progress(seen);
        },
        [&](const std::string& path) {
            ++seen.folders;
            folder = isWritten ? writer->folderID(path) : 0;
            isWritten = folder != 0;
            if (scope.onEnter)
                scope.onEnter(path);
        },
        crawlThreads());
    crawler.crawl(scope.folders);

    // Row ids in the order of use, so that the newest matches are the full-text table's last rows
    // and a query keeps the first it meets going backwards. The words are written apart on a
    // second thread while this one writes the entries and their (folder, name) index.
    stage->sort();
    std::int64_t id = 0;
    if (isWritten) {
        bool areWordsWritten = false;
        std::thread words([&] { areWordsWritten = apart.write(*stage); });
        isWritten = stage->forEach([&](const CrawlStage::Entry& entry) {
            return writer->addEntry(
                       entry.folder, stage->name(entry), entry.types, stage->modified(entry))
                == ++id;
        }) && execute(m_database, "CREATE INDEX folderEntries ON files (folder, name)");
        words.join();
        isWritten = isWritten && areWordsWritten && apart.moveInto();
    }
    writer.reset();
    stage.reset();
    isWritten = isWritten && execute(m_database, usualHashSize)
        && setMeta(m_database, "recentlyUsedUntil", std::to_string(recentUse.latest()));
    // The cache goes back after the end, which would otherwise clear the reason of a failure.
    auto error = finish(isWritten, now);
    execute(m_database, usualCache);
    if (error)
        return *error;
    // Written after every page of the build, so that a crash cannot leave the mark without them.
    if (isJournalOff
        && (!setMeta(m_database, "complete", "1")
            || !execute(m_database, "PRAGMA locking_mode = NORMAL")
            || journalMode(m_database, "WAL") != "wal"))
        return databaseError(m_database, "finish building");
    // The crawl's names and the full-text tables' pending words lie freed all over the heap; a
    // watcher that built the index would otherwise hold on to them for its whole life.
    malloc_trim(0);
    if (progress)
        progress(seen);
    return id;
}

Result<std::int64_t> FileIndex::compare(
    const Scope& scope, Date now, const ProgressReport& progress)
{
    if (!execute(m_database, "BEGIN IMMEDIATE"))
        return databaseError(m_database, "start an update");
    IndexWriter writer(m_database);
    SQLiteStatement stored(m_database, "SELECT id, name, modified FROM files WHERE folder = ?1");
    bool isWritten = writer.isPrepared() && stored;

    struct Known {
        std::int64_t id = 0;
        std::int64_t modified = 0;
        bool isSeen = false;
    };
    std::unordered_map<std::string, Known> known; // The current folder's entries in the index.
    std::unordered_set<std::int64_t> entered;
    RecentUse recentUse(scope.recentlyUsed);
    CrawlStage additions;
    Progress seen;
    std::int64_t folder = 0;
    auto forgetUnseen = [&] {
        for (auto& [name, entry] : known) {
            if (!entry.isSeen)
                isWritten = isWritten && writer.remove(entry.id, name);
        }
        known.clear();
    };
    FileCrawler crawler(
        scope.isExcluded,
        [&](const CrawledEntry& entry) {
            // A failed write ends the update; its folder has no id to file the entry under.
            if (!isWritten)
                return;
            auto found = known.find(std::string(entry.name));
            if (found != known.end()) {
                found->second.isSeen = true;
                if (found->second.modified == indexTime(entry.modified))
                    return;
                isWritten = isWritten && writer.remove(found->second.id, found->first);
            }
            additions.add(folder, entry.name, entry.types(), entry.modified,
                recentUse.of(folderOf(entry), entry.name, entry.modified));
            if (++seen.entries % reportEvery == 0 && progress)
                progress(seen);
        },
        [&](const std::string& path) {
            forgetUnseen();
            ++seen.folders;
            folder = isWritten ? writer.folderID(path) : 0;
            isWritten = folder != 0;
            entered.insert(folder);
            stored.bind(1, folder);
            while (isWritten && stored.step())
                known[std::string(stored.text(1))] = { stored.integer(0), stored.integer(2) };
            stored.reset();
            if (scope.onEnter)
                scope.onEnter(path);
        },
        crawlThreads());
    crawler.crawl(scope.folders);
    forgetUnseen();

    // Folders the crawl no longer enters: gone, excluded, or out of every scope.
    std::vector<std::int64_t> gone;
    SQLiteStatement folders(m_database, "SELECT id FROM folders");
    while (isWritten && folders.step()) {
        if (!entered.contains(folders.integer(0)))
            gone.push_back(folders.integer(0));
    }
    folders.reset();
    for (auto id : gone)
        isWritten = isWritten && writer.removeFolder(id);

    additions.sort();
    isWritten = isWritten && additions.forEach([&](const CrawlStage::Entry& entry) {
        return writer.add(
                   entry.folder, additions.name(entry), entry.types, additions.modified(entry))
            != 0;
    });
    if (auto error = finish(isWritten, now))
        return *error;
    if (progress)
        progress(seen);
    return count("SELECT count(*) FROM files");
}

std::optional<Error> FileIndex::followRecentlyUsed(const Scope& scope, Date now)
{
    if (scope.recentlyUsed.empty())
        return std::nullopt;
    auto until = metaNumber(m_database, "recentlyUsedUntil");
    RecentUse recentUse(scope.recentlyUsed);
    std::vector<std::pair<std::int64_t, std::string>> used;
    for (auto& [path, moment] : recentUse.entries()) {
        if (moment > until)
            used.emplace_back(moment, path);
    }
    if (used.empty())
        return std::nullopt;
    std::sort(used.begin(), used.end());
    std::vector<std::string> paths;
    for (auto& [moment, path] : used)
        paths.push_back(std::move(path));
    if (!execute(m_database, "BEGIN IMMEDIATE"))
        return databaseError(m_database, "start an update");
    IndexWriter writer(m_database);
    bool isWritten = writer.isPrepared();
    for (auto& path : paths)
        isWritten = isWritten && writer.renumber(path);
    isWritten
        = isWritten && setMeta(m_database, "recentlyUsedUntil", std::to_string(used.back().first));
    return finish(isWritten, now);
}

std::optional<Error> FileIndex::indexContents(
    const Scope& scope, Date now, const ProgressReport& progress, const std::atomic<bool>* stop)
{
    auto stale = metaNumber(m_database, "staleTexts");
    auto read = count("SELECT count(*) FROM texts");
    // Forgotten texts stay in the contents table; once they outnumber the live ones, start over.
    bool isCleared = !scope.indexesContents || (stale > 1000 && stale > read);
    if (isCleared && (read > 0 || stale > 0)) {
        if (!execute(m_database, "BEGIN IMMEDIATE"))
            return databaseError(m_database, "start an update");
        bool isWritten = execute(m_database,
                             "DELETE FROM texts; INSERT INTO contents (contents) VALUES "
                             "('delete-all');")
            && setMeta(m_database, "staleTexts", "0");
        if (auto error = finish(isWritten, now))
            return error;
    }
    if (!scope.indexesContents)
        return std::nullopt;

    std::vector<std::int64_t> unread;
    SQLiteStatement select(m_database,
        "SELECT id FROM files WHERE (types & ?1) != 0 "
        "AND NOT EXISTS (SELECT 1 FROM texts WHERE texts.file = files.id) ORDER BY id");
    if (!select)
        return databaseError(m_database, "find the text files");
    select.bind(1, std::int64_t { ContentTypes::text() });
    while (select.step())
        unread.push_back(select.integer(0));
    if (!select.isDone())
        return databaseError(m_database, "find the text files");
    select.reset();

    Progress done { .phase = Progress::Phase::contents,
        .textsToRead = static_cast<std::int64_t>(unread.size()) };
    SQLiteStatement pathOf(m_database,
        "SELECT folders.path, files.name FROM files JOIN folders ON folders.id = files.folder "
        "WHERE files.id = ?1");
    for (std::size_t start = 0; start < unread.size();) {
        if (stop && *stop)
            break;
        if (!execute(m_database, "BEGIN IMMEDIATE"))
            return databaseError(m_database, "start an update");
        IndexWriter writer(m_database);
        bool isWritten = writer.isPrepared() && pathOf;
        std::int64_t bytes = 0;
        auto end = std::min(unread.size(), start + textsPerBatch);
        for (; isWritten && start < end && bytes < bytesPerBatch; ++start) {
            pathOf.bind(1, unread[start]);
            if (!pathOf.step()) {
                pathOf.reset();
                continue; // Gone since: a watcher's refresh took it.
            }
            auto path = joinedPath(pathOf.text(0), pathOf.text(1));
            pathOf.reset();
            auto bytesRead = writer.addText(unread[start], path);
            isWritten = bytesRead.has_value();
            bytes += static_cast<std::int64_t>(bytesRead.value_or(0));
            ++done.textsRead;
        }
        if (auto error = finish(isWritten, now))
            return error;
        if (progress)
            progress(done);
    }
    return std::nullopt;
}

std::optional<Error> FileIndex::refresh(
    const std::vector<std::string>& paths, const Scope& scope, Date now)
{
    if (!execute(m_database, "BEGIN IMMEDIATE"))
        return databaseError(m_database, "start an update");
    IndexWriter writer(m_database);
    ContentTypes types;
    bool isWritten = writer.isPrepared();
    std::vector<std::pair<std::int64_t, std::string>> texts;
    auto add = [&](std::string_view folder, std::string_view name, ContentTypes::Bits bits,
                   std::int64_t modified) {
        auto folderID = isWritten ? writer.folderID(folder) : 0;
        auto id = folderID == 0 ? 0 : writer.add(folderID, name, bits, modified);
        isWritten = id != 0;
        if (scope.indexesContents && (bits & ContentTypes::text()) != 0)
            texts.emplace_back(id, joinedPath(folder, name));
    };
    FileCrawler crawler(
        scope.isExcluded,
        [&](const CrawledEntry& entry) {
            add(folderOf(entry), entry.name, entry.types(), entry.modified);
        },
        scope.onEnter);
    for (auto& path : paths) {
        isWritten = isWritten && writer.removeTree(path);
        auto slash = path.rfind('/');
        struct stat status { };
        if (!isWritten || slash == std::string::npos || lstat(path.c_str(), &status) != 0)
            continue;
        bool isFolder = S_ISDIR(status.st_mode);
        std::string name = path.substr(slash + 1);
        if (FileCrawler::isLeftOut(name, isFolder) || (scope.isExcluded && scope.isExcluded(path)))
            continue;
        auto folder = slash == 0 ? std::string("/") : path.substr(0, slash);
        int folderDescriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        add(folder, name, types.ofEntry(folderDescriptor, name.c_str(), status), status.st_mtime);
        if (folderDescriptor >= 0)
            close(folderDescriptor);
        if (isFolder)
            crawler.crawl({ path });
    }
    for (auto& [id, path] : texts)
        isWritten = isWritten && writer.addText(id, path).has_value();
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

Result<std::vector<IndexedFile>> FileIndex::search(std::string_view predicate, int limit) const
{
    auto query = FileQuery::parse(predicate);
    if (!query)
        return query.error();
    return search(*query, limit);
}

Result<std::vector<IndexedFile>> FileIndex::search(const FileQuery& query, int limit) const
{
    std::vector<IndexedFile> found;
    auto words = foldedWords(query.words);
    if (words.empty() || limit <= 0 || (query.types && *query.types == 0))
        return found;
    auto add = [&](std::string_view folder, std::string_view name, std::int64_t bits,
                   std::int64_t modified) {
        auto types = static_cast<ContentTypes::Bits>(bits);
        found.push_back({ .path = joinedPath(folder, name),
            .name = std::string(name),
            .isFolder = (types & ContentTypes::folder()) != 0,
            .types = types,
            .modified = modified });
    };
    auto typesWanted = query.types ? std::int64_t { *query.types } : std::int64_t { -1 };
    auto typesRefused = std::int64_t { query.excludesFolders ? ContentTypes::folder() : 0 };
    bool isName = query.field == FileQuery::Field::name;

    // A word longer than the prefix tables reach makes the full-text table merge the lists of every
    // word it begins before the first row: milliseconds for a beginning as common as "conf". The
    // rows of the words' first characters, newest first and checked against the whole words, give
    // the same answer at the cost of the rows read; where few of them match, reading on would cost
    // more than the merge.
    // The cut query differs from the whole one exactly when a word reaches beyond the prefixes.
    auto expression = prefixExpression(words);
    auto shortExpression = prefixExpression(words, longestIndexedPrefix);
    if (isName && shortExpression != expression) {
        SQLiteStatement rows(m_database,
            "SELECT files.folder, files.name, files.types, files.modified FROM names "
            "JOIN files ON files.id = names.rowid WHERE names MATCH ?1 "
            "AND (?2 < 0 OR (files.types & ?2) != 0) AND (files.types & ?3) = 0 "
            "ORDER BY names.rowid DESC");
        SQLiteStatement folder(m_database, "SELECT path FROM folders WHERE id = ?1");
        if (!rows || !folder)
            return databaseError(m_database, "prepare the query");
        rows.bind(1, shortExpression);
        rows.bind(2, typesWanted);
        rows.bind(3, typesRefused);
        std::int64_t read = 0;
        bool isSparse = false;
        while (std::ssize(found) < limit && !isSparse && rows.step()) {
            // The folder only for a match: most rows read are not.
            if (beginsWordsOf(rows.text(1), words)) {
                folder.bind(1, rows.integer(0));
                if (folder.step())
                    add(folder.text(0), rows.text(1), rows.integer(2), rows.integer(3));
                folder.reset();
            }
            isSparse = ++read >= sparseRowsRead && std::ssize(found) * sparseShare < read;
        }
        if (std::ssize(found) == limit || rows.isDone())
            return found;
        if (!isSparse)
            return databaseError(m_database, "answer the query");
        found.clear();
    }

    SQLiteStatement select(m_database,
        isName ? "SELECT folders.path, files.name, files.types, files.modified FROM names "
                 "JOIN files ON files.id = names.rowid JOIN folders ON folders.id = files.folder "
                 "WHERE names MATCH ?1 AND (?2 < 0 OR (files.types & ?2) != 0) "
                 "AND (files.types & ?3) = 0 ORDER BY names.rowid DESC LIMIT ?4"
               : "SELECT folders.path, files.name, files.types, files.modified FROM contents "
                 "JOIN texts ON texts.id = contents.rowid JOIN files ON files.id = texts.file "
                 "JOIN folders ON folders.id = files.folder "
                 "WHERE contents MATCH ?1 ORDER BY contents.rowid DESC LIMIT ?4");
    if (!select)
        return databaseError(m_database, "prepare the query");
    select.bind(1, expression);
    select.bind(2, typesWanted);
    select.bind(3, typesRefused);
    select.bind(4, std::int64_t { limit });
    while (select.step())
        add(select.text(0), select.text(1), select.integer(2), select.integer(3));
    if (!select.isDone())
        return databaseError(m_database, "answer the query");
    return found;
}

void FileIndex::interrupt() const
{
    sqlite3_interrupt(m_database);
}

void FileIndex::recordWatching(std::int64_t watched, std::int64_t unwatched)
{
    setMeta(m_database, "watchedFolders", std::to_string(watched));
    setMeta(m_database, "unwatchedFolders", std::to_string(unwatched));
}

FileIndex::Status FileIndex::status() const
{
    Status status;
    status.files = count("SELECT count(*) FROM files");
    status.folders = count("SELECT count(*) FROM folders");
    status.texts = count("SELECT count(*) FROM texts");
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
    if (metaValue(m_database, "watchedFolders")) {
        status.watchedFolders = metaNumber(m_database, "watchedFolders");
        status.unwatchedFolders = metaNumber(m_database, "unwatchedFolders");
    }
    return status;
}

} // namespace zeph
