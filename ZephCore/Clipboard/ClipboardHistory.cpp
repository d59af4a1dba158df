#include "Clipboard/ClipboardHistory.h"

#include <algorithm>

namespace zeph {

namespace {

bool precedes(const ClipboardItem& first, const ClipboardItem& second)
{
    if (first.pinned != second.pinned)
        return first.pinned;
    return first.date > second.date;
}

// Moves the entries that `leaves` selects out of `items`, keeping the order of both. `leaves` sees
// each entry once, in order, so it may count.
template <typename Predicate>
std::vector<ClipboardItem> extract(std::vector<ClipboardItem>& items, Predicate leaves)
{
    std::vector<ClipboardItem> removed;
    std::size_t kept = 0;
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (leaves(items[index])) {
            removed.push_back(std::move(items[index]));
        } else {
            if (kept != index)
                items[kept] = std::move(items[index]);
            ++kept;
        }
    }
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(kept), items.end());
    return removed;
}

// Each unpinned entry after the first `maxItems` leaves; pinned ones neither count nor leave.
std::vector<ClipboardItem> applyLimit(std::vector<ClipboardItem>& items, std::int64_t maxItems)
{
    std::int64_t unpinned = 0;
    return extract(
        items, [&](const ClipboardItem& item) { return !item.pinned && ++unpinned > maxItems; });
}

} // namespace

Json::Value toJSON(const ClipboardSettings& settings)
{
    return {
        { "enabled", settings.enabled },
        { "retentionDays", settings.retentionDays },
        { "includeImages", settings.includeImages },
        { "keepPinnedForever", settings.keepPinnedForever },
        { "excludedBundleIDs", settings.excludedBundleIDs },
        { "maxItems", settings.maxItems },
    };
}

Result<ClipboardSettings> clipboardSettingsFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "The clipboard settings must be a JSON object." };
    ClipboardSettings settings;
    if (auto error = Json::firstError({
            Json::readTolerant(json, "enabled", settings.enabled),
            Json::readTolerant(json, "retentionDays", settings.retentionDays),
            Json::readTolerant(json, "includeImages", settings.includeImages),
            Json::readTolerant(json, "keepPinnedForever", settings.keepPinnedForever),
            Json::readTolerant(json, "excludedBundleIDs", settings.excludedBundleIDs),
            Json::readTolerant(json, "maxItems", settings.maxItems),
        }))
        return *error;
    return settings;
}

std::vector<ClipboardItem> ClipboardHistory::add(ClipboardItem item, std::int64_t maxItems)
{
    if (item.kind != ClipboardKind::image) {
        auto repeat = std::find_if(items.begin(), items.end(), [&](const ClipboardItem& entry) {
            return entry.kind != ClipboardKind::image && entry.text == item.text;
        });
        if (repeat != items.end()) {
            item.id = std::move(repeat->id);
            item.pinned = repeat->pinned;
            items.erase(repeat);
        }
    }
    // Inserting at the front and sorting stably puts the new entry after every entry that must
    // precede it and before all others. On a sorted list that is a binary search, which keeps an
    // add to a full history to one move of the list.
    if (std::is_sorted(items.begin(), items.end(), precedes)) {
        auto position = std::partition_point(items.begin(), items.end(),
            [&](const ClipboardItem& entry) { return precedes(entry, item); });
        items.insert(position, std::move(item));
    } else {
        items.insert(items.begin(), std::move(item));
        sort();
    }
    return applyLimit(items, maxItems);
}

std::vector<ClipboardItem> ClipboardHistory::prune(const ClipboardSettings& settings, Date now)
{
    // Clamped so that no retention, however large or negative, overflows the arithmetic.
    constexpr std::int64_t longestRetention = 1'000'000'000;
    auto days = std::clamp(settings.retentionDays, -longestRetention, longestRetention);
    auto cutOff = now - std::chrono::seconds(days * 24 * 3600);
    auto removed = extract(items, [&](const ClipboardItem& item) {
        return item.date < cutOff && !(item.pinned && settings.keepPinnedForever);
    });
    auto overLimit = applyLimit(items, settings.maxItems);
    std::move(overLimit.begin(), overLimit.end(), std::back_inserter(removed));
    return removed;
}

void ClipboardHistory::setPinned(std::string_view id, bool pinned)
{
    auto found = std::find_if(
        items.begin(), items.end(), [&](const ClipboardItem& item) { return item.id == id; });
    if (found == items.end())
        return;
    found->pinned = pinned;
    sort();
}

std::optional<ClipboardItem> ClipboardHistory::remove(std::string_view id)
{
    auto removed = extract(items, [&](const ClipboardItem& item) { return item.id == id; });
    if (removed.empty())
        return std::nullopt;
    return std::move(removed.front());
}

std::vector<ClipboardItem> ClipboardHistory::removeAll(bool keepingPinned)
{
    return extract(
        items, [&](const ClipboardItem& item) { return !(keepingPinned && item.pinned); });
}

const ClipboardItem* ClipboardHistory::item(std::string_view id) const
{
    auto found = std::find_if(
        items.begin(), items.end(), [&](const ClipboardItem& item) { return item.id == id; });
    return found == items.end() ? nullptr : &*found;
}

void ClipboardHistory::sort()
{
    std::stable_sort(items.begin(), items.end(), precedes);
}

Json::Value toJSON(const ClipboardHistory& history)
{
    Json::Value items = Json::Value::array();
    for (auto& item : history.items)
        items.push_back(toJSON(item));
    return { { "items", std::move(items) } };
}

Result<ClipboardHistory> clipboardHistoryFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "The clipboard history must be a JSON object." };
    auto items = json.find("items");
    if (items == json.end() || !items->is_array())
        return Json::fieldError(json, "items", "an array of clipboard items");
    ClipboardHistory history;
    history.items.reserve(items->size());
    for (std::size_t index = 0; index < items->size(); ++index) {
        auto item = clipboardItemFromJSON((*items)[index]);
        if (!item)
            return Error { "item " + std::to_string(index + 1) + ": " + item.error().message };
        history.items.push_back(std::move(*item));
    }
    return history;
}

} // namespace zeph
