#include "Search/QueryParser.h"

#include <gtest/gtest.h>

using namespace zeph;

TEST(QueryParser, LeadingCharactersDecideTheMode)
{
    struct Case {
        const char* text;
        ParsedQuery parsed;
    };
    const Case cases[] = {
        // Paths: a leading slash, the home folder alone, or a path inside it.
        { "/usr", { .mode = QueryMode::navigate, .term = "/usr", .keyword = "/usr" } },
        { "/", { .mode = QueryMode::navigate, .term = "/", .keyword = "/" } },
        { "~", { .mode = QueryMode::navigate, .term = "~", .keyword = "~" } },
        { "~/a", { .mode = QueryMode::navigate, .term = "~/a", .keyword = "~/a" } },
        { "~/Docs x ",
            { .mode = QueryMode::navigate,
                .term = "~/Docs x ",
                .keyword = "~/docs",
                .argument = "x " } },
        { "~x", { .mode = QueryMode::standard, .term = "~x", .keyword = "~x" } },
        { "~ /a",
            { .mode = QueryMode::standard, .term = "~ /a", .keyword = "~", .argument = "/a" } },
        // A leading space or apostrophe opens a file; the rest is trimmed.
        { " g", { .mode = QueryMode::openFile, .term = "g", .keyword = "g" } },
        { "   ", { .mode = QueryMode::openFile } },
        { " /usr ", { .mode = QueryMode::openFile, .term = "/usr", .keyword = "/usr" } },
        { "'x", { .mode = QueryMode::openFile, .term = "x", .keyword = "x" } },
        { "' Big  Report\t",
            { .mode = QueryMode::openFile,
                .term = "Big  Report",
                .keyword = "big",
                .argument = " Report" } },
        // The word prefixes need their space, and ignore case.
        { "Open  Foo ", { .mode = QueryMode::openFile, .term = "Foo", .keyword = "foo" } },
        { "open ", { .mode = QueryMode::openFile } },
        { "OPEN x", { .mode = QueryMode::openFile, .term = "x", .keyword = "x" } },
        { "open", { .mode = QueryMode::standard, .term = "open", .keyword = "open" } },
        { "opener", { .mode = QueryMode::standard, .term = "opener", .keyword = "opener" } },
        { "Find report", { .mode = QueryMode::findFile, .term = "report", .keyword = "report" } },
        { "find", { .mode = QueryMode::standard, .term = "find", .keyword = "find" } },
        { "find \u3000", { .mode = QueryMode::findFile } },
        { "in  a  b",
            { .mode = QueryMode::contents, .term = "a  b", .keyword = "a", .argument = " b" } },
        { "IN x", { .mode = QueryMode::contents, .term = "x", .keyword = "x" } },
        { "index", { .mode = QueryMode::standard, .term = "index", .keyword = "index" } },
        // Only the plain space is a prefix: a tab, or a space carrying a combining mark, is not.
        { "\tg", { .mode = QueryMode::standard, .term = "\tg", .keyword = "\tg" } },
        { "open \u0301x",
            { .mode = QueryMode::standard, .term = "open \u0301x", .keyword = "open \u0301x" } },
        // A standard query keeps its raw form: trailing and inner spaces belong to the argument.
        { "g ", { .mode = QueryMode::standard, .term = "g ", .keyword = "g", .argument = "" } },
        { "g  cats ",
            { .mode = QueryMode::standard,
                .term = "g  cats ",
                .keyword = "g",
                .argument = " cats " } },
        { "", { .mode = QueryMode::standard } },
        { "ÉCOLE Paris",
            { .mode = QueryMode::standard,
                .term = "ÉCOLE Paris",
                .keyword = "école",
                .argument = "Paris" } },
        { "ΣΟΦΙΑ", { .mode = QueryMode::standard, .term = "ΣΟΦΙΑ", .keyword = "σοφια" } },
        // The prefix comes off before the keyword is taken.
        { "find ÉTÉ 2024",
            { .mode = QueryMode::findFile,
                .term = "ÉTÉ 2024",
                .keyword = "été",
                .argument = "2024" } },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(QueryParser::parse(testCase.text), testCase.parsed);
    }
}

TEST(QueryParser, InvalidUTF8IsRepairedBeforeParsing)
{
    EXPECT_EQ(QueryParser::parse("open \xFF"),
        (ParsedQuery { .mode = QueryMode::openFile, .term = "\uFFFD", .keyword = "\uFFFD" }));
    EXPECT_EQ(QueryParser::standardQuery("a\xFF b"),
        (ParsedQuery { .mode = QueryMode::standard,
            .term = "a\uFFFD b",
            .keyword = "a\uFFFD",
            .argument = "b" }));
}

TEST(QueryParser, StandardQueryIgnoresEveryPrefix)
{
    struct Case {
        const char* text;
        ParsedQuery parsed;
    };
    const Case cases[] = {
        { " open x",
            { .mode = QueryMode::standard,
                .term = " open x",
                .keyword = "",
                .argument = "open x" } },
        { "/usr", { .mode = QueryMode::standard, .term = "/usr", .keyword = "/usr" } },
        { "Find Report",
            { .mode = QueryMode::standard,
                .term = "Find Report",
                .keyword = "find",
                .argument = "Report" } },
        { "~", { .mode = QueryMode::standard, .term = "~", .keyword = "~" } },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(QueryParser::standardQuery(testCase.text), testCase.parsed);
    }
}

TEST(QueryParser, EscapingPutsABackslashBeforeFourCharacters)
{
    struct Case {
        const char* text;
        const char* escaped;
    };
    const Case cases[] = {
        { "", "" },
        { "plain name.txt", "plain name.txt" },
        { R"(\)", R"(\\)" },
        { R"(")", R"(\")" },
        { "*", R"(\*)" },
        { "'", R"(\')" },
        { R"(a\b"c*d'e)", R"(a\\b\"c\*d\'e)" },
        { R"(\\**)", R"(\\\\\*\*)" },
        // Other predicate characters and non-ASCII text pass through.
        { "?[]$ é日", "?[]$ é日" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(QueryParser::escapeForPredicate(testCase.text), testCase.escaped);
    }
}
