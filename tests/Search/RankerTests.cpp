#include "Search/Ranker.h"

#include "Support/Text.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace zeph;

namespace {

IndexedItem indexed(std::string id, std::string title, ItemKind kind = ItemKind::file,
    std::vector<std::string> keywords = {})
{
    return makeIndexedItem(SearchItem { .id = std::move(id),
        .title = std::move(title),
        .kind = kind,
        .keywords = std::move(keywords) });
}

RankedResult result(std::string id, std::string title, double score, std::string subtitle = {})
{
    return RankedResult {
        .item = SearchItem { .id = std::move(id),
            .title = std::move(title),
            .subtitle = std::move(subtitle) },
        .score = score,
    };
}

std::vector<std::string> ids(const std::vector<RankedResult>& results)
{
    std::vector<std::string> values;
    for (auto& entry : results)
        values.push_back(entry.item.id);
    return values;
}

std::vector<int> positions(int first, int last)
{
    std::vector<int> values;
    for (int value = first; value <= last; ++value)
        values.push_back(value);
    return values;
}

} // namespace

TEST(Ranker, KeywordOvertakesTheTitleOnlyWhenStrictlyBetterAfterItsDiscount)
{
    struct Case {
        const char* description;
        IndexedItem item;
        const char* query;
        double matchScore;
        std::vector<int> highlight;
    };
    const Case cases[] = {
        { "title and keyword exact: the title keeps 1.0 and its highlight",
            indexed("a", "Term", ItemKind::file, { "term" }), "term", 1.0, positions(0, 3) },
        { "title prefix 0.94 against keyword 0.95: the keyword wins",
            indexed("b", "Terminal", ItemKind::file, { "term" }), "term", 1.0 * 0.95, {} },
        // 0.8 + 0.08 * 5/28 and (0.8 + 0.08 * 5/7) * 0.95 are the same Double.
        { "a tie keeps the title",
            indexed("c", "my notes and plans for today", ItemKind::file, { "x notes" }), "notes",
            0.8 + 0.08 * (5.0 / 28.0), positions(3, 7) },
        { "only a keyword matches: no highlight",
            indexed("d", "Console", ItemKind::application, { "shell", "terminal" }), "term",
            (0.9 + 0.08 * (4.0 / 8.0)) * 0.95, {} },
        // The title's acronym walk finds "v" and "s" before failing; none of it may leak.
        { "a title that almost matched leaves no highlight",
            indexed("e", "Visual Studio", ItemKind::file, { "vsx" }), "vsx", 1.0 * 0.95, {} },
        { "the best keyword wins, whatever its place",
            indexed("f", "Nothing", ItemKind::file, { "xteaxrxmx", "team", "terms" }), "term",
            (0.9 + 0.08 * (4.0 / 5.0)) * 0.95, {} },
    };
    // The tie above only tests the rule if the two are really equal.
    ASSERT_EQ(0.8 + 0.08 * (5.0 / 28.0), (0.8 + 0.08 * (5.0 / 7.0)) * 0.95);
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.description);
        auto scored = Ranker {}.score(testCase.item, makeQueryText(testCase.query), {});
        ASSERT_TRUE(scored);
        EXPECT_DOUBLE_EQ(scored->matchScore, testCase.matchScore);
        EXPECT_EQ(scored->highlight, testCase.highlight);
        EXPECT_EQ(scored->item, testCase.item.item);
    }
}

