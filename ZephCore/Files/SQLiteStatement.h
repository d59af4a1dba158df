#pragma once

#include "Support/Result.h"

#include <cstdint>
#include <sqlite3.h>
#include <string>
#include <string_view>

namespace zeph {

// One prepared statement, finalized with its owner. A statement that failed to prepare is false,
// and the database's message says why.
class SQLiteStatement {
public:
    SQLiteStatement(sqlite3* database, const char* text)
    {
        sqlite3_prepare_v2(database, text, -1, &m_handle, nullptr);
    }
    ~SQLiteStatement() { sqlite3_finalize(m_handle); }
    SQLiteStatement(const SQLiteStatement&) = delete;
    SQLiteStatement& operator=(const SQLiteStatement&) = delete;

    explicit operator bool() const { return m_handle != nullptr; }

    void bind(int index, std::string_view text)
    {
        sqlite3_bind_text(
            m_handle, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    void bind(int index, std::int64_t value) { sqlite3_bind_int64(m_handle, index, value); }

    // The next row, or false at the end or on failure (then `isDone` tells which).
    bool step()
    {
        m_code = sqlite3_step(m_handle);
        return m_code == SQLITE_ROW;
    }
    bool isDone() const { return m_code == SQLITE_DONE; }
    // Ready for the next bindings and steps.
    void reset() { sqlite3_reset(m_handle); }
    // One step of a statement that returns no rows, then reset.
    bool run()
    {
        step();
        reset();
        return isDone();
    }

    std::int64_t integer(int column) const { return sqlite3_column_int64(m_handle, column); }
    std::string_view text(int column) const
    {
        auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_handle, column));
        return bytes ? std::string_view(
                   bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_handle, column)))
                     : std::string_view();
    }

private:
    sqlite3_stmt* m_handle = nullptr;
    int m_code = SQLITE_OK;
};

inline bool execute(sqlite3* database, const char* text)
{
    return sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK;
}

inline Error databaseError(sqlite3* database, std::string_view doing)
{
    return Error { "The file index could not " + std::string(doing) + ": "
        + sqlite3_errmsg(database) + "." };
}

} // namespace zeph
