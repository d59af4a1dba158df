// The search and calculator commands of the built zeph, driven as scripts drive them: arguments,
// standard input, output and exit status are the contract.
#include "cli/DataFolder.h"
#include "cli/RunZeph.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using CommandLineTesting::json;
using CommandLineTesting::runZeph;

const std::string sampleLines = "Safari\nVisual Studio Code\n\nSafari App\ncode\nTerminal\r\nCafé\n";

} // namespace

TEST(CommandLine, PrepareMatchAndParsePrintOneJSONValue)
{
    auto prepared = runZeph({ "prepare", "x-Ray" });
    EXPECT_EQ(prepared.exitCode, 0);
    EXPECT_EQ(json(prepared.output), json(R"({"chars":["x","-","r","a","y"],"wordStarts":[0,2]})"));

    auto matched = runZeph({ "match", "vs", "Visual Studio Code" });
    EXPECT_EQ(matched.exitCode, 0);
    EXPECT_EQ(json(matched.output)["indices"], json("[0,7]"));
    EXPECT_DOUBLE_EQ(json(matched.output)["score"].get<double>(), 0.72 + 0.06 * (2.0 / 3.0));

    auto missed = runZeph({ "match", "zz", "Safari" });
    EXPECT_EQ(missed.exitCode, 1);
    EXPECT_EQ(missed.output, "null\n");

    auto parsed = runZeph({ "parse", "--", "in  a  b" });
    EXPECT_EQ(json(parsed.output), json(R"({"mode":"contents","term":"a  b","keyword":"a","argument":" b"})"));
    EXPECT_FALSE(json(runZeph({ "parse", "safari" }).output).contains("argument"));
}

TEST(CommandLine, FilterPrintsMatchingLinesBestFirst)
{
    auto run = runZeph({ "filter", "code" }, sampleLines);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "code\nVisual Studio Code\n");

    auto limited = runZeph({ "filter", "--limit", "1", "saf" }, sampleLines);
    EXPECT_EQ(limited.output, "Safari\n");

    // Folding removes diacritics, and a "\r\n" line ending is not part of the title.
    EXPECT_EQ(runZeph({ "filter", "cafe" }, sampleLines).output, "Café\n");
    EXPECT_EQ(runZeph({ "filter", "terminal" }, sampleLines).output, "Terminal\n");
}

TEST(CommandLine, FilterJSONCarriesScoreAndIndices)
{
    auto run = runZeph({ "filter", "--json", "app" }, sampleLines);
    ASSERT_EQ(run.exitCode, 0);
    auto first = json(run.output.substr(0, run.output.find('\n')));
    EXPECT_EQ(first["title"], "Safari App");
    EXPECT_EQ(first["indices"], json("[7,8,9]"));
    EXPECT_DOUBLE_EQ(first["score"].get<double>(), 0.8 + 0.08 * (3.0 / 10.0));
}

TEST(CommandLine, ExitStatusTellsMatchesNoneAndBadUsage)
{
    EXPECT_EQ(runZeph({ "filter", "zzqx" }, sampleLines).exitCode, 1);
    EXPECT_EQ(runZeph({ "filter", "zzqx" }, sampleLines).output, "");
    EXPECT_EQ(runZeph({ "filter" }, sampleLines).exitCode, 2);
    auto unknown = runZeph({ "frobnicate" });
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.errors.starts_with("zeph: ")) << unknown.errors;
    EXPECT_EQ(runZeph({ "filter", "--limit", "many", "x" }, sampleLines).exitCode, 2);
    // "--" ends the options, so a query may look like one.
    EXPECT_EQ(runZeph({ "filter", "--", "-5" }, "a -5 b\n").output, "a -5 b\n");
    EXPECT_EQ(runZeph({ "--help" }).exitCode, 0);
    EXPECT_EQ(runZeph({ "--version" }).exitCode, 0);
}

TEST(CommandLine, InvalidUTF8IsReplacedNotACrash)
{
    auto run = runZeph({ "filter", "ab" }, "a\xff"
                                        "b\n\xc3\n");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "a\xEF\xBF\xBD"
                          "b\n");
    EXPECT_EQ(runZeph({ "match", "a\xff", "a\xff" }).exitCode, 0);
}

