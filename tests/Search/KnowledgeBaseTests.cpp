#include "Search/KnowledgeBase.h"

#include "Storage/JSONFileStore.h"
#include "Support/RecordTesting.h"
#include "Support/TemporaryDirectory.h"

#include <atomic>
#include <cmath>
#include <thread>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono;
using namespace std::chrono_literals;
using Scores = KnowledgeBase::Scores;

const Date start = sys_days(year(2026) / January / 1) + 9h;

Date dayOf(year_month_day day)
{
    return sys_days(day) + 9h;
}

// 1 - e^(-x / 3), the saturation of a sum.
double boostFor(double sum)
{
    return 1 - std::exp(-sum / 3);
}

double countOf(const KnowledgeBase& knowledge, const std::string& key, const std::string& id)
{
    auto snapshot = knowledge.snapshot();
    auto items = snapshot.entries.find(key);
    if (items == snapshot.entries.end())
        return 0;
    auto entry = items->second.find(id);
    return entry == items->second.end() ? 0 : entry->second.count;
}

} // namespace

TEST(KnowledgeBase, QueryKeysAreFoldedAndWithoutSpaces)
{
    struct Case {
        const char* query;
        const char* key;
    };
    const Case cases[] = {
        { "Safari", "safari" },
        { "sa fari", "safari" },
        { "  SAFARI\t", "safari" },
        { "Säfari", "safari" },
        { "Cafe\xCC\x81", "cafe" },
        { "🇩🇪 x", "🇩🇪x" },
        { "   ", "" },
        { "", "" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.query);
        EXPECT_EQ(KnowledgeBase::queryKey(testCase.query), testCase.key);
    }
}

TEST(KnowledgeBase, AQueryWithoutCharactersTeachesNothing)
{
    KnowledgeBase knowledge;
    knowledge.record("   ", "app:/Safari", start);
    knowledge.record("", "app:/Safari", start);
    EXPECT_TRUE(knowledge.snapshot().entries.empty());
    EXPECT_FALSE(knowledge.isDirty());
    knowledge.record("s", "app:/Safari", start);
    EXPECT_TRUE(knowledge.boosts("  ", start).empty());
    EXPECT_TRUE(knowledge.boosts("", start).empty());
}

TEST(KnowledgeBase, PicksDecayWithAHalfLifeOfThirtyDays)
{
    // Thirty days apart, each count halves exactly.
    KnowledgeBase knowledge;
    struct Pick {
        Date date;
        double count;
    };
    const Pick picks[] = {
        { start, 1 },
        { start + days(30), 1.5 },
        { start + days(60), 1.75 },
        { start + days(120), 1.4375 },
        // Within the same second nothing decays.
        { start + days(120), 2.4375 },
    };
    for (auto& pick : picks) {
        knowledge.record("mail", "app:/Mail", pick.date);
        EXPECT_EQ(countOf(knowledge, "mail", "app:/Mail"), pick.count);
    }
    EXPECT_EQ(knowledge.usageScores(start + days(150)), (Scores { { "app:/Mail", 2.4375 / 2 } }));
    EXPECT_DOUBLE_EQ(
        knowledge.boosts("mail", start + days(150)).at("app:/Mail"), boostFor(2.4375 / 2));

    // Calendar months are not thirty days: January 1, February 1, April 1, June 1.
    KnowledgeBase months;
    months.record("term", "app:/Terminal", dayOf(year(2026) / January / 1));
    months.record("term", "app:/Terminal", dayOf(year(2026) / February / 1));
    EXPECT_DOUBLE_EQ(countOf(months, "term", "app:/Terminal"), 1.488579984217123);
    months.record("term", "app:/Terminal", dayOf(year(2026) / April / 1));
    EXPECT_DOUBLE_EQ(countOf(months, "term", "app:/Terminal"), 1.3808434729991936);
    auto june = dayOf(year(2026) / June / 1);
    EXPECT_DOUBLE_EQ(months.usageScores(june).at("app:/Terminal"), 0.33732624112213166);
    EXPECT_DOUBLE_EQ(months.boosts("term", june).at("app:/Terminal"), 0.10635089456848755);
}

