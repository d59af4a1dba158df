#include "Snippets/ExpansionMatcher.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

SnippetCollection collection(std::string id, std::string prefix,
    std::vector<std::pair<std::string, std::string>> keywordsAndIDs,
    std::vector<std::string> excluded = {})
{
    SnippetCollection result { .id = std::move(id), .prefix = std::move(prefix) };
    result.excludedBundleIDs = std::move(excluded);
    for (auto& [keyword, snippetID] : keywordsAndIDs)
        result.snippets.push_back({ .id = snippetID, .keyword = keyword });
    return result;
}

ExpansionMatcher matcher(
    const std::vector<SnippetCollection>& collections, bool requireWordBoundary = false)
{
    return ExpansionMatcher(ExpansionTrigger::triggers(collections), requireWordBoundary);
}

// Types `text` one character a key event and returns the id of the snippet of each match, "-"
// for a character that matched nothing. A match clears the buffer, as the expander does.
std::string typed(ExpansionMatcher& matcher, std::string_view text,
    std::optional<std::string_view> bundleID = std::nullopt)
{
    std::string result;
    std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(text, boundaries);
    for (std::size_t index = 0; index + 1 < boundaries.size(); ++index) {
        auto* trigger = matcher.feed(
            text.substr(boundaries[index], boundaries[index + 1] - boundaries[index]), bundleID);
        result += result.empty() ? "" : " ";
        result += trigger ? trigger->snippet.id : "-";
        if (trigger)
            matcher.reset();
    }
    return result;
}

std::string lastMatch(ExpansionMatcher& matcher, std::string_view text,
    std::optional<std::string_view> bundleID = std::nullopt)
{
    auto all = typed(matcher, text, bundleID);
    return all.substr(all.rfind(' ') + 1);
}

} // namespace

TEST(ExpansionTrigger, BuildsFromEnabledAutoExpandingSnippetsFirstTextWins)
{
    auto first = collection("one", ";", { { "date", "a" }, { "", "noKeyword" }, { "off", "b" } });
    first.snippets[2].isEnabled = false;
    first.snippets.push_back({ .id = "manual", .keyword = "manual", .autoExpands = false });
    first.snippets.push_back(
        { .id = "agent", .keyword = "agent", .createdByAgent = true, .pendingReview = true });
    auto second = collection("two", ";", { { "date", "c" }, { "x", "d" } }, { "code" });
    second.suffix = "!";
    auto disabled = collection("three", "", { { "y", "e" } });
    disabled.isEnabled = false;
    auto third = collection("four", ";", { { "date", "f" } });

    auto triggers = ExpansionTrigger::triggers({ first, second, disabled, third });
    std::vector<std::string> summary;
    for (auto& trigger : triggers)
        summary.push_back(trigger.text + " " + trigger.snippet.id + " " + trigger.collectionID);
    EXPECT_EQ(summary,
        (std::vector<std::string> {
            ";date a one", ";agent agent one", ";date! c two", ";x! d two" }));
    EXPECT_EQ(triggers[2].excludedBundleIDs, std::vector<std::string> { "code" });
}

TEST(ExpansionMatcher, LongestTriggerEndingHereWinsAndShorterOnesFireFirst)
{
    auto both = matcher({ collection("c", "", { { "date", "plain" }, { ";date", "prefixed" } }) });
    EXPECT_EQ(typed(both, ";date"), "- - - - prefixed");
    EXPECT_EQ(lastMatch(both, " date"), "plain");

    // ";d" completes first, so ";date" is out of reach while it is enabled.
    auto shadowed = matcher({ collection("c", ";", { { "d", "short" }, { "date", "long" } }) });
    EXPECT_EQ(typed(shadowed, ";date"), "- short - - -");

    // Equal lengths keep their order of creation.
    auto equal = matcher({ collection("c", "", { { "ab", "first" }, { "xb", "second" } }) });
    EXPECT_EQ(typed(equal, "ab xb"), "- first - - second");

    auto cased = matcher({ collection("c", "", { { "date", "d" } }) });
    EXPECT_EQ(typed(cased, "Date"), "- - - -");

    auto spaced = matcher({ collection("c", "", { { "brb ", "space" } }) });
    EXPECT_EQ(typed(spaced, "brb "), "- - - space");
}