TEST(Ranker, ScoreAddsLearnedBoostAndKindBonus)
{
    Ranker ranker { .learningWeight = 0.5, .minimumMatchScore = 0.2 };
    auto query = makeQueryText("safari");
    Boosts boosts { { "app", 0.4 }, { "other", 0.9 } };
    auto scored = ranker.score(indexed("app", "Safari", ItemKind::application), query, boosts);
    ASSERT_TRUE(scored);
    EXPECT_DOUBLE_EQ(scored->score, 0.5 * 0.4 + 1.0 + 0.08);
    EXPECT_DOUBLE_EQ(scored->matchScore, 1.0);
    EXPECT_DOUBLE_EQ(scored->learnedBoost, 0.4);

    // Each kind adds its own bonus to the same match.
    struct Case {
        ItemKind kind;
        double bonus;
    };
    const Case cases[] = {
        { ItemKind::application, 0.08 },
        { ItemKind::systemSetting, 0.05 },
        { ItemKind::folder, 0.02 },
        { ItemKind::file, 0 },
        { ItemKind::calculator, 0 },
        { ItemKind::webSearch, 0 },
        { ItemKind::systemCommand, 0.05 },
        { ItemKind::workflow, 0.05 },
        { ItemKind::snippet, 0.03 },
        { ItemKind::clipboard, 0 },
        { ItemKind::action, 0 },
    };
    ASSERT_EQ(std::size(cases), allCases<ItemKind>().size());
    for (auto& testCase : cases) {
        SCOPED_TRACE(std::string(toString(testCase.kind)));
        EXPECT_EQ(rankingBonus(testCase.kind), testCase.bonus);
        auto kindScored = Ranker {}.score(indexed("x", "Safari", testCase.kind), query, {});
        ASSERT_TRUE(kindScored);
        EXPECT_DOUBLE_EQ(kindScored->score, 0.9 * 0 + 1.0 + testCase.bonus);
    }
}

TEST(Ranker, WeakMatchSurvivesTheThresholdOnlyWithABoost)
{
    // "ab" scattered over this title: first pick at 8, ten characters skipped in twenty.
    auto item = indexed("weak", "xxxxxxxxaxxxxxxxxxxb");
    auto query = makeQueryText("ab");
    double weak = 0.25 - std::min(8 * 0.125, 1.0) * 0.05 - std::min(10.0 / 20.0, 1.0) * 0.05;
    ASSERT_LT(weak, 0.2);
    Ranker ranker;

    EXPECT_FALSE(ranker.score(item, query, {}));
    EXPECT_FALSE(ranker.score(item, query, { { "weak", 0.0 } }));
    EXPECT_FALSE(ranker.score(item, query, { { "weak", -0.5 } }));
    EXPECT_FALSE(ranker.score(item, query, { { "someone else", 0.5 } }));
    auto boosted = ranker.score(item, query, { { "weak", 0.1 } });
    ASSERT_TRUE(boosted);
    EXPECT_DOUBLE_EQ(boosted->matchScore, weak);
    EXPECT_DOUBLE_EQ(boosted->score, 0.9 * 0.1 + weak + 0.0);

    // Exactly at the threshold is not below it.
    Ranker strict { .learningWeight = 0.9, .minimumMatchScore = weak };
    EXPECT_TRUE(strict.score(item, query, {}));
    Ranker stricter { .learningWeight = 0.9, .minimumMatchScore = std::nextafter(weak, 1.0) };
    EXPECT_FALSE(stricter.score(item, query, {}));

    // No match at all is never rescued.
    EXPECT_FALSE(ranker.score(indexed("none", "Safari", ItemKind::file, { "browser" }),
        makeQueryText("zq"), { { "none", 0.99 } }));
}

TEST(Ranker, RankYieldsNothingForAnEmptyQueryOrNoRoom)
{
    std::vector<IndexedItem> items
        = { indexed("1", "Code"), indexed("2", "Codec"), indexed("3", "Terminal") };
    Ranker ranker;
    for (int limit : { 0, -1, -100 }) {
        SCOPED_TRACE(limit);
        EXPECT_TRUE(ranker.rank(items, makeQueryText("code"), {}, limit).empty());
    }
    for (auto query : { "", "   ", "\t" }) {
        SCOPED_TRACE(query);
        EXPECT_TRUE(ranker.rank(items, makeQueryText(query), { { "1", 0.9 } }, 10).empty());
    }
    EXPECT_EQ(ids(ranker.rank(items, makeQueryText("code"), {}, 10)),
        (std::vector<std::string> { "1", "2" }));
    EXPECT_EQ(
        ids(ranker.rank(items, makeQueryText("code"), {}, 1)), (std::vector<std::string> { "1" }));
    // A learned boost lifts the longer title above the exact one.
    EXPECT_EQ(ids(ranker.rank(items, makeQueryText("code"), { { "2", 0.5 } }, 10)),
        (std::vector<std::string> { "2", "1" }));
}

