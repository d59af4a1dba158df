#pragma once

#include "Support/Result.h"

#include <cstdint>
#include <filesystem>
#include <optional>

// Unpacking zip archives from elsewhere into a folder of our own, refusing what could reach outside
// it or fill the disk.
namespace zeph::ZipArchive {

struct Limits {
    std::size_t maximumEntries = 10'000;
    std::uint64_t maximumBytes = 64 * 1024 * 1024; // Unpacked, all entries together.
};

// Unpacks `archive` into `folder`, which must exist. Only plain files, folders and links that stay
// inside the folder are made; files get mode 0644 and folders 0755, so everything can be read and
// removed. On failure, what was unpacked so far stays for the caller to remove, and the error says
// why in a sentence about the archive.
std::optional<Error> extract(const std::filesystem::path& archive,
    const std::filesystem::path& folder, const Limits& limits = {});

} // namespace zeph::ZipArchive
