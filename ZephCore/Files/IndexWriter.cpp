#include "Files/IndexWriter.h"

#include "Files/IndexWords.h"
#include "Support/Text.h"

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace zeph {

namespace {

// Larger text files are logs, data and generated code, which nobody searches for a word in.
constexpr off_t largestText = 1 << 20;

std::string_view parentOf(std::string_view path)
{
    auto slash = path.rfind('/');
    return slash == 0 ? std::string_view("/") : path.substr(0, slash);
}

// The text inside a regular file of at most `largestText` bytes, in UTF-8; a file that is not
// UTF-8 is read as Latin-1. Nothing for a file with a NUL byte, which is no text.
std::optional<std::string> readText(const std::string& path)
{
    int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0)
        return std::nullopt;
    struct stat status { };
    std::string bytes;
    bool isRead
        = fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= largestText;
    if (isRead) {
        bytes.resize(static_cast<std::size_t>(status.st_size));
        std::size_t filled = 0;
        while (filled < bytes.size()) {
            auto length = read(file, bytes.data() + filled, bytes.size() - filled);
            if (length <= 0)
                break;
            filled += static_cast<std::size_t>(length);
        }
        bytes.resize(filled);
    }
    close(file);
    if (!isRead || bytes.find('\0') != std::string::npos)
        return std::nullopt;
    if (isValidUTF8(bytes))
        return bytes;
    std::string text;
    text.reserve(bytes.size() * 2);
    for (unsigned char byte : bytes)
        appendUTF8(text, byte);
    return text;
}

} // namespace

IndexWriter::IndexWriter(sqlite3* database)
    : m_database(database)
    , m_insertFolder(database, "INSERT INTO folders (path) VALUES (?1)")
    , m_findFolder(database, "SELECT id FROM folders WHERE path = ?1")
    , m_insertFile(
          database, "INSERT INTO files (folder, name, types, modified) VALUES (?1, ?2, ?3, ?4)")
    , m_insertWords(database, "INSERT INTO names (rowid, words) VALUES (?1, ?2)")
    , m_deleteWords(database, "INSERT INTO names (names, rowid, words) VALUES ('delete', ?1, ?2)")
    , m_findEntry(database, "SELECT id, name FROM files WHERE folder = ?1 AND name = ?2")
    , m_folderEntries(database, "SELECT id, name FROM files WHERE folder = ?1")
    , m_deleteFile(database, "DELETE FROM files WHERE id = ?1")
    , m_subtree(database,
          "SELECT id FROM folders WHERE path = ?1 OR (path >= ?1 || '/' AND path < ?1 || '0')")
    , m_deleteFolder(database, "DELETE FROM folders WHERE id = ?1")
    , m_copyFile(database,
          "INSERT INTO files (folder, name, types, modified) "
          "SELECT folder, name, types, modified FROM files WHERE id = ?1")
    , m_moveText(database, "UPDATE texts SET file = ?2 WHERE file = ?1")
    , m_deleteText(database, "DELETE FROM texts WHERE file = ?1")
    , m_countStale(database,
          "INSERT INTO meta (key, value) VALUES ('staleTexts', 1) "
          "ON CONFLICT (key) DO UPDATE SET value = value + 1")
    , m_insertText(database, "INSERT INTO texts (file) VALUES (?1)")
    , m_insertContents(database, "INSERT INTO contents (rowid, words) VALUES (?1, ?2)")
{
}

bool IndexWriter::isPrepared() const
{
    return m_insertFolder && m_findFolder && m_insertFile && m_insertWords && m_deleteWords
        && m_findEntry && m_folderEntries && m_deleteFile && m_subtree && m_deleteFolder
        && m_copyFile && m_moveText && m_deleteText && m_countStale && m_insertText
        && m_insertContents;
}

std::int64_t IndexWriter::existingFolderID(std::string_view path)
{
    m_findFolder.bind(1, path);
    std::int64_t id = m_findFolder.step() ? m_findFolder.integer(0) : 0;
    m_findFolder.reset();
    return id;
}

std::int64_t IndexWriter::folderID(std::string_view path)
{
    if (m_lastFolderID != 0 && path == m_lastFolder)
        return m_lastFolderID;
    auto id = existingFolderID(path);
    if (id == 0) {
        m_insertFolder.bind(1, path);
        id = m_insertFolder.run() ? sqlite3_last_insert_rowid(m_database) : 0;
    }
    m_lastFolder = path;
    m_lastFolderID = id;
    return id;
}