TEST(KnowledgeBase, APickFromTheFutureCountsAsFresh)
{
    EXPECT_EQ(KnowledgeBase::decay(start + 1s, start), 1.0);
    EXPECT_EQ(KnowledgeBase::decay(start + days(400), start), 1.0);
    EXPECT_EQ(KnowledgeBase::decay(start, start + days(30)), 0.5);
    EXPECT_EQ(KnowledgeBase::decay(Date::min(), Date::max()), 0.0);
    KnowledgeBase knowledge;
    knowledge.record("notes", "app:/Notes", start + days(10));
    EXPECT_DOUBLE_EQ(knowledge.boosts("notes", start).at("app:/Notes"), 0.28346868942621073);
    // A later pick at an earlier clock keeps the whole count and takes the earlier date.
    knowledge.record("notes", "app:/Notes", start);
    EXPECT_EQ(knowledge.snapshot().entries.at("notes").at("app:/Notes"),
        (KnowledgeBase::Entry { .count = 2, .lastUsed = start }));
}

TEST(KnowledgeBase, BoostsSaturateBelowOne)
{
    KnowledgeBase knowledge;
    knowledge.record("code", "app:/Code", start);
    EXPECT_DOUBLE_EQ(knowledge.boosts("code", start).at("app:/Code"), 0.28346868942621073);
    knowledge.record("code", "app:/Code", start);
    knowledge.record("code", "app:/Code", start);
    EXPECT_DOUBLE_EQ(knowledge.boosts("code", start).at("app:/Code"), 0.6321205588285577);
    // From about 111 picks on, 1 - e^(-x / 3) rounds to 1 in doubles.
    for (int pick = 0; pick < 500; ++pick)
        knowledge.record("code", "app:/Code", start);
    auto boost = knowledge.boosts("code", start).at("app:/Code");
    EXPECT_LT(boost, 1.0);
    EXPECT_GT(boost, 0.9999);
}

TEST(KnowledgeBase, LessonsCarryOverToQueriesThatShareABeginning)
{
    struct Case {
        std::vector<std::string> learned; // Each a pick of the same item.
        const char* typed;
        std::optional<double> sum;
    };
    const Case cases[] = {
        { { "saf" }, "saf", 1.0 },
        // The user typed on past a stored query.
        { { "saf" }, "safari", 0.6 },
        { { "saf" }, "safe", 0.6 },
        { { "saf" }, "Sa F", 1.0 },
        // The typed query is a beginning of what was stored.
        { { "saf" }, "sa", 0.5 },
        { { "saf" }, "s", 0.5 },
        // Exact never adds a prefix weight on top.
        { { "safari" }, "safari", 1.0 },
        { { "saf" }, "sb", std::nullopt },
        { { "saf" }, "xsaf", std::nullopt },
        { { "saf" }, "afa", std::nullopt },
        // Sums run across keys: "s" lies before "sa", "saf" after it.
        { { "s", "sa", "saf" }, "sa", 0.6 + 1.0 + 0.5 },
        { { "s", "sa", "saf", "safari" }, "saf", 0.6 + 0.6 + 1.0 + 0.5 },
        { { "sa", "sa" }, "safari", 1.2 },
        // Beginnings count whole characters: half a pair of flags is not a beginning.
        { { "🇩🇪🇫🇷" }, "🇩🇪", 0.5 },
        { { "🇩🇪🇫🇷" }, "🇩🇪🇫", std::nullopt },
        { { "🇩🇪🇫" }, "🇩🇪🇫🇷", std::nullopt },
        { { "🇩🇪" }, "🇩🇪🇫🇷", 0.6 },
        { { "e" }, "e\xCC\x81x", 0.6 },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.typed);
        KnowledgeBase knowledge;
        for (auto& query : testCase.learned)
            knowledge.record(query, "app:/Safari", start);
        auto boosts = knowledge.boosts(testCase.typed, start + days(30));
        if (!testCase.sum) {
            EXPECT_TRUE(boosts.empty());
            continue;
        }
        ASSERT_EQ(boosts.size(), 1u);
        // Thirty days later every pick counts half.
        EXPECT_DOUBLE_EQ(boosts.at("app:/Safari"), boostFor(*testCase.sum / 2));
    }
}

TEST(KnowledgeBase, BoostsKeepItemsApart)
{
    KnowledgeBase knowledge;
    knowledge.record("te", "app:/Terminal", start);
    knowledge.record("te", "app:/Terminal", start);
    knowledge.record("tex", "app:/TextEdit", start);
    knowledge.record("x", "app:/Xcode", start);
    auto boosts = knowledge.boosts("te", start);
    ASSERT_EQ(boosts.size(), 2u);
    EXPECT_DOUBLE_EQ(boosts.at("app:/Terminal"), boostFor(2));
    EXPECT_DOUBLE_EQ(boosts.at("app:/TextEdit"), boostFor(0.5));
    EXPECT_EQ(knowledge.usageScores(start),
        (Scores { { "app:/Terminal", 2 }, { "app:/TextEdit", 1 }, { "app:/Xcode", 1 } }));
}