TEST(Ranker, OrderIsScoreThenCharactersThenLowercasedTitleThenId)
{
    struct Case {
        const char* description;
        RankedResult first;
        RankedResult second;
    };
    const Case cases[] = {
        { "higher score", result("z", "Zzzzzz", 0.9), result("a", "a", 0.8) },
        { "scores differing in the last bit", result("z", "Zzzzzz", std::nextafter(0.5, 1.0)),
            result("a", "a", 0.5) },
        // Two characters in six bytes against three in three.
        { "fewer characters, not fewer bytes", result("z", "e\u0301e\u0301", 0.5),
            result("a", "abc", 0.5) },
        { "family emoji is one character",
            result("z", "\U0001F468\u200D\U0001F469\u200D\U0001F467", 0.5),
            result("a", "ab", 0.5) },
        { "lower-cased title, not raw bytes", result("z", "alfa", 0.5), result("a", "Beta", 0.5) },
        { "lower-cased beyond ASCII", result("z", "éab", 0.5), result("a", "Ébc", 0.5) },
        { "lower-cased Greek", result("z", "ωa", 0.5), result("a", "Ωb", 0.5) },
        // Ids compare as strings, so "10" comes before "9".
        { "same title up to case: the id", result("10", "Code", 0.5), result("9", "code", 0.5) },
        { "same title: the id", result("a", "Notes", 0.5), result("b", "Notes", 0.5) },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.description);
        EXPECT_TRUE(Ranker::precedes(testCase.first, testCase.second));
        EXPECT_FALSE(Ranker::precedes(testCase.second, testCase.first));
        EXPECT_FALSE(Ranker::precedes(testCase.first, testCase.first));
    }
}

TEST(Ranker, AccentsCompareTheSameWhetherPrecomposedOrNot)
{
    // "á" precomposed and "a" with a combining acute are one title, so the id decides.
    struct Pair {
        const char* firstTitle;
        const char* secondTitle;
    };
    const Pair equals[] = {
        { "\u00E1", "a\u0301" },
        { "a\u0301", "\u00E1" },
        { "Caf\u00E9 Noir", "Cafe\u0301 noir" },
        { "Cafe\u0301 Noir", "caf\u00E9 noir" },
    };
    for (auto& testCase : equals) {
        SCOPED_TRACE(std::string(testCase.firstTitle) + " / " + testCase.secondTitle);
        EXPECT_EQ(Ranker::compareLowercased(testCase.firstTitle, testCase.secondTitle), 0);
        EXPECT_TRUE(Ranker::precedes(
            result("1", testCase.firstTitle, 0.5), result("2", testCase.secondTitle, 0.5)));
        EXPECT_FALSE(Ranker::precedes(
            result("2", testCase.secondTitle, 0.5), result("1", testCase.firstTitle, 0.5)));
    }
    // Past an accent written either way, the following letters decide: "éa" before "éx".
    const Pair ordered[] = {
        { "\u00E9a", "e\u0301x" },
        { "e\u0301a", "\u00E9x" },
    };
    for (auto& testCase : ordered) {
        SCOPED_TRACE(std::string(testCase.firstTitle) + " / " + testCase.secondTitle);
        EXPECT_LT(Ranker::compareLowercased(testCase.firstTitle, testCase.secondTitle), 0);
        EXPECT_TRUE(Ranker::precedes(
            result("2", testCase.firstTitle, 0.5), result("1", testCase.secondTitle, 0.5)));
    }
}

