// Arbitrary typed terms through the file index's query: no term can break the query text, and
// every term's words are found again in a name made of them.
#include "Files/IndexWords.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <sqlite3.h>
#include <string>

namespace {

sqlite3* database()
{
    static sqlite3* opened = [] {
        sqlite3* made = nullptr;
        zeph::verify(sqlite3_open(":memory:", &made) == SQLITE_OK);
        zeph::verify(sqlite3_exec(made,
                         "CREATE VIRTUAL TABLE names USING fts5(words, content='', detail=none, "
                         "prefix='1 2', tokenize='ascii')",
                         nullptr, nullptr, nullptr)
            == SQLITE_OK);
        return made;
    }();
    return opened;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string term(reinterpret_cast<const char*>(data), size);
    auto expression = zeph::nameMatchExpression(term);
    if (expression.empty())
        return 0;
    auto* db = database();
    std::string words;
    for (auto& word : zeph::indexWords(zeph::sanitizedUTF8(term)))
        words += word + " ";
    sqlite3_exec(db, "DELETE FROM names; INSERT INTO names(names) VALUES('delete-all')", nullptr,
        nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    zeph::verify(sqlite3_prepare_v2(
                     db, "INSERT INTO names (rowid, words) VALUES (1, ?1)", -1, &insert, nullptr)
        == SQLITE_OK);
    sqlite3_bind_text(insert, 1, words.c_str(), -1, SQLITE_TRANSIENT);
    zeph::verify(sqlite3_step(insert) == SQLITE_DONE);
    sqlite3_finalize(insert);

    sqlite3_stmt* select = nullptr;
    zeph::verify(
        sqlite3_prepare_v2(db, "SELECT rowid FROM names WHERE names MATCH ?1", -1, &select, nullptr)
        == SQLITE_OK);
    sqlite3_bind_text(select, 1, expression.c_str(), -1, SQLITE_TRANSIENT);
    // The query must be valid, and the name made of the term's own words must match it.
    zeph::verify(sqlite3_step(select) == SQLITE_ROW);
    sqlite3_finalize(select);
    return 0;
}