TEST(KnowledgeBase, TheKeyBeyondTheLimitPrunesTheOldestKeys)
{
    KnowledgeBase knowledge;
    auto key = [](int index) { return "key" + std::to_string(index); };
    // Key i was last used i seconds after the start; key 5 also has a recent item.
    for (int index = 0; index < 4000; ++index)
        knowledge.record(key(index), "item", start + seconds(index));
    knowledge.record(key(5), "recent", start + days(1));
    EXPECT_EQ(knowledge.snapshot().entries.size(), 4000u);

    knowledge.record(key(4000), "item", start + seconds(4000));
    auto entries = knowledge.snapshot().entries;
    EXPECT_EQ(entries.size(), 3600u);
    // The 401 keys used longest ago went; key 5 stayed by its recent item.
    EXPECT_TRUE(entries.contains(key(5)));
    EXPECT_FALSE(entries.contains(key(0)));
    EXPECT_FALSE(entries.contains(key(401)));
    EXPECT_TRUE(entries.contains(key(402)));
    EXPECT_TRUE(entries.contains(key(4000)));

    // Keys without items count as the oldest, and equal dates go by key.
    KnowledgeBase::Snapshot snapshot;
    for (int index = 0; index < 4000; ++index)
        snapshot.entries[key(index)]["item"] = { .count = 1, .lastUsed = start };
    snapshot.entries["key7"].clear();
    KnowledgeBase ties(snapshot);
    ties.record("new", "item", start);
    auto left = ties.snapshot().entries;
    EXPECT_EQ(left.size(), 3600u);
    EXPECT_FALSE(left.contains("key7"));
    EXPECT_FALSE(left.contains("key0"));
    EXPECT_TRUE(left.contains("new"));
    // Among equal dates the first 400 keys in byte order leave: "key0", "key1", "key10", "key100",
    // "key1000" … "key1357".
    EXPECT_FALSE(left.contains("key1357"));
    EXPECT_TRUE(left.contains("key1358"));
    EXPECT_TRUE(left.contains("key999"));
}

TEST(KnowledgeBase, ForgettingAndResettingReachTheDisk)
{
    KnowledgeBase::Snapshot snapshot;
    snapshot.entries["saf"]["app:/Safari"] = { .count = 2, .lastUsed = start };
    snapshot.entries["saf"]["app:/Safe"] = { .count = 1, .lastUsed = start };
    snapshot.entries["web"]["app:/Safari"] = { .count = 1, .lastUsed = start };
    KnowledgeBase knowledge(snapshot);
    EXPECT_FALSE(knowledge.isDirty());
    EXPECT_EQ(knowledge.snapshot(), snapshot);

    EXPECT_FALSE(knowledge.forget("app:/Unknown"));
    EXPECT_FALSE(knowledge.isDirty());
    EXPECT_TRUE(knowledge.forget("app:/Safari"));
    EXPECT_TRUE(knowledge.isDirty());
    // The key that held only the forgotten item goes with it.
    KnowledgeBase::Snapshot expected;
    expected.entries["saf"]["app:/Safe"] = { .count = 1, .lastUsed = start };
    EXPECT_EQ(knowledge.snapshot(), expected);

    knowledge.markClean();
    EXPECT_FALSE(knowledge.isDirty());
    knowledge.record("x", "y", start);
    EXPECT_TRUE(knowledge.isDirty());
    knowledge.markClean();
    knowledge.reset();
    EXPECT_TRUE(knowledge.isDirty());
    EXPECT_TRUE(knowledge.snapshot().entries.empty());
}

