// zeph filter-script: a workflow's script filter run as the launcher runs it while the user types.
#include "cli/DataFolder.h"

#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using CommandLineTesting::DataFolder;
using CommandLineTesting::json;
using CommandLineTesting::lines;

using Lines = std::vector<std::string>;

// One workflow whose script filter, keyword "sf", runs `script` in bash.
void installFilter(const DataFolder& run, const std::string& script)
{
    nlohmann::json workflow { { "id", "filter" },
        { "nodes",
            { { { "id", "start" },
                { "kind",
                    { { "scriptFilter",
                        { { "keyword", "sf" }, { "title", "" }, { "language", "bash" },
                            { "script", script }, { "argument", "optional" } } } } } } } } };
    std::filesystem::create_directories(run.path());
    std::ofstream(run.path() / "workflows.json") << nlohmann::json::array({ workflow }).dump();
}

} // namespace

TEST(FilterScriptCommand, PrintsTheRowsOfTheScriptsOutput)
{
    DataFolder run;
    installFilter(run, R"script(cat <<JSON
{"items": [{"title": "$1", "subtitle": "$(pwd -P)", "arg": 42},
           {"title": "no arg", "valid": false, "mods": {"cmd": {"arg": "m"}}}]}
JSON)script");
    auto folder = std::filesystem::canonical(run.path()).string() + "/Workflows/filter";
    auto rows = run({ "filter-script", "sf", "two", "words" });
    EXPECT_EQ(rows.exitCode, 0);
    EXPECT_EQ(
        lines(rows.output), (Lines { "two words\t" + folder + "\t42", "no arg\t\t- (not valid)" }));
    EXPECT_EQ(rows.errors, "");

    auto asJSON = lines(run({ "filter-script", "--json", "filter", "q" }).output);
    ASSERT_EQ(asJSON.size(), 2u);
    EXPECT_EQ(json(asJSON[0]),
        json(R"({"title": "q", "subtitle": ")" + folder
            + R"(", "arg": "42", "valid": true, "variables": {}})"));
    EXPECT_EQ(json(asJSON[1])["mods"], json(R"({"cmd": {"arg": "m"}})"));
}

TEST(FilterScriptCommand, AFailingScriptShowsTheLaunchersFailureRow)
{
    DataFolder run;
    installFilter(run, "echo 'not json'");
    EXPECT_EQ(run({ "filter-script", "sf" }).output,
        "Script filter returned invalid JSON\tnot json\t- (not valid)\n");

    installFilter(run, "echo ' boom ' >&2; exit 2");
    auto failed = run({ "filter-script", "sf" });
    EXPECT_EQ(failed.exitCode, 0);
    EXPECT_EQ(failed.output, "Script filter failed\tboom\t- (not valid)\n");

    installFilter(run, "sleep 5");
    EXPECT_EQ(run({ "filter-script", "--timeout", "0.1", "sf" }).output,
        "Script filter failed\tTimed out\t- (not valid)\n");

    // Rows printed before a failure still count; the failure is reported beside them.
    installFilter(run, R"(echo '{"items": [{"title": "partial"}]}'; echo late >&2; exit 4)");
    auto partial = run({ "filter-script", "sf" });
    EXPECT_EQ(partial.output, "partial\t\t-\n");
    EXPECT_EQ(partial.errors, "zeph: The script exited 4: late\n");

    installFilter(run, R"(echo '{"items": []}')");
    EXPECT_EQ(run({ "filter-script", "sf" }).exitCode, 1);
}

TEST(FilterScriptCommand, OnlyAScriptFilterCanBeRun)
{
    DataFolder run;
    auto refused = run({ "filter-script", "repo", "x" });
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.errors,
        "zeph: \"repo\" is neither a workflow's id nor the keyword of an enabled workflow's script "
        "filter; `zeph workflows list` lists them.\n");
    auto byID = run({ "filter-script", "example-github" });
    EXPECT_EQ(byID.exitCode, 1);
    EXPECT_EQ(byID.errors,
        "zeph: The workflow \"GitHub Repository\" has no script filter to start from.\n");
    // The example's script filter runs from its keyword.
    EXPECT_NE(run({ "filter-script", "dl" }).exitCode, 2);
}
