// Arbitrary bytes as a document of the data folder: every record decoder runs on every value of the
// JSON tree, and whatever decodes must encode and decode back to itself. The bytes also go through
// the date reader and, as copied text, through classification and the history's rules.
#include "Agents/ReviewLedger.h"
#include "Clipboard/ClipboardCapture.h"
#include "Clipboard/ClipboardHistory.h"
#include "Search/KnowledgeBase.h"
#include "Snippets/Snippet.h"
#include "Storage/AppSettings.h"
#include "Storage/KeyCombo.h"
#include "Storage/Theme.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <algorithm>
#include <string_view>

namespace {

using namespace zeph;

template <typename Record, typename Decode>
void checkRoundTrip(const Json::Value& json, Decode decode)
{
    auto record = decode(json);
    if (!record) {
        verify(!record.error().message.empty());
        return;
    }
    auto encoded = toJSON(*record);
    verify(Json::documentText(encoded).has_value());
    auto again = decode(encoded);
    verify(again.has_value() && *again == *record);
}

void checkHistoryRules(ClipboardHistory history)
{
    auto isSorted = [](const ClipboardHistory& value) {
        return std::is_sorted(
            value.items.begin(), value.items.end(), [](auto& first, auto& second) {
                return first.pinned != second.pinned ? first.pinned : first.date > second.date;
            });
    };
    auto count = history.items.size();
    auto removed = history.add(ClipboardItem { .id = "new", .text = "fuzz", .date = Date {} }, 3);
    verify(isSorted(history));
    verify(history.items.size() + removed.size() <= count + 1);
    verify(std::count_if(history.items.begin(), history.items.end(), [](auto& item) {
        return !item.pinned;
    }) <= 3);
    history.prune({ .retentionDays = 1, .maxItems = 2 }, Date {});
    verify(isSorted(history));
}

void checkEveryDecoder(const Json::Value& json)
{
    checkRoundTrip<KeyCombo>(json, keyComboFromJSON);
    checkRoundTrip<Snippet>(json, snippetFromJSON);
    checkRoundTrip<SnippetCollection>(json, snippetCollectionFromJSON);
    checkRoundTrip<SnippetSettings>(json, snippetSettingsFromJSON);
    checkRoundTrip<ClipboardItem>(json, clipboardItemFromJSON);
    checkRoundTrip<ClipboardSettings>(json, clipboardSettingsFromJSON);
    checkRoundTrip<ClipboardHistory>(json, clipboardHistoryFromJSON);
    checkRoundTrip<SearchSettings>(json, searchSettingsFromJSON);
    checkRoundTrip<AppSettings>(json, appSettingsFromJSON);
    checkRoundTrip<ThemeColor>(json, themeColorFromJSON);
    checkRoundTrip<ThemePalette>(json, themePaletteFromJSON);
    checkRoundTrip<Theme>(json, themeFromJSON);
    checkRoundTrip<KnowledgeBase::Snapshot>(json, knowledgeSnapshotFromJSON);

    using Collections = DocumentCoding<std::vector<SnippetCollection>>;
    if (auto collections = Collections::decode(json)) {
        auto again = Collections::decode(Collections::encode(*collections));
        verify(again.has_value() && *again == *collections);
    }
    using Review = DocumentCoding<ReviewLedger>;
    if (auto ledger = Review::decode(json)) {
        auto again = Review::decode(Review::encode(*ledger));
        verify(again.has_value() && *again == *ledger);
    }
    if (auto history = clipboardHistoryFromJSON(json))
        checkHistoryRules(std::move(*history));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (auto date = parseIsoDate(bytes))
        verify(parseIsoDate(isoDateText(*date)) == date);

    auto text = sanitizedUTF8(bytes);
    ClipboardItem::classify(text);
    if (auto item = ClipboardCapture::textItem(text, Date {}))
        verify(item->text.size() <= text.size() && text.starts_with(item->text));

    auto json = Json::parse(bytes);
    if (!json)
        return 0;
    // Records sit at any depth of a document; a bounded walk reaches them without a quadratic cost.
    std::size_t visited = 0;
    auto visit = [&](auto& self, const Json::Value& value) -> void {
        if (++visited > 64)
            return;
        checkEveryDecoder(value);
        if (value.is_structured()) {
            for (auto& child : value)
                self(self, child);
        }
    };
    visit(visit, *json);
    return 0;
}