TEST(KnowledgeBase, SnapshotSurvivesTheStore)
{
    KnowledgeBase knowledge;
    knowledge.record("saf", "app:/Safari", start);
    knowledge.record("saf", "app:/Safari", start + days(30));
    knowledge.record("🇩🇪 café", "snip:ABC", start + 5s);
    knowledge.record("g", "web:google", start);
    auto snapshot = knowledge.snapshot();

    TemporaryDirectory folder;
    {
        JSONFileStore<KnowledgeBase::Snapshot> store("knowledge.json", folder.path());
        store.save(snapshot);
        ASSERT_FALSE(store.lastError());
    }
    JSONFileStore<KnowledgeBase::Snapshot> store("knowledge.json", folder.path());
    EXPECT_EQ(store.load(), snapshot);
    auto text = Json::documentText(toJSON(snapshot)).value();
    EXPECT_NE(text.find(R"("saf": {
      "app:/Safari": {
        "count": 1.5,
        "lastUsed": "2026-01-31T09:00:00Z")"),
        std::string::npos)
        << text;
    EXPECT_EQ(
        knowledgeSnapshotFromJSON(json(R"({"entries": {}})")).value(), KnowledgeBase::Snapshot {});
}

TEST(KnowledgeBase, TheSnapshotIsStrict)
{
    struct Case {
        const char* document;
        const char* message;
    };
    const Case cases[] = {
        { "{}", "\"entries\" is missing." },
        { R"({"entries": []})", "\"entries\" must be an object of query keys." },
        { R"({"entries": {"a": []}})", "Query \"a\": the items must be a JSON object." },
        { R"({"entries": {"a": {"i": 1}}})",
            "Query \"a\", item \"i\": an entry must be a JSON object." },
        { R"({"entries": {"a": {"i": {"lastUsed": "2026-01-01T00:00:00Z"}}}})",
            "Query \"a\", item \"i\": \"count\" is missing." },
        { R"({"entries": {"a": {"i": {"count": "1", "lastUsed": "2026-01-01T00:00:00Z"}}}})",
            "Query \"a\", item \"i\": \"count\" must be a number." },
        { R"({"entries": {"a": {"i": {"count": 1}}}})",
            "Query \"a\", item \"i\": \"lastUsed\" is missing." },
        { R"({"entries": {"a": {"i": {"count": 1, "lastUsed": "yesterday"}}}})",
            "Query \"a\", item \"i\": \"lastUsed\" must be an ISO 8601 date such as "
            "\"2026-11-13T05:11:39Z\"." },
        { R"({"entries": {"a": {"i": {"count": -1, "lastUsed": "2026-01-01T00:00:00Z"}}}})",
            "Query \"a\", item \"i\": \"count\" must be a number from 0 up." },
        { R"([])", "The knowledge must be a JSON object." },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.document);
        auto decoded = knowledgeSnapshotFromJSON(json(testCase.document));
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, testCase.message);
    }
}

TEST(KnowledgeBase, PicksFromSeveralThreadsWhileSnapshotsAreTaken)
{
    KnowledgeBase knowledge;
    constexpr int threadCount = 4;
    constexpr int picksPerThread = 500;
    std::atomic<bool> done = false;
    std::atomic<int> inconsistent = 0;
    // A reader that sees a half-made change would find a count that is not a whole number, or a
    // boost out of range.
    std::thread reader([&] {
        while (!done) {
            auto snapshot = knowledge.snapshot();
            for (auto& [key, items] : snapshot.entries) {
                for (auto& [id, entry] : items) {
                    if (entry.count != std::floor(entry.count) || entry.count < 1)
                        ++inconsistent;
                }
            }
            for (auto& [id, boost] : knowledge.boosts("sh", start)) {
                if (!(boost >= 0 && boost < 1))
                    ++inconsistent;
            }
            knowledge.usageScores(start);
            knowledge.isDirty();
            knowledge.markClean();
        }
    });
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threadCount; ++thread) {
        writers.emplace_back([&, thread] {
            for (int pick = 0; pick < picksPerThread; ++pick) {
                knowledge.record("shared", "item", start);
                knowledge.record(
                    "own" + std::to_string(thread), "item" + std::to_string(thread), start);
                knowledge.record(
                    "key" + std::to_string(thread) + "-" + std::to_string(pick), "item", start);
            }
        });
    }
    for (auto& writer : writers)
        writer.join();
    done = true;
    reader.join();
    EXPECT_EQ(inconsistent, 0);
    EXPECT_EQ(countOf(knowledge, "shared", "item"), threadCount * picksPerThread);
    for (int thread = 0; thread < threadCount; ++thread)
        EXPECT_EQ(
            countOf(knowledge, "own" + std::to_string(thread), "item" + std::to_string(thread)),
            picksPerThread);
    EXPECT_EQ(knowledge.snapshot().entries.size(), 1u + threadCount + threadCount * picksPerThread);
}

} // namespace zeph
