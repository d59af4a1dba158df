#pragma once

#include "Search/SearchItem.h"
#include "Support/Json.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// Typed text read as a directory and a filter inside it.
struct NavigationQuery {
    std::string directory {}; // Absolute and normalised; "/" for the root.
    std::string filter {}; // What follows the last "/".
    std::string typedDirectory {}; // As typed, through the last "/", so that rows keep the "~".
    bool operator==(const NavigationQuery&) const = default;
};

Json::Value toJSON(const NavigationQuery& query);

// Walking the file system from the search field: pure functions apart from the two questions put
// to the file manager.
namespace FileNavigator {

class FileManager {
public:
    virtual ~FileManager() = default;
    // The entry names, or nothing when the directory cannot be read.
    virtual std::optional<std::vector<std::string>> contentsOfDirectory(
        const std::string& path) const = 0;
    // Follows symbolic links.
    virtual bool isDirectory(const std::string& path) const = 0;
};

const FileManager& systemFileManager();

std::optional<NavigationQuery> parse(std::string_view text, std::string_view home);
// How many rows the panel lists from one directory.
inline constexpr int rowLimit = 300;
std::vector<RankedResult> list(const NavigationQuery& query, bool showHidden, std::string_view home,
    int limit, const FileManager& fileManager);
// The text for the field one level up, or nothing at the root.
std::optional<std::string> parentPath(const NavigationQuery& query);
std::string abbreviate(std::string_view path, std::string_view home);

} // namespace FileNavigator

} // namespace zeph
