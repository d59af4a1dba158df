#include "Search/QueryParser.h"

#include <gtest/gtest.h>

using namespace zeph;

TEST(QueryParser, LeadingCharactersDecideTheMode)
{
    struct Case {
        const char* text;
        QueryMode mode;
        const char* term;
        const char* keyword;
        std::optional<std::string> argument;
    };
    const Case cases[] = {
        { "/usr", QueryMode::navigate, "/usr", "/usr", {} },
        { "~", QueryMode::navigate, "~", "~", {} },
        { "~/Docs x", QueryMode::navigate, "~/Docs x", "~/docs", "x" },
        { "~x", QueryMode::standard, "~x", "~x", {} },
        { " g", QueryMode::openFile, "g", "g", {} },
        { "   ", QueryMode::openFile, "", "", {} },
        { "'Report", QueryMode::openFile, "Report", "report", {} },
        { "Open  Foo ", QueryMode::openFile, "Foo", "foo", {} },
        { "open ", QueryMode::openFile, "", "", {} },
        { "Find report", QueryMode::findFile, "report", "report", {} },
        { "find", QueryMode::standard, "find", "find", {} },
        { "in  a  b", QueryMode::contents, "a  b", "a", " b" },
        { "IN x", QueryMode::contents, "x", "x", {} },
        { "g ", QueryMode::standard, "g ", "g", "" },
        { "ÉCOLE Paris", QueryMode::standard, "ÉCOLE Paris", "école", "Paris" },
        // A space that carries a combining mark is a character of its own, not a space.
        { "open \xCC\x81x", QueryMode::standard, "open \xCC\x81x", "open \xCC\x81x", {} },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        auto parsed = QueryParser::parse(testCase.text);
        EXPECT_EQ(parsed, (ParsedQuery { testCase.mode, testCase.term, testCase.keyword, testCase.argument }));
    }
}

TEST(QueryParser, StandardQueryIgnoresPrefixesAndEscapingCoversFourCharacters)
{
    EXPECT_EQ(QueryParser::standardQuery(" open x"), (ParsedQuery { QueryMode::standard, " open x", "", "open x" }));
    EXPECT_EQ(QueryParser::escapeForPredicate(R"(a\b"c*d'e)"), R"(a\\b\"c\*d\'e)");
}