TEST(ExpansionMatcher, OneEventMayCarrySeveralCharacters)
{
    auto dates = matcher({ collection("c", ";", { { "d", "d" } }) });
    ASSERT_NE(dates.feed(";d"), nullptr);
    EXPECT_EQ(dates.feed(";d")->snippet.id, "d");
    // The answer belongs to the event's last character: a match before it is overwritten.
    EXPECT_EQ(dates.feed(";dx"), nullptr);
    EXPECT_EQ(dates.bufferText(), ";d;d;dx");
    EXPECT_EQ(dates.feed(""), nullptr);
}

// Within a trigger once its first two characters are typed, so that the expander can get ready
// while the rest is typed; a trigger of two fires at once and has no such moment.
TEST(ExpansionMatcher, KnowsWhenTheTypingIsWithinATrigger)
{
    auto both = matcher({ collection("c", ";", { { "addr", "a" }, { "x", "x" } }),
        collection("d", "", { { "éte", "e" } }) });
    std::string within;
    for (auto character : std::vector<std::string> { "w", ";", "a", "d", ";", "x", "é", "t" }) {
        if (both.feed(character))
            both.reset();
        within += both.isWithinTrigger() ? "1" : "0";
    }
    EXPECT_EQ(within, "00100001");
    both.deleteBackward();
    EXPECT_FALSE(both.isWithinTrigger());
    both.feed("t");
    EXPECT_TRUE(both.isWithinTrigger());
    both.reset();
    EXPECT_FALSE(both.isWithinTrigger());
}

TEST(ExpansionMatcher, WordBoundaryLooksAtTheCharacterBefore)
{
    auto bounded = matcher({ collection("c", "", { { "date", "d" } }) }, true);
    EXPECT_EQ(lastMatch(bounded, "date"), "d");
    EXPECT_EQ(lastMatch(bounded, "xdate"), "-");
    EXPECT_EQ(lastMatch(bounded, " date"), "d");
    EXPECT_EQ(lastMatch(bounded, "(date"), "d");
    EXPECT_EQ(lastMatch(bounded, "1date"), "-");
    EXPECT_EQ(lastMatch(bounded, "édate"), "-");
    EXPECT_EQ(lastMatch(bounded, "日date"), "-");
    EXPECT_EQ(lastMatch(bounded, "٣date"), "-");
    EXPECT_EQ(lastMatch(bounded, "e\u0301date"), "-");
    EXPECT_EQ(lastMatch(bounded, "😀date"), "d");
    // After a reset the buffer starts at a boundary again, whatever stands on the screen.
    typed(bounded, "abc");
    bounded.reset();
    EXPECT_EQ(lastMatch(bounded, "date"), "d");

    // A longer trigger that fails the test does not block a shorter one behind it.
    auto nested
        = matcher({ collection("c", "", { { "adate", "long" }, { "date", "short" } }) }, true);
    EXPECT_EQ(lastMatch(nested, "badate"), "-");
    EXPECT_EQ(lastMatch(nested, " badate"), "-");
    EXPECT_EQ(lastMatch(nested, " adate"), "long");
    auto unbounded = matcher({ collection("c", "", { { "date", "d" } }) });
    EXPECT_EQ(lastMatch(unbounded, "xdate"), "d");
}

TEST(ExpansionMatcher, ExcludedApplicationsPassToTheNextTrigger)
{
    auto excluded = matcher({ collection("code", ";", { { "date", "codeDate" } }, { "code" }),
        collection("all", "", { { "date", "plain" } }) });
    EXPECT_EQ(lastMatch(excluded, ";date", "firefox"), "codeDate");
    EXPECT_EQ(lastMatch(excluded, ";date"), "codeDate");
    EXPECT_EQ(lastMatch(excluded, ";date", "code"), "plain");
    EXPECT_EQ(lastMatch(excluded, ";date", "Code"), "plain");

    // The later duplicate was dropped when the triggers were built: it never fires, not even
    // where the earlier one is excluded.
    auto duplicate = matcher({ collection("first", "", { { "sig", "first" } }, { "mail" }),
        collection("second", "", { { "sig", "second" } }) });
    EXPECT_EQ(lastMatch(duplicate, "sig"), "first");
    EXPECT_EQ(lastMatch(duplicate, "sig", "mail"), "-");
}