TEST(Ranker, SortKeysOrderTitlesAsTheComparisonDoes)
{
    const std::vector<std::string> titles
        = { "code", "Code", "CODE", "codE", "cod", "codes", "Zebra", "apple", "[x]", "_x",
              "caf\u00E9", "Caf\u00C9", "cafe", "cafez", "caf\u00E9 ", "\u00FF", "\u0178", "\u00DF",
              "\u00B5", "stra\u00DFe", "\u00C5ngstr\u00F6m", "a\u0301", "\u00E1", "\u0150",
              "\u0151z", "K", "\u212A", "\u0130", "\u0130x", "i\u0307", "\u65E5\u672C", "\u00C5",
              "A\u030A", "\u212B", "\U0001F600", std::string("a\0b", 3), std::string("a\0", 2),
              // Longer than a word of eight bytes, with the letters' ASCII neighbours, and a
              // capital whose small letter takes three bytes.
              "@AZ[`az{ @AZ[`az{", "/USR/Share/Caf\u00C9 Photos/\u023A.TXT",
              "/usr/share/caf\u00E9 photos/\u2C65.txt", "\u023A\u023Ebcdefghij\u00C0XYZ",
              // Beyond Latin: a sigma whose small letter depends on its place, scalars that NFC
              // or a mark changes, and small letters in the Supplementary Plane.
              "\u039F\u0394\u039F\u03A3 \u03A3\u0391\u03A3", "\u03C3\u03BF\u03C6\u03CC\u03C2",
              "\u041C\u041E\u0421\u041A\u0412\u0410", "\u041C\u043E\u0441\u043A\u0432\u0430",
              "\u0416\u0301x", "\u00C9\u0416", "\uF900\u8C48", "\u2126mega", "\u03A9mega",
              "\U00010400\U00010428", "\u13A0\uAB70", "\u24B6\u24D0", "\u01C4\u01C5",
              "\uD55C\uAD6D\uC5B4", "\u1112\u1161", "\U0001F680A", "A\U0001F680" };
    for (auto& title : titles) {
        std::string key;
        Ranker::appendSortKey(title, key);
        EXPECT_EQ(key, normalizedText(lowercasedText(title))) << title;
    }
    for (auto& first : titles) {
        for (auto& second : titles) {
            SCOPED_TRACE(first + " / " + second);
            std::string firstKey = "kept";
            std::string secondKey = "kept";
            Ranker::appendSortKey(first, firstKey);
            Ranker::appendSortKey(second, secondKey);
            auto expected = Ranker::compareLowercased(first, second);
            auto keyOrder = firstKey.compare(secondKey);
            EXPECT_EQ((keyOrder > 0) - (keyOrder < 0), (expected > 0) - (expected < 0));
        }
    }
}