TEST(CommandLine, RankReadsSearchItemsAndBoosts)
{
    std::string items = R"([
        {"id":"/apps/safari","title":"Safari","subtitle":"","kind":"application","keywords":[],"isValid":true},
        {"id":"/docs/safari.txt","title":"safari.txt","subtitle":"","kind":"file","keywords":[],"isValid":true,"path":"/docs/safari.txt"}
    ])";
    auto run = runZeph({ "rank", "saf" }, items);
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    auto results = json(run.output);
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0]["item"]["id"], "/apps/safari");
    EXPECT_DOUBLE_EQ(results[0]["score"].get<double>(), 0.9 + 0.08 * (3.0 / 6.0) + 0.08);

    char path[] = "/tmp/zeph-boosts-XXXXXX";
    int descriptor = mkstemp(path);
    ASSERT_GE(descriptor, 0);
    std::string boosts = R"({"/docs/safari.txt": 0.5})";
    ASSERT_EQ(write(descriptor, boosts.data(), boosts.size()), static_cast<ssize_t>(boosts.size()));
    close(descriptor);
    auto boosted = json(runZeph({ "rank", "--boosts", path, "--limit", "1", "saf" }, items).output);
    std::remove(path);
    ASSERT_EQ(boosted.size(), 1u);
    EXPECT_EQ(boosted[0]["item"]["id"], "/docs/safari.txt");
    EXPECT_DOUBLE_EQ(boosted[0]["learnedBoost"].get<double>(), 0.5);

    auto broken = runZeph({ "rank", "saf" }, R"([{"id":"x","title":"x"}])");
    EXPECT_EQ(broken.exitCode, 2);
    EXPECT_NE(broken.errors.find("subtitle"), std::string::npos) << broken.errors;
    EXPECT_EQ(runZeph({ "rank", "saf" }, "not json").exitCode, 2);
}

TEST(CommandLine, TypingReplayPrintsEveryKeystroke)
{
    auto run = runZeph({ "filter", "--type", "c,co,cod,code" }, sampleLines);
    EXPECT_EQ(run.exitCode, 0);
    std::istringstream output(run.output);
    std::string line;
    std::vector<std::string> keystrokes;
    while (std::getline(output, line))
        keystrokes.push_back(line.substr(0, line.find('\t')));
    EXPECT_EQ(keystrokes, (std::vector<std::string> { "c", "co", "cod", "code" }));

    auto repeated = runZeph({ "filter", "--repeat", "20", "code" }, sampleLines);
    EXPECT_EQ(repeated.exitCode, 0);
    EXPECT_TRUE(repeated.output.starts_with("iterations ")) << repeated.output;
    EXPECT_NE(repeated.output.find("median"), std::string::npos);
}

TEST(CommandLine, CalcPrintsTheAnswerAsTheLauncherShowsIt)
{
    auto sum = runZeph({ "calc", "1234567*1+0.5" });
    EXPECT_EQ(sum.exitCode, 0);
    EXPECT_EQ(sum.output, "1,234,567.5\n");
    // Unquoted words join, and a conversion gives a row for each target.
    EXPECT_EQ(
        runZeph({ "calc", "10", "km", "to", "ft" }).output, "32,808.4 ft\n6.21371 mi\n10,000 m\n");
    EXPECT_EQ(runZeph({ "calc", "--", "-2^2" }).output, "4\n");

    auto record = runZeph({ "calc", "--json", "3*4" });
    EXPECT_EQ(record.exitCode, 0);
    EXPECT_EQ(json(record.output), json(R"({"expression":"3 × 4 =","value":"12"})"));

    for (std::vector<std::string> arguments :
        { std::vector<std::string> { "calc", "visual studio" }, { "calc", "--json", "1/0" },
            { "calc", "" }, { "calc", "2+2\xff" } }) {
        auto missed = runZeph(arguments);
        EXPECT_EQ(missed.exitCode, 1);
        EXPECT_EQ(missed.output, "");
    }
}

TEST(CommandLine, CalcWithoutExpressionAnswersEachLine)
{
    // Each answer ends with an empty line, so answers stay in step with the lines that asked.
    auto run = runZeph({ "calc" }, "2+2\nvisual studio\r\n1.5 lb\n\n");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "4\n\n\n0.680388 kg\n24 oz\n\n\n");

    auto records = runZeph({ "calc", "--json" }, "6/3");
    EXPECT_EQ(records.output, "{\"expression\":\"6 ÷ 3 =\",\"value\":\"2\"}\n\n");
    EXPECT_EQ(runZeph({ "calc" }, "abc\n").exitCode, 1);
    EXPECT_EQ(runZeph({ "calc" }, "").exitCode, 1);
}

TEST(CommandLine, WebListsSearchesAndPrintsTheirAddresses)
{
    auto list = runZeph({ "web" });
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_TRUE(
        list.output.starts_with("g\tGoogle\thttps://www.google.com/search?q={query}\nddg\t"))
        << list.output;
    EXPECT_EQ(std::count(list.output.begin(), list.output.end(), '\n'), 8);

    auto records = runZeph({ "web", "--json" });
    auto first = json(records.output.substr(0, records.output.find('\n')));
    EXPECT_EQ(first["id"], "google");
    EXPECT_EQ(first["isFallback"], true);

    auto url = runZeph({ "web", "url", "G", "a&b", "c/d" });
    EXPECT_EQ(url.exitCode, 0);
    EXPECT_EQ(url.output, "https://www.google.com/search?q=a%26b%20c%2Fd\n");
    EXPECT_EQ(runZeph({ "web", "url", "maps", "  Z\u00fcrich " }).output,
        "https://www.openstreetmap.org/search?query=Z%C3%BCrich\n");

    auto unknown = runZeph({ "web", "url", "nope", "x" });
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.output, "");
    EXPECT_EQ(runZeph({ "web", "url" }).exitCode, 2);
}