TEST(ExpansionMatcher, BufferKeepsTheLast64CharactersAndForgets)
{
    auto dates = matcher({ collection("c", "", { { "date", "d" } }) });
    typed(dates, "dat");
    dates.deleteBackward();
    EXPECT_EQ(dates.bufferText(), "da");
    EXPECT_EQ(dates.feed("t"), nullptr);
    EXPECT_EQ(dates.feed("e")->snippet.id, "d");
    // The matcher keeps its buffer after a match; the caller decides.
    EXPECT_EQ(dates.bufferText(), "date");

    dates.reset();
    dates.deleteBackward();
    EXPECT_EQ(dates.bufferCount(), 0u);
    EXPECT_EQ(lastMatch(dates, "datx"), "-");
    dates.deleteBackward();
    EXPECT_EQ(lastMatch(dates, "e"), "d");

    // "da", a click, "te" does not expand.
    dates.reset();
    typed(dates, "da");
    dates.reset();
    EXPECT_EQ(lastMatch(dates, "te"), "-");

    std::string sixtyFour(63, 'x');
    sixtyFour += "é";
    dates.reset();
    typed(dates, sixtyFour);
    EXPECT_EQ(dates.bufferCount(), 64u);
    EXPECT_EQ(dates.bufferText(), sixtyFour);
    typed(dates, "👍🏽");
    EXPECT_EQ(dates.bufferCount(), 64u);
    EXPECT_EQ(dates.bufferText(), sixtyFour.substr(1) + "👍🏽");
    // Deleting after the ring wrapped removes the newest character.
    dates.deleteBackward();
    EXPECT_EQ(dates.bufferText(), sixtyFour.substr(1));

    // A trigger of 64 characters fits exactly; one of 65 can never match.
    std::string longest(63, 'k');
    auto edge = matcher(
        { collection("c", "", { { longest + "!", "fits" }, { "k" + longest + "?", "never" } }) });
    EXPECT_EQ(lastMatch(edge, "k" + longest + "!"), "fits");
    EXPECT_EQ(lastMatch(edge, "k" + longest + "?"), "-");
}

TEST(ExpansionMatcher, CharactersAreUserPerceived)
{
    auto emoji = matcher({ collection("c", "",
        { { "👍🏽", "thumb" }, { "🇩🇪", "flag" }, { "café", "cafe" }, { "x\r\n", "line" } }) });
    // The skin tone joins the thumb, so a plain thumb is no trigger.
    EXPECT_EQ(typed(emoji, "👍🏽"), "thumb");
    EXPECT_EQ(typed(emoji, "👍"), "-");
    EXPECT_EQ(typed(emoji, "🇩🇪"), "flag");
    // The same character, composed or not.
    EXPECT_EQ(lastMatch(emoji, "cafe\u0301"), "cafe");
    EXPECT_EQ(lastMatch(emoji, "café"), "cafe");
    // Typed apart, the mark is a character of its own and does not join the "e" in the buffer.
    emoji.reset();
    emoji.feed("cafe");
    EXPECT_EQ(emoji.feed("\u0301"), nullptr);
    EXPECT_EQ(emoji.bufferCount(), 5u);
    emoji.deleteBackward();
    EXPECT_EQ(emoji.bufferText(), "cafe");

    EXPECT_EQ(emoji.feed("x\r\n")->snippet.id, "line");
    EXPECT_EQ(matcher({}).feed("a"), nullptr);
    EXPECT_EQ(emoji.feed("\xff"), nullptr);
}

} // namespace zeph