TEST(Ranker, EqualTitlesAndScoresComeBackInIdOrderWhateverTheInputOrder)
{
    std::vector<IndexedItem> items = { indexed("b", "Notes"), indexed("10", "notes"),
        indexed("a", "NOTES"), indexed("9", "Notes") };
    const std::vector<std::string> expected = { "10", "9", "a", "b" };
    std::vector<std::size_t> order = { 0, 1, 2, 3 };
    do {
        std::vector<IndexedItem> shuffled;
        for (auto index : order)
            shuffled.push_back(items[index]);
        EXPECT_EQ(ids(Ranker {}.rank(shuffled, makeQueryText("notes"), {}, 10)), expected);
        EXPECT_EQ(ids(Ranker {}.rank(shuffled, makeQueryText("notes"), {}, 2)),
            (std::vector<std::string> { "10", "9" }));
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Ranker, TopSortsThenKeepsTheLimit)
{
    std::vector<RankedResult> results = { result("c", "Cc", 0.3), result("a", "Aa", 0.9),
        result("b", "Bb", 0.6), result("d", "Dd", 0.6) };
    EXPECT_EQ(ids(Ranker::top(results, 10)), (std::vector<std::string> { "a", "b", "d", "c" }));
    EXPECT_EQ(ids(Ranker::top(results, 2)), (std::vector<std::string> { "a", "b" }));
    EXPECT_TRUE(Ranker::top(results, 0).empty());
    EXPECT_TRUE(Ranker::top(results, -3).empty());
    EXPECT_TRUE(Ranker::top({}, 5).empty());
}

TEST(Ranker, MergeKeepsTheFirstResultUnlessALaterOneScoresStrictlyHigher)
{
    std::vector<std::vector<RankedResult>> groups = {
        { result("same", "Same", 0.5, "first"), result("up", "Up", 0.4, "first"),
            result("down", "Down", 0.7, "first") },
        { result("same", "Same", 0.5, "second"), result("up", "Up", 0.6, "second"),
            result("down", "Down", 0.3, "second"), result("new", "New", 0.1, "second") },
        { result("up", "Up", std::nextafter(0.6, 1.0), "third") },
    };
    auto merged = Ranker::merge(groups, 10);
    ASSERT_EQ(ids(merged), (std::vector<std::string> { "down", "up", "same", "new" }));
    EXPECT_EQ(merged[0].item.subtitle, "first");
    EXPECT_EQ(merged[1].item.subtitle, "third");
    EXPECT_EQ(merged[2].item.subtitle, "first");
    EXPECT_EQ(ids(Ranker::merge(groups, 2)), (std::vector<std::string> { "down", "up" }));
    EXPECT_TRUE(Ranker::merge(groups, 0).empty());
    EXPECT_TRUE(Ranker::merge({}, 10).empty());
}

TEST(SearchItem, DecodingIsStrictAboutRequiredKeysAndTypes)
{
    auto complete = [] {
        return Json::Value {
            { "id", "app:safari" },
            { "title", "Safari" },
            { "subtitle", "/Applications/Safari.app" },
            { "kind", "application" },
            { "keywords", { "browser", "web" } },
            { "isValid", true },
        };
    };
    auto decoded = searchItemFromJSON(complete());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded,
        (SearchItem { .id = "app:safari",
            .title = "Safari",
            .subtitle = "/Applications/Safari.app",
            .kind = ItemKind::application,
            .keywords = { "browser", "web" } }));

    for (auto key : { "id", "title", "subtitle", "kind", "keywords", "isValid" }) {
        SCOPED_TRACE(key);
        auto json = complete();
        json.erase(key);
        auto missing = searchItemFromJSON(json);
        ASSERT_FALSE(missing);
        EXPECT_EQ(missing.error().message, "\"" + std::string(key) + "\" is missing.");
        json[key] = nullptr;
        EXPECT_FALSE(searchItemFromJSON(json));
    }

    struct Wrong {
        const char* key;
        Json::Value value;
        const char* message;
    };
    const Wrong wrongs[] = {
        { "id", 7, "\"id\" must be a string." },
        { "title", Json::Value::array(), "\"title\" must be a string." },
        { "kind", "app", "\"app\" is not a valid \"kind\"." },
        { "kind", "Application", "\"Application\" is not a valid \"kind\"." },
        { "keywords", "browser", "\"keywords\" must be an array of strings." },
        { "keywords", { "browser", 1 }, "\"keywords\" must be an array of strings." },
        { "isValid", "true", "\"isValid\" must be true or false." },
        { "isValid", 1, "\"isValid\" must be true or false." },
        { "path", 5, "\"path\" must be a string." },
        { "argument", true, "\"argument\" must be a string." },
        { "autocomplete", Json::Value::object(), "\"autocomplete\" must be a string." },
        { "symbolName", { "star" }, "\"symbolName\" must be a string." },
    };
    for (auto& wrong : wrongs) {
        SCOPED_TRACE(wrong.key + (": " + wrong.value.dump()));
        auto json = complete();
        json[wrong.key] = wrong.value;
        auto decodedWrong = searchItemFromJSON(json);
        ASSERT_FALSE(decodedWrong);
        EXPECT_EQ(decodedWrong.error().message, wrong.message);
    }

    // Optional keys may be absent, as above, or null.
    auto json = complete();
    for (auto key : { "path", "argument", "autocomplete", "symbolName" })
        json[key] = nullptr;
    auto withNulls = searchItemFromJSON(json);
    ASSERT_TRUE(withNulls);
    EXPECT_EQ(*withNulls, *decoded);

    EXPECT_FALSE(searchItemFromJSON(Json::Value::array()));
    EXPECT_FALSE(searchItemFromJSON(Json::Value("Safari")));
}

TEST(SearchItem, EncodingRoundTrips)
{
    const SearchItem items[] = {
        { .id = "snip:sig",
            .title = "Signature ✍",
            .subtitle = "Best,\nZoë",
            .kind = ItemKind::snippet,
            .path = "/home/zoë/snippets/sig.txt",
            .argument = "Best,\nZoë",
            .keywords = { "sig", "", "sign off" },
            .autocomplete = "sig ",
            .symbolName = "signature",
            .isValid = false },
        { .id = "calc", .title = "", .kind = ItemKind::calculator },
        { .id = "wf:1", .title = "Run", .kind = ItemKind::workflow, .argument = "" },
    };
    for (auto& item : items) {
        SCOPED_TRACE(item.id);
        auto json = toJSON(item);
        EXPECT_EQ(json["kind"], std::string(toString(item.kind)));
        auto decoded = searchItemFromJSON(json);
        ASSERT_TRUE(decoded);
        EXPECT_EQ(*decoded, item);
        // Through text as well, as the item is stored.
        auto reparsed = Json::parse(json.dump());
        ASSERT_TRUE(reparsed);
        auto decodedText = searchItemFromJSON(*reparsed);
        ASSERT_TRUE(decodedText);
        EXPECT_EQ(*decodedText, item);
    }
}
