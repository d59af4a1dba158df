#pragma once

#include "Support/EnumTable.h"
#include "Support/IsoDate.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <optional>
#include <string>
#include <string_view>

namespace zeph {

enum class ClipboardKind { text, link, colour, code, image };

template <>
inline constexpr auto
    enumNames<ClipboardKind> = std::to_array<std::pair<ClipboardKind, std::string_view>>({
        { ClipboardKind::text, "text" },
        { ClipboardKind::link, "link" },
        { ClipboardKind::colour, "colour" },
        { ClipboardKind::code, "code" },
        { ClipboardKind::image, "image" },
    });
static_assert(isCompleteEnumTable<ClipboardKind>());

std::string_view title(ClipboardKind kind);
std::string_view symbolName(ClipboardKind kind);

// One entry of the clipboard history. Strict on reading: "id", "kind", "text", "date" and "pinned"
// are required.
struct ClipboardItem {
    std::string id {};
    ClipboardKind kind = ClipboardKind::text;
    std::string text {}; // For an image, a description such as "Image 1280 × 800".
    std::optional<std::string> imageFile {}; // A file name in the "Clipboard" folder; images only.
    std::optional<std::string> sourceApp {};
    std::optional<std::string> sourceBundleID {};
    Date date {}; // A repeat copy gives the newer moment.
    bool pinned = false;
    bool operator==(const ClipboardItem&) const = default;

    // The first rule that fits: a colour, a link, code by its look, else text.
    static ClipboardKind classify(std::string_view text);
    // Up to the first line break, without spaces and tabs at either end.
    std::string_view firstLine() const;
};

Json::Value toJSON(const ClipboardItem& item);
Result<ClipboardItem> clipboardItemFromJSON(const Json::Value& json);

} // namespace zeph
