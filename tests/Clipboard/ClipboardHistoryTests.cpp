#include "Clipboard/ClipboardHistory.h"

#include <algorithm>
#include <cstdint>
#include <random>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;

const Date noon = std::chrono::sys_days(std::chrono::year(2026) / 11 / 13) + 12h;

ClipboardItem entry(const std::string& text, Date date, bool pinned = false,
    ClipboardKind kind = ClipboardKind::text)
{
    return ClipboardItem { .id
        = "id-" + text + "-" + std::to_string(date.time_since_epoch().count()),
        .kind = kind,
        .text = text,
        .date = date,
        .pinned = pinned };
}

std::vector<std::string> texts(const std::vector<ClipboardItem>& items)
{
    std::vector<std::string> result;
    for (auto& item : items)
        result.push_back(item.text);
    return result;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(ClipboardHistory, ARepeatCopyMovesTheEntryUpKeepingItsIdAndPin)
{
    for (bool pinned : { false, true }) {
        SCOPED_TRACE(pinned);
        ClipboardHistory history;
        history.add(entry("abc", noon), 200);
        auto originalID = history.items[0].id;
        history.setPinned(originalID, pinned);
        history.add(entry("def", noon + 1s), 200);
        auto repeat = entry("abc", noon + 2s, false, ClipboardKind::code);
        repeat.sourceApp = "Terminal";
        EXPECT_TRUE(history.add(repeat, 200).empty());
        ASSERT_EQ(history.items.size(), 2u);
        auto& top = history.items[0];
        EXPECT_EQ(top.text, "abc");
        EXPECT_EQ(top.id, originalID);
        EXPECT_EQ(top.pinned, pinned);
        EXPECT_EQ(top.date, noon + 2s);
        EXPECT_EQ(top.kind, ClipboardKind::code);
        EXPECT_EQ(top.sourceApp, "Terminal");
    }
}

TEST(ClipboardHistory, ImagesAreNeverDuplicatesOfAnything)
{
    ClipboardHistory history;
    history.add(entry("Image 2 × 3", noon, false, ClipboardKind::image), 200);
    history.add(entry("Image 2 × 3", noon + 1s, false, ClipboardKind::image), 200);
    history.add(entry("Image 2 × 3", noon + 2s), 200);
    EXPECT_EQ(history.items.size(), 3u);
}

TEST(ClipboardHistory, TheLimitCountsAndRemovesOnlyUnpinnedEntries)
{
    ClipboardHistory history;
    for (int index = 0; index < 5; ++index)
        history.add(entry("u" + std::to_string(index), noon + std::chrono::seconds(index)), 100);
    for (int index = 0; index < 3; ++index)
        history.add(
            entry("p" + std::to_string(index), noon - std::chrono::hours(index + 1), true), 100);
    ASSERT_EQ(history.items.size(), 8u);
    auto removed = history.prune({ .retentionDays = 3650, .maxItems = 2 }, noon);
    EXPECT_EQ(texts(history.items), (Texts { "p0", "p1", "p2", "u4", "u3" }));
    EXPECT_EQ(texts(removed), (Texts { "u2", "u1", "u0" }));

    // A limit of zero or less leaves only pinned entries.
    history.add(entry("new", noon + 1h), 0);
    EXPECT_EQ(texts(history.items), (Texts { "p0", "p1", "p2" }));
}

TEST(ClipboardHistory, PinnedEntriesStayAboveNewerOnes)
{
    ClipboardHistory history;
    history.add(entry("old", noon), 200);
    history.add(entry("newer", noon + 1min), 200);
    history.setPinned(history.items[1].id, true);
    history.add(entry("newest", noon + 2min), 200);
    EXPECT_EQ(texts(history.items), (Texts { "old", "newest", "newer" }));
    history.setPinned("no such id", true);
    EXPECT_EQ(texts(history.items), (Texts { "old", "newest", "newer" }));
    history.setPinned(history.items[0].id, false);
    EXPECT_EQ(texts(history.items), (Texts { "newest", "newer", "old" }));
}

TEST(ClipboardHistory, AddingGivesTheOrderOfInsertingOnTopAndSortingStably)
{
    // The insertion shortcut must agree with the plain rule on every list, sorted or not (a
    // hand-edited file need not be), with equal dates and pins mixed in.
    auto precedes = [](const ClipboardItem& first, const ClipboardItem& second) {
        return first.pinned != second.pinned ? first.pinned : first.date > second.date;
    };
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        ClipboardHistory history;
        int size = static_cast<int>(random() % 12);
        for (int index = 0; index < size; ++index)
            history.items.push_back(entry("t" + std::to_string(index),
                noon + std::chrono::seconds(random() % 4), random() % 3 == 0));
        if (round % 2 == 0)
            history.sort();
        auto item = entry(random() % 3 == 0 ? "t0" : "fresh",
            noon + std::chrono::seconds(random() % 4), random() % 4 == 0);
        auto maxItems = static_cast<std::int64_t>(random() % 8);

        auto expected = history.items;
        auto added = item;
        auto repeat = std::find_if(expected.begin(), expected.end(),
            [&](auto& other) { return other.text == added.text; });
        if (repeat != expected.end()) {
            added.id = repeat->id;
            added.pinned = repeat->pinned;
            expected.erase(repeat);
        }
        expected.insert(expected.begin(), added);
        std::stable_sort(expected.begin(), expected.end(), precedes);
        std::int64_t unpinned = 0;
        std::erase_if(
            expected, [&](auto& other) { return !other.pinned && ++unpinned > maxItems; });

        history.add(item, maxItems);
        SCOPED_TRACE(round);
        ASSERT_EQ(history.items, expected);
    }
}

