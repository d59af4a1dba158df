#include "Search/WebSearch.h"

#include <gtest/gtest.h>

using namespace zeph;

namespace {

WebSearch search(std::string url)
{
    return { .id = "mine", .keyword = "m", .name = "Mine", .url = std::move(url) };
}

} // namespace

TEST(WebSearch, DefaultsAreTheEightKnownSearches)
{
    struct Row {
        const char* id;
        const char* keyword;
        const char* name;
        const char* url;
        bool isFallback;
    };
    const Row rows[] = {
        { "google", "g", "Google", "https://www.google.com/search?q={query}", true },
        { "duckduckgo", "ddg", "DuckDuckGo", "https://duckduckgo.com/?q={query}", true },
        { "github", "gh", "GitHub", "https://github.com/search?q={query}", false },
        { "wikipedia", "wiki", "Wikipedia",
            "https://en.wikipedia.org/wiki/Special:Search?search={query}", true },
        { "youtube", "yt", "YouTube", "https://www.youtube.com/results?search_query={query}",
            false },
        { "maps", "maps", "Maps", "https://www.openstreetmap.org/search?query={query}", false },
        { "dictionary", "define", "Dictionary",
            "https://en.wiktionary.org/wiki/Special:Search?search={query}", false },
        { "amazon", "amazon", "Amazon", "https://www.amazon.com/s?k={query}", false },
    };
    auto& defaults = WebSearch::defaults();
    ASSERT_EQ(defaults.size(), std::size(rows));
    for (std::size_t index = 0; index < defaults.size(); ++index) {
        SCOPED_TRACE(rows[index].id);
        EXPECT_EQ(defaults[index],
            (WebSearch { rows[index].id, rows[index].keyword, rows[index].name, rows[index].url,
                true, rows[index].isFallback }));
        // Every default opens, with and without a query.
        EXPECT_TRUE(defaults[index].urlFor("").has_value());
        EXPECT_TRUE(defaults[index].urlFor("caf\u00E9 & cr\u00E8me").has_value());
    }
    EXPECT_EQ(&WebSearch::defaults(), &defaults); // Built once.
}

TEST(WebSearch, QueryIsEncodedAsOneValue)
{
    struct Case {
        const char* query;
        const char* encoded;
    };
    const Case cases[] = {
        // The separators of a query string are encoded, unlike in the plain query set.
        { "a&b c/d", "a%26b%20c%2Fd" },
        { "1+1=2?", "1%2B1%3D2%3F" },
        { "#tag", "%23tag" },
        { "-._~!$'()*,;:@", "-._~!$'()*,;:@" },
        { "100%", "100%25" },
        { "\"<>[]{}|\\^`", "%22%3C%3E%5B%5D%7B%7D%7C%5C%5E%60" },
        { "Z\u00FCrich \U0001F600", "Z%C3%BCrich%20%F0%9F%98%80" },
        { "", "" },
    };
    auto google = WebSearch::defaults()[0];
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.query);
        EXPECT_EQ(google.urlFor(testCase.query),
            std::string("https://www.google.com/search?q=") + testCase.encoded);
    }
}

TEST(WebSearch, TemplatesFillEveryPlaceholderAndMustParse)
{
    struct Case {
        const char* url;
        std::optional<std::string> filled;
    };
    const Case cases[] = {
        { "https://a.example/?q={query}&again={query}", "https://a.example/?q=x%20y&again=x%20y" },
        { "https://a.example/fixed", "https://a.example/fixed" }, // No placeholder: unchanged.
        { "{query}", "x%20y" }, // A relative reference still reads.
        { "dict://{query}", "dict://x%20y" },
        { "https://user:pw@[::1]:8080/p?q={query}#top",
            "https://user:pw@[::1]:8080/p?q=x%20y#top" },
        { "https://a.example:/?q={query}", "https://a.example:/?q=x%20y" },
        // Templates that are no URL.
        { "https://a example/?q={query}", std::nullopt },
        { "https://a.example/?q={query}{other}", std::nullopt },
        { "https://a.example/?q=%zz{query}", std::nullopt },
        { "https://a.example/?q=%4", std::nullopt },
        { "https://a.example/#a#b", std::nullopt },
        { "https://a.example:80x/", std::nullopt },
        { "https://[::1/", std::nullopt },
        { "https://a.example/[x]", std::nullopt },
        { "https://a@b@c/", std::nullopt },
        { "1ab://x", std::nullopt },
        { ":x", std::nullopt },
        { "https://a.example/caf\u00E9?q={query}", std::nullopt },
        { "", std::nullopt },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.url);
        EXPECT_EQ(search(testCase.url).urlFor("x y"), testCase.filled);
    }
}

