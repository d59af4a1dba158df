#include "Snippets/Snippet.h"

#include "Support/RecordTesting.h"

#include <gtest/gtest.h>

namespace zeph {

TEST(Snippet, MissingKeysTakeTheirDefaults)
{
    auto snippet = snippetFromJSON(json(R"({"content": "Hello"})")).value();
    EXPECT_TRUE(looksLikeUUID(snippet.id)) << snippet.id;
    EXPECT_EQ(snippet, (Snippet { .id = snippet.id, .content = "Hello" }));
    // Until it is saved, such a record gets a new identifier on every read.
    EXPECT_NE(snippetFromJSON(json(R"({"content": "Hello"})"))->id, snippet.id);

    auto collection = snippetCollectionFromJSON(json("{}")).value();
    EXPECT_TRUE(looksLikeUUID(collection.id));
    EXPECT_EQ(collection, (SnippetCollection { .id = collection.id }));
    EXPECT_EQ(collection.name, "Snippets");

    // null counts as missing; an empty text is a value.
    auto named
        = snippetCollectionFromJSON(json(R"({"id": "", "name": null, "snippets": null})")).value();
    EXPECT_EQ(named.id, "");
    EXPECT_EQ(named.name, "Snippets");

    EXPECT_EQ(snippetSettingsFromJSON(json("{}")).value(), SnippetSettings {});
    EXPECT_EQ(SnippetSettings {}.excludedBundleIDs.front(), "1password");
    EXPECT_EQ(
        snippetSettingsFromJSON(json(R"({"launcherKeyword": "s", "autoExpand": false})")).value(),
        (SnippetSettings { .autoExpand = false, .launcherKeyword = "s" }));
}

TEST(Snippet, AValueOfTheWrongTypeFailsTheWholeDocument)
{
    struct Case {
        const char* document;
        const char* message;
    };
    const Case cases[] = {
        { R"([{"isEnabled": "yes"}])", "collection 1: \"isEnabled\" must be true or false." },
        { R"([{}, {"snippets": [{}, {"autoExpands": 1}]}])",
            "collection 2: snippet 2: \"autoExpands\" must be true or false." },
        { R"([{"excludedBundleIDs": ["a", 1]}])",
            "collection 1: \"excludedBundleIDs\" must be an array of strings." },
        { R"([{"snippets": {}}])", "collection 1: The snippets must be a JSON array." },
        { R"([{"snippets": ["text"]}])",
            "collection 1: snippet 1: A snippet must be a JSON object." },
        { R"([{"name": 7}])", "collection 1: \"name\" must be a string." },
        { R"({"snippets": []})", "The collections must be a JSON array." },
        { R"([1])", "collection 1: A snippet collection must be a JSON object." },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.document);
        auto decoded
            = DocumentCoding<std::vector<SnippetCollection>>::decode(json(testCase.document));
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, testCase.message);
        // Read from the text a collection at a time, the message is the same.
        auto fromText = decodeDocument<std::vector<SnippetCollection>>(testCase.document);
        ASSERT_TRUE(fromText && !*fromText);
        EXPECT_EQ(fromText->error().message, testCase.message);
    }
    EXPECT_FALSE(snippetSettingsFromJSON(json(R"({"excludedBundleIDs": "all"})")));
}

TEST(Snippet, TriggerIsPrefixKeywordSuffixExactly)
{
    struct Case {
        const char* prefix;
        const char* keyword;
        const char* suffix;
        std::optional<std::string> trigger;
    };
    const Case cases[] = {
        { ";", "date", "", ";date" },
        { ";", "date", "!", ";date!" },
        { "", "Date", "", "Date" },
        { " x ", " y ", " z ", " x  y  z " },
        { ";", "", "!", std::nullopt },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.keyword);
        SnippetCollection collection { .prefix = testCase.prefix, .suffix = testCase.suffix };
        EXPECT_EQ(
            collection.triggerText(Snippet { .keyword = testCase.keyword }), testCase.trigger);
    }
}

TEST(Snippet, StarterCollectionIsWhatANewUserFinds)
{
    auto& starter = SnippetCollection::starter();
    EXPECT_EQ(starter.id, "starter");
    EXPECT_EQ(starter.name, "Everyday");
    ASSERT_EQ(starter.snippets.size(), 6u);
    std::vector<std::string> triggers;
    for (auto& snippet : starter.snippets) {
        triggers.push_back(starter.triggerText(snippet).value_or(""));
        EXPECT_TRUE(snippet.isEnabled && snippet.autoExpands && !snippet.createdByAgent
            && !snippet.pendingReview);
    }
    EXPECT_EQ(triggers,
        (std::vector<std::string> { ";date", ";iso", ";time", ";shrug", ";uuid", ";ty" }));
    EXPECT_EQ(starter.snippets[3].content, "¯\\_(ツ)_/¯");
    EXPECT_EQ(starter.snippets[5].content,
        "Hi {fill:Name},\n\nThanks for getting in touch. {cursor}\n\nCheers");
}

TEST(Snippet, EveryRecordReadsBackWhatItWrites)
{
    SnippetCollection collection { .id = "c",
        .name = "Work",
        .prefix = "!",
        .suffix = "?",
        .isEnabled = false,
        .excludedBundleIDs = { "code" },
        .snippets = { { .id = "s",
            .name = "n",
            .keyword = "k",
            .content = "c",
            .isEnabled = false,
            .autoExpands = false,
            .createdByAgent = true,
            .pendingReview = true } } };
    std::vector<SnippetCollection> document { collection, SnippetCollection::starter() };
    using Coding = DocumentCoding<std::vector<SnippetCollection>>;
    EXPECT_EQ(Coding::decode(Coding::encode(document)).value(), document);
    SnippetSettings settings { .autoExpand = false,
        .requireWordBoundary = true,
        .restoreClipboard = false,
        .excludedBundleIDs = {},
        .launcherKeyword = "x" };
    EXPECT_EQ(snippetSettingsFromJSON(toJSON(settings)).value(), settings);
}

} // namespace zeph