TEST(ClipboardHistory, PruneAgesOutByRetentionThenAppliesTheLimit)
{
    const auto day = 24h;
    struct Case {
        const char* name;
        ClipboardSettings settings;
        Texts kept;
        Texts removed;
    };
    const Case cases[] = {
        { "thirty days", { .retentionDays = 30 }, { "pinned old", "fresh", "almost", "edge" },
            { "old" } },
        { "pinned age too", { .retentionDays = 30, .keepPinnedForever = false },
            { "fresh", "almost", "edge" }, { "pinned old", "old" } },
        { "aged first, then the limit", { .retentionDays = 30, .maxItems = 1 },
            { "pinned old", "fresh" }, { "old", "almost", "edge" } },
        { "retention beyond all dates", { .retentionDays = INT64_MAX },
            { "pinned old", "fresh", "almost", "edge", "old" }, {} },
        { "negative retention", { .retentionDays = INT64_MIN }, { "pinned old" },
            { "fresh", "almost", "edge", "old" } },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        ClipboardHistory history { .items = {
                                       entry("pinned old", noon - 400 * day, true),
                                       entry("fresh", noon - 1s),
                                       entry("edge", noon - 30 * day),
                                       entry("almost", noon - 30 * day + 1s),
                                       entry("old", noon - 30 * day - 1s),
                                   } };
        history.sort();
        auto removed = history.prune(testCase.settings, noon);
        EXPECT_EQ(texts(history.items), testCase.kept);
        EXPECT_EQ(texts(removed), testCase.removed);
    }
}

TEST(ClipboardHistory, RemovalsReturnWhatLeft)
{
    ClipboardHistory history { .items
        = { entry("a", noon, true), entry("b", noon), entry("c", noon - 1s) } };
    EXPECT_EQ(history.remove("nothing"), std::nullopt);
    EXPECT_EQ(history.remove(history.items[1].id)->text, "b");
    EXPECT_EQ(history.item(history.items[0].id)->text, "a");
    EXPECT_EQ(history.item("nothing"), nullptr);
    history.add(entry("d", noon + 1s), 200);
    EXPECT_EQ(texts(history.removeAll(true)), (Texts { "d", "c" }));
    EXPECT_EQ(texts(history.items), (Texts { "a" }));
    EXPECT_EQ(texts(history.removeAll(false)), (Texts { "a" }));
    EXPECT_TRUE(history.items.empty());
}

TEST(ClipboardHistory, DocumentAndSettingsDecoding)
{
    ClipboardHistory history { .items = { entry("a", noon, true), entry("b", noon - 1s) } };
    EXPECT_EQ(clipboardHistoryFromJSON(toJSON(history)).value(), history);
    EXPECT_EQ(
        clipboardHistoryFromJSON(*Json::parse("{}")).error().message, "\"items\" is missing.");
    EXPECT_EQ(clipboardHistoryFromJSON(*Json::parse(R"({"items": [{"id": "x"}]})")).error().message,
        "item 1: \"kind\" is missing.");

    EXPECT_EQ(clipboardSettingsFromJSON(*Json::parse("{}")).value(), ClipboardSettings {});
    EXPECT_EQ(ClipboardSettings {}.maxItems, 200);
    auto settings = clipboardSettingsFromJSON(
        *Json::parse(R"({"retentionDays": 7.0, "includeImages": false})"))
                        .value();
    EXPECT_EQ(settings, (ClipboardSettings { .retentionDays = 7, .includeImages = false }));
    EXPECT_EQ(clipboardSettingsFromJSON(toJSON(settings)).value(), settings);
    EXPECT_FALSE(clipboardSettingsFromJSON(*Json::parse(R"({"maxItems": "many"})")));
    EXPECT_FALSE(clipboardSettingsFromJSON(*Json::parse(R"({"retentionDays": 1.5})")));
}

} // namespace zeph
