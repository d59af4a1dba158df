#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace zeph::RunningApplication {

// The documents that the running application keeps in memory go through it while it runs, over
// the session bus, so that its next save keeps what the command line changed.

struct Document {
    std::string text {};
    std::uint64_t version = 0;
};

// The application's copy of the document; nothing when no application runs on this data folder
// (or there is no session bus), and the file is then the document.
std::optional<Document> get(const std::filesystem::path& dataFolder, std::string_view fileName);

// Hands the changed document back. Nothing when the application is gone; else an empty text when
// taken, or why not.
std::optional<std::string> set(const std::filesystem::path& dataFolder, std::string_view fileName,
    const std::string& text, std::uint64_t version);

// What `set` answers when the document changed since `get`: read again and retry.
inline constexpr std::string_view staleRefusal = "The document changed meanwhile.";

} // namespace zeph::RunningApplication
