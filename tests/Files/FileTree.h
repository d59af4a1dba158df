#pragma once

#include "Files/FileIndex.h"
#include "Support/TemporaryDirectory.h"

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zeph {

// Trees for the file index's tests: files made with given contents and ages.
inline void makeFile(
    const std::filesystem::path& path, std::string_view contents = "x", int secondsAgo = 0)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
    std::filesystem::last_write_time(
        path, std::filesystem::file_time_type::clock::now() - std::chrono::seconds(secondsAgo));
}

inline void makeFile(const std::filesystem::path& path, int secondsAgo)
{
    makeFile(path, "x", secondsAgo);
}

inline std::vector<std::string> namesOf(const Result<std::vector<IndexedFile>>& files)
{
    std::vector<std::string> list;
    if (!files) {
        ADD_FAILURE() << files.error().message;
        return list;
    }
    for (auto& file : *files)
        list.push_back(file.name);
    return list;
}

// A query for name words, folders included unless `withFolders` is false.
inline FileQuery nameQuery(std::vector<std::string> words, bool withFolders = true)
{
    return { .words = std::move(words), .excludesFolders = !withFolders };
}

inline FileIndex::Scope scopeOf(const std::filesystem::path& folder)
{
    return { .folders = { folder.string() }, .isExcluded = [](std::string_view) { return false; } };
}

inline const Date testNow = Date(std::chrono::seconds(1'795'000'000));

} // namespace zeph
