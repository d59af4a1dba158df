#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// The words under which the file index keeps a name, folded as the matcher folds (case and
// diacritics gone), split where the matcher sees words start and at anything that is neither a
// letter nor a digit, followed by the whole name's letters and digits run together, so that
// "FileCheck" is found by "check", by "file" and by "filech".
std::vector<std::string> indexWords(std::string_view name);

// The index's full-text query for a typed term: each word of the term must begin a word of the
// name. Every word is quoted for the query language, so no term can break the query; nothing when
// the term has no word to look for.
std::string nameMatchExpression(std::string_view term);

} // namespace zeph
