#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// The words under which the file index keeps a name, folded as the matcher folds (case and
// diacritics gone), split where the matcher sees words start and at anything that is neither a
// letter nor a digit, followed by the whole name's letters and digits run together, so that
// "FileCheck" is found by "check", by "file" and by "filech". Each word is appended to `words`
// with a space after it.
void appendIndexWords(std::string_view name, std::string& words);

// The words under which the file index keeps a text file's contents: each distinct folded word
// once, at most `longestWord` bytes of it, separated by spaces.
std::string contentWords(std::string_view text);
inline constexpr std::size_t longestWord = 64;

// The typed words as the index compares them: folded and split as a name's words are, each at
// most `longestWord` bytes.
std::vector<std::string> foldedWords(std::span<const std::string> typed);

// The index's full-text query for folded words: each, cut to its first `characters` characters,
// must begin a word of the name or text. Every word is quoted for the query language, so no word
// can break the query; nothing when there is no word.
std::string prefixExpression(
    std::span<const std::string> folded, std::size_t characters = std::string::npos);

// The index's full-text query for typed words; nothing when there is no letter or digit to look
// for.
std::string matchExpression(std::span<const std::string> typed);

// Whether each folded word begins one of the words under which the index keeps `name`: what the
// full-text query of those words asks of a row.
bool beginsWordsOf(std::string_view name, std::span<const std::string> folded);

} // namespace zeph
