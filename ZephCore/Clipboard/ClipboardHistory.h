#pragma once

#include "Clipboard/ClipboardItem.h"
#include "Storage/PasswordManagers.h"
#include "Support/Json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// The clipboard preferences, under "clipboard" in the settings. Tolerant on reading.
struct ClipboardSettings {
    bool enabled = true;
    std::int64_t retentionDays = 30;
    bool includeImages = true;
    bool keepPinnedForever = true;
    std::vector<std::string> excludedBundleIDs
        = passwordManagerIDs(); // Copies from these are not kept.
    std::int64_t maxItems = 200;
    bool operator==(const ClipboardSettings&) const = default;
};

Json::Value toJSON(const ClipboardSettings& settings);
Result<ClipboardSettings> clipboardSettingsFromJSON(const Json::Value& json);

// The history, "clipboard.json": pinned entries first, then newest first. Every operation that
// removes entries returns them, so that the owner can delete their image files.
struct ClipboardHistory {
    std::vector<ClipboardItem> items {};
    bool operator==(const ClipboardHistory&) const = default;

    // Puts `item` on top. A text equal to an earlier non-image entry's replaces that entry and
    // takes over its id and pin. Then at most `maxItems` unpinned entries stay.
    std::vector<ClipboardItem> add(ClipboardItem item, std::int64_t maxItems);
    // Removes what is older than the retention (pinned entries only when they are not kept for
    // ever), then applies the limit; the aged entries come first in the result.
    std::vector<ClipboardItem> prune(const ClipboardSettings& settings, Date now);
    // An unknown id changes nothing.
    void setPinned(std::string_view id, bool pinned);
    std::optional<ClipboardItem> remove(std::string_view id);
    std::vector<ClipboardItem> removeAll(bool keepingPinned);
    const ClipboardItem* item(std::string_view id) const;
    // Pinned first, then newer first; a stable sort.
    void sort();
};

Json::Value toJSON(const ClipboardHistory& history);
Result<ClipboardHistory> clipboardHistoryFromJSON(const Json::Value& json);

template <> struct DocumentCoding<ClipboardHistory> {
    static Json::Value encode(const ClipboardHistory& history) { return toJSON(history); }
    static Result<ClipboardHistory> decode(const Json::Value& json)
    {
        return clipboardHistoryFromJSON(json);
    }
};

} // namespace zeph
