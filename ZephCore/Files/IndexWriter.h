#pragma once

#include "Files/ContentTypes.h"
#include "Files/SQLiteStatement.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// A moment as the index keeps it: seconds in 32 bits, earlier and later ones clamped.
inline std::int64_t indexTime(std::int64_t seconds)
{
    return std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<std::uint32_t>::max());
}

// The statements that change the file index, prepared once for all the rows of an update. A
// contentless full-text table forgets a row only when told its words again; a name's words follow
// from the name, but a file's text may be gone, so a text row that is forgotten stays in the
// contents table unreachable (no "texts" row leads to it) and is counted, until a rebuild of the
// contents table clears them all.
class IndexWriter {
public:
    explicit IndexWriter(sqlite3* database);

    bool isPrepared() const;

    // The id of the folder at `path`, added when missing; 0 on failure.
    std::int64_t folderID(std::string_view path);
    // Adds one entry and its words, under the next id. The new id, or 0.
    std::int64_t add(std::int64_t folder, std::string_view name, ContentTypes::Bits types,
        std::int64_t modified);
    // Adds one entry without its words, which the caller writes elsewhere. The new id, or 0.
    std::int64_t addEntry(std::int64_t folder, std::string_view name, ContentTypes::Bits types,
        std::int64_t modified);
    // Forgets one entry, its words and its text.
    bool remove(std::int64_t id, std::string_view name);
    // Forgets the folder `id` and the entries in it, not those in its subfolders.
    bool removeFolder(std::int64_t id);
    // Forgets the entry at `path` and everything below it.
    bool removeTree(std::string_view path);
    // Gives the entry at `path`, if the index holds it, the next id, keeping its text.
    bool renumber(std::string_view path);
    // Reads the text file `path` into the contents table under `file`; a file that holds no text
    // is remembered as read. The number of bytes read, or nothing when the index cannot be written.
    std::optional<std::size_t> addText(std::int64_t file, const std::string& path);

private:
    // The words of a name as the full-text table takes them, in a buffer reused for every row.
    const std::string& wordsOf(std::string_view name);
    std::int64_t existingFolderID(std::string_view path);
    // The entry `name` in `folder`: its id, or 0.
    std::int64_t entryID(std::int64_t folder, std::string_view name);
    // Removes the entries that `select`, bound already, yields as (id, name).
    bool removeRows(SQLiteStatement& select);

    sqlite3* m_database;
    SQLiteStatement m_insertFolder;
    SQLiteStatement m_findFolder;
    SQLiteStatement m_insertFile;
    SQLiteStatement m_insertWords;
    SQLiteStatement m_deleteWords;
    SQLiteStatement m_findEntry;
    SQLiteStatement m_folderEntries;
    SQLiteStatement m_deleteFile;
    SQLiteStatement m_subtree;
    SQLiteStatement m_deleteFolder;
    SQLiteStatement m_copyFile;
    SQLiteStatement m_moveText;
    SQLiteStatement m_deleteText;
    SQLiteStatement m_countStale;
    SQLiteStatement m_insertText;
    SQLiteStatement m_insertContents;
    std::string m_lastFolder;
    std::int64_t m_lastFolderID = 0;
    std::string m_words;
};

} // namespace zeph
