#pragma once

#include "Snippets/Snippet.h"
#include "Support/Result.h"
#include "Support/ZipArchive.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Brings snippets along from ".alfredsnippets" packs: a zip archive holding "info.plist" with the
// keyword prefix and suffix, and one JSON file a snippet. Nothing here touches the store; the
// caller appends what comes back.
namespace zeph::AlfredSnippetImporter {

enum class ImportError { noSnippets };
// The sentence shown after the pack's file name.
std::string message(ImportError error);

// The keyword prefix and suffix of a pack. Whatever cannot be read gives "" for that value.
struct PackInfo {
    std::string prefix {};
    std::string suffix {};
    bool operator==(const PackInfo&) const = default;
};
// Reads the bytes of "info.plist", binary or XML.
PackInfo packInfo(std::string_view plist);
// Reads the bytes of one snippet file; nothing for one that is not a snippet. A missing "uid"
// gives a new UUID.
std::optional<Snippet> snippet(std::string_view json);

// The collection of an unpacked pack in `directory`: its snippet files in the order of their
// names, whatever the file system's order. Unreadable files are skipped without a word; a pack
// with no snippet at all fails with ImportError::noSnippets.
Result<SnippetCollection> collection(std::string name, const std::filesystem::path& directory);

// Alfred's clipboard-history placeholders "{clipboard:N}" become "{clipboard}", the only
// clipboard this program knows.
std::string convertPlaceholders(std::string_view text);

struct PackImport {
    std::vector<SnippetCollection> collections {}; // One for each pack that worked, in order.
    std::vector<std::string> errors {}; // "file name: message", one for each pack that failed.
};
// Unpacks each pack into a new folder under `temporaryDirectory` and reads it as a collection
// named after the file; the folder is removed whatever happens.
PackImport importPacks(const std::vector<std::filesystem::path>& files,
    const std::filesystem::path& temporaryDirectory, const ZipArchive::Limits& limits = {});

} // namespace zeph::AlfredSnippetImporter
