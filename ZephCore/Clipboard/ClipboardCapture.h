#pragma once

#include "Clipboard/ClipboardHistory.h"
#include "Clipboard/ClipboardItem.h"
#include "Storage/JSONFileStore.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The rules that turn one copy into a history entry, whoever watches the clipboard: what must not
// be remembered, how a text is cut and classified, and where an image's bytes go.
namespace zeph::ClipboardCapture {

// Longest text kept, in characters.
inline constexpr std::size_t maximumTextLength = 100'000;

// True when the copy carries a type that marks it concealed, transient or generated (the
// community's conventions, and the KDE password managers' hint), or when the Wayland clipboard
// state says "sensitive".
bool isIgnored(const std::vector<std::string>& types, std::string_view clipboardState = {});
// Application ids compare without regard to case.
bool isExcludedApplication(std::string_view applicationID, const ClipboardSettings& settings);

struct Source {
    std::optional<std::string> app {};
    std::optional<std::string> bundleID {};
    bool operator==(const Source&) const = default;
};

// The entry a copied text makes: a new id, its kind, the text untrimmed but cut to its first
// 100,000 characters, invalid UTF-8 replaced. Nothing for a text of only whitespace and line
// breaks.
std::optional<ClipboardItem> textItem(std::string_view text, Date now, const Source& source = {});

struct PixelSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool operator==(const PixelSize&) const = default;
};
// Read off the PNG header; nothing for bytes that are not a PNG.
std::optional<PixelSize> pngSize(std::string_view bytes);

// Writes the PNG atomically into `imagesFolder` as "<new UUID>.png" and makes its entry, titled
// "Image 1280 × 800". Fails, writing nothing, for bytes that are not a PNG or a failed write.
Result<ClipboardItem> imageItem(std::string_view png, const std::filesystem::path& imagesFolder,
    Date now, const Source& source = {}, FileWriting& writer = atomicFileWriter());

// Deletes the image files of entries that left the history. Only a plain file name inside the
// folder is ever deleted, whatever a hand-edited document says.
void deleteImageFiles(
    const std::vector<ClipboardItem>& removed, const std::filesystem::path& imagesFolder);

} // namespace zeph::ClipboardCapture