std::int64_t IndexWriter::entryID(std::int64_t folder, std::string_view name)
{
    m_findEntry.bind(1, folder);
    m_findEntry.bind(2, name);
    std::int64_t id = m_findEntry.step() ? m_findEntry.integer(0) : 0;
    m_findEntry.reset();
    return id;
}

std::int64_t IndexWriter::add(
    std::int64_t folder, std::string_view name, ContentTypes::Bits types, std::int64_t modified)
{
    auto id = addEntry(folder, name, types, modified);
    if (id == 0)
        return 0;
    m_insertWords.bind(1, id);
    m_insertWords.bind(2, wordsOf(name));
    return m_insertWords.run() ? id : 0;
}

std::int64_t IndexWriter::addEntry(
    std::int64_t folder, std::string_view name, ContentTypes::Bits types, std::int64_t modified)
{
    m_insertFile.bind(1, folder);
    m_insertFile.bind(2, name);
    m_insertFile.bind(3, std::int64_t { types });
    m_insertFile.bind(4, indexTime(modified));
    return m_insertFile.run() ? sqlite3_last_insert_rowid(m_database) : 0;
}

const std::string& IndexWriter::wordsOf(std::string_view name)
{
    m_words.clear();
    appendIndexWords(name, m_words);
    return m_words;
}

bool IndexWriter::remove(std::int64_t id, std::string_view name)
{
    m_deleteWords.bind(1, id);
    m_deleteWords.bind(2, wordsOf(name));
    m_deleteFile.bind(1, id);
    m_deleteText.bind(1, id);
    if (!m_deleteWords.run() || !m_deleteFile.run() || !m_deleteText.run())
        return false;
    return sqlite3_changes(m_database) == 0 || m_countStale.run();
}

bool IndexWriter::removeRows(SQLiteStatement& select)
{
    std::vector<std::pair<std::int64_t, std::string>> rows;
    while (select.step())
        rows.emplace_back(select.integer(0), std::string(select.text(1)));
    select.reset();
    for (auto& [id, name] : rows) {
        if (!remove(id, name))
            return false;
    }
    return true;
}

bool IndexWriter::removeTree(std::string_view path)
{
    m_lastFolderID = 0;
    auto slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return true;
    if (auto parent = existingFolderID(parentOf(path))) {
        m_findEntry.bind(1, parent);
        m_findEntry.bind(2, path.substr(slash + 1));
        if (!removeRows(m_findEntry))
            return false;
    }
    std::vector<std::int64_t> folders;
    m_subtree.bind(1, path);
    while (m_subtree.step())
        folders.push_back(m_subtree.integer(0));
    m_subtree.reset();
    for (auto folder : folders) {
        if (!removeFolder(folder))
            return false;
    }
    return true;
}

bool IndexWriter::removeFolder(std::int64_t id)
{
    m_lastFolderID = 0;
    m_folderEntries.bind(1, id);
    m_deleteFolder.bind(1, id);
    return removeRows(m_folderEntries) && m_deleteFolder.run();
}

bool IndexWriter::renumber(std::string_view path)
{
    auto slash = path.rfind('/');
    auto folder = slash == std::string_view::npos ? 0 : existingFolderID(parentOf(path));
    auto name = folder == 0 ? std::string_view() : path.substr(slash + 1);
    auto id = folder == 0 ? 0 : entryID(folder, name);
    if (id == 0)
        return true; // Not in the index: outside every scope.
    m_copyFile.bind(1, id);
    if (!m_copyFile.run())
        return false;
    auto renumbered = sqlite3_last_insert_rowid(m_database);
    m_deleteWords.bind(1, id);
    m_deleteWords.bind(2, wordsOf(name));
    m_insertWords.bind(1, renumbered);
    m_insertWords.bind(2, wordsOf(name));
    m_moveText.bind(1, id);
    m_moveText.bind(2, renumbered);
    m_deleteFile.bind(1, id);
    return m_deleteWords.run() && m_insertWords.run() && m_moveText.run() && m_deleteFile.run();
}

std::optional<std::size_t> IndexWriter::addText(std::int64_t file, const std::string& path)
{
    m_insertText.bind(1, file);
    if (!m_insertText.run())
        return std::nullopt;
    auto text = readText(path);
    if (!text)
        return 0;
    auto words = contentWords(*text);
    if (words.empty())
        return text->size();
    m_insertContents.bind(1, sqlite3_last_insert_rowid(m_database));
    m_insertContents.bind(2, words);
    return m_insertContents.run() ? std::optional(text->size()) : std::nullopt;
}

} // namespace zeph
