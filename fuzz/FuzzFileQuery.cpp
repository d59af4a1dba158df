// Arbitrary text through the file index's query: as a typed term, its predicate reads back with
// the term's words, no word can break the full-text query, and a name made of the words is found;
// as a predicate, it reads or is refused, never worse. After a tab, the rest is a name: the
// full-text table finds it exactly when the word check says so, and through the words' first
// three characters whenever it does.
#include "Files/FileQuery.h"
#include "Files/FileSearcher.h"
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
                         "prefix='1 2 3', tokenize='ascii')",
                         nullptr, nullptr, nullptr)
            == SQLITE_OK);
        return made;
    }();
    return opened;
}

// Whether the expression finds a row of these words; it must always be a valid query.
bool finds(const std::string& words, const std::string& expression)
{
    auto* db = database();
    // A contentless table forgets only through its own command.
    zeph::verify(sqlite3_exec(db, "INSERT INTO names (names) VALUES ('delete-all')", nullptr,
                     nullptr, nullptr)
        == SQLITE_OK);
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
    int code = sqlite3_step(select);
    sqlite3_finalize(select);
    zeph::verify(code == SQLITE_ROW || code == SQLITE_DONE);
    return code == SQLITE_ROW;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    if (auto query = zeph::FileQuery::parse(text)) {
        auto expression = zeph::matchExpression(query->words);
        if (!expression.empty())
            finds("", expression);
    }

    if (auto tab = text.find('\t'); tab != std::string::npos) {
        auto name = zeph::sanitizedUTF8(text.substr(tab + 1));
        std::vector<std::string> typed { zeph::sanitizedUTF8(text.substr(0, tab)) };
        auto folded = zeph::foldedWords(typed);
        if (!folded.empty()) {
            std::string words;
            zeph::appendIndexWords(name, words);
            bool isFound = finds(words, zeph::prefixExpression(folded));
            zeph::verify(isFound == zeph::beginsWordsOf(name, folded));
            zeph::verify(!isFound || finds(words, zeph::prefixExpression(folded, 3)));
        }
    }

    auto term = zeph::sanitizedUTF8(text);
    zeph::SearchSettings settings;
    auto predicate = zeph::FileSearcher::predicate({ .term = term, .limit = 40 }, settings);
    std::vector<std::string> pieces;
    for (std::size_t start = 0; start <= term.size();) {
        auto end = std::min(term.find(' ', start), term.size());
        if (end > start)
            pieces.push_back(term.substr(start, end - start));
        start = end + 1;
    }
    auto query = zeph::FileQuery::parse(predicate);
    zeph::verify(query.has_value() == !pieces.empty());
    if (!query)
        return 0;
    zeph::verify(query->words == pieces);
    auto expression = zeph::matchExpression(query->words);
    if (expression.empty())
        return 0;
    std::string words;
    for (auto& piece : pieces)
        zeph::appendIndexWords(piece, words);
    zeph::verify(finds(words, expression));
    return 0;
}