TEST(WebSearch, ItemWithoutAQueryTellsHowToUseTheKeyword)
{
    auto google = WebSearch::defaults()[0];
    for (auto query : { "", "   ", "\t\u00A0" }) {
        SCOPED_TRACE(query);
        EXPECT_EQ(google.item(query),
            (SearchItem {
                .id = "web:google",
                .title = "Search Google",
                .subtitle = "Type g followed by your search",
                .kind = ItemKind::webSearch,
                .argument = "https://www.google.com/search?q=",
                .autocomplete = "g ",
                .symbolName = "magnifyingglass",
                .isValid = false,
            }));
    }
    EXPECT_EQ(search("{query}").item("").argument, std::nullopt); // The empty text is no URL.
}

TEST(WebSearch, ItemWithAQueryOpensTheFilledTemplate)
{
    auto wikipedia = WebSearch::defaults()[3];
    EXPECT_EQ(wikipedia.item("  caf\u00E9 au lait "),
        (SearchItem {
            .id = "web:wikipedia",
            .title = "Search Wikipedia for 'caf\u00E9 au lait'",
            .subtitle = "https://en.wikipedia.org/wiki/Special:Search?search=caf%C3%A9%20au%20lait",
            .kind = ItemKind::webSearch,
            .argument = "https://en.wikipedia.org/wiki/Special:Search?search=caf%C3%A9%20au%20lait",
            .autocomplete = "wiki ",
            .symbolName = "magnifyingglass",
            .isValid = true,
        }));

    // A template that does not parse still shows, with the template as its subtitle.
    auto broken = search("https://a example/{query}").item("cats");
    EXPECT_EQ(broken.title, "Search Mine for 'cats'");
    EXPECT_EQ(broken.subtitle, "https://a example/{query}");
    EXPECT_EQ(broken.argument, std::nullopt);
    EXPECT_TRUE(broken.isValid);

    // Invalid UTF-8 in the query cannot reach the title.
    EXPECT_EQ(
        search("https://a.example/?q={query}").item("a\xFF").title, "Search Mine for 'a\uFFFD'");
}

TEST(WebSearch, JSONNeedsEveryKey)
{
    auto original = WebSearch::defaults()[5];
    auto json = toJSON(original);
    EXPECT_EQ(json.dump(),
        R"({"id":"maps","isEnabled":true,"isFallback":false,"keyword":"maps","name":"Maps","url":"https://www.openstreetmap.org/search?query={query}"})");
    EXPECT_EQ(webSearchFromJSON(json).value(), original);

    for (auto key : { "id", "keyword", "name", "url", "isEnabled", "isFallback" }) {
        SCOPED_TRACE(key);
        auto partial = json;
        partial.erase(key);
        auto missing = webSearchFromJSON(partial);
        ASSERT_FALSE(missing.has_value());
        EXPECT_EQ(missing.error().message, std::string("\"") + key + "\" is missing.");
        auto wrong = json;
        wrong[key] = 1;
        EXPECT_FALSE(webSearchFromJSON(wrong).has_value());
    }
    EXPECT_FALSE(webSearchFromJSON(Json::Value::array()).has_value());
}

TEST(WebSearch, FindsAnEnabledSearchByKeywordInAnyCase)
{
    auto searches = WebSearch::defaults();
    EXPECT_EQ(findWebSearch(searches, "G")->id, "google");
    EXPECT_EQ(findWebSearch(searches, "define")->id, "dictionary");
    EXPECT_EQ(findWebSearch(searches, "google"), nullptr); // The keyword, not the id.
    EXPECT_EQ(findWebSearch(searches, ""), nullptr);
    searches[0].isEnabled = false;
    EXPECT_EQ(findWebSearch(searches, "g"), nullptr);
    searches.push_back({ .id = "second", .keyword = "DDG" });
    EXPECT_EQ(findWebSearch(searches, "ddg")->id, "duckduckgo"); // The first one wins.
}
