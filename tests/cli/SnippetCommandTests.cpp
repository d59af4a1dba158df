// zeph render, triggers and import, run against temporary data folders.
#include "Snippets/SnippetPack.h"
#include "cli/DataFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zeph {

namespace {

using CommandLineTesting::json;
using CommandLineTesting::lines;
using CommandLineTesting::runZeph;

const std::vector<std::string> at { "--now", "2026-11-13T14:05:09Z", "--time-zone", "Europe/Berlin",
    "--locale", "de_DE" };

CommandLineTesting::Run render(std::vector<std::string> arguments, const std::string& input = "")
{
    arguments.insert(arguments.begin(), at.begin(), at.end());
    arguments.insert(arguments.begin(), "render");
    return runZeph(arguments, input);
}

void writeDocument(
    const CommandLineTesting::DataFolder& folder, const std::string& name, const std::string& text)
{
    SnippetPack::writeFile(folder.path() / name, text);
}

} // namespace

TEST(RenderCommand, PrintsTheRenderedTextExactly)
{
    auto rendered = render({ "{weekday}, {date:long} {time}" });
    EXPECT_EQ(rendered.exitCode, 0);
    EXPECT_EQ(rendered.output, "Freitag, 13. November 2026 15:05");
    EXPECT_EQ(render({ "--clipboard", "{date}", "--fill", "Name=Ada=B", "--fill", "Empty=", "--",
                         "-{fill:Name}{fill:Empty=x}{clipboard}" })
                  .output,
        "-Ada=B{date}");
    // Words are joined by spaces; without any, standard input is the template.
    EXPECT_EQ(render({ "{year}", "and", "{{" }).output, "2026 and {");
    EXPECT_EQ(render({}, "line {month}\n").output, "line November\n");
    EXPECT_EQ(runZeph({ "render", "--now", "2026-11-13T14:05:09Z", "--time-zone", "UTC", "--locale",
                          "en_US", "{isodate}" })
                  .output,
        "2026-11-13");
}

TEST(RenderCommand, JsonAddsTheCursorAndTheFillFields)
{
    auto rendered = render(
        { "--json", "--fill", "Name=Ada", "Hi {fill:Name}, {cursor}👍🏽 {fill:Sign=Bo}" });
    EXPECT_EQ(rendered.exitCode, 0);
    EXPECT_EQ(
        json(rendered.output), json(R"({"text": "Hi Ada, 👍🏽 Bo", "cursorOffsetFromEnd": 4,
        "fillFields": [{"name": "Name", "defaultValue": ""}, {"name": "Sign", "defaultValue": "Bo"}]})"));
    EXPECT_EQ(
        json(render({ "--json", "plain" }).output), json(R"({"text": "plain", "fillFields": []})"));
}

TEST(RenderCommand, BadOptionsAreBadUsage)
{
    for (auto arguments : std::vector<std::vector<std::string>> {
             { "render", "--fill", "NoEquals", "{fill:NoEquals}" },
             { "render", "--time-zone", "Mars/Olympus", "{time}" },
             { "render", "--now", "yesterday", "{date}" } }) {
        SCOPED_TRACE(arguments[2]);
        auto run = runZeph(arguments);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_TRUE(run.errors.starts_with("zeph: ")) << run.errors;
        EXPECT_TRUE(run.output.empty());
    }
}

TEST(TriggersCommand, TypesTheTextAsTheExpanderSeesIt)
{
    CommandLineTesting::DataFolder run;
    // No snippets.json: the starter collection, prefix ";".
    auto typed = run({ "triggers", "see ;date and ;uuid;ty" });
    EXPECT_EQ(typed.exitCode, 0);
    EXPECT_EQ(lines(typed.output),
        (std::vector<std::string> { "9\tstarter-date\t5\t;date", "19\tstarter-uuid\t5\t;uuid",
            "22\tstarter-reply\t3\t;ty" }));
    auto asJSON = run({ "triggers", "--json", "é;iso" });
    EXPECT_EQ(json(asJSON.output),
        json(
            R"({"position": 5, "snippetID": "starter-iso", "collectionID": "starter", "text": ";iso", "erase": 4})"));

    // Return and Tab forget, a backspace takes back one character.
    EXPECT_EQ(run({ "triggers", ";da\nte" }).exitCode, 1);
    EXPECT_EQ(run({ "triggers", ";da\tte" }).exitCode, 1);
    EXPECT_EQ(lines(run({ "triggers", ";datx\be" }).output),
        std::vector<std::string> { "7\tstarter-date\t5\t;date" });
    auto nothing = run({ "triggers", "date" });
    EXPECT_EQ(nothing.exitCode, 1);
    EXPECT_TRUE(nothing.output.empty());
}

TEST(TriggersCommand, FollowsTheSettingsAndTheCollections)
{
    CommandLineTesting::DataFolder run;
    writeDocument(run, "snippets.json", R"([
        {"id": "code", "prefix": "!", "excludedBundleIDs": ["code"], "snippets": [{"id": "c", "keyword": "x"}]},
        {"id": "all", "snippets": [{"id": "a", "keyword": "x"}, {"id": "w", "keyword": "wd"}]}])");
    EXPECT_EQ(lines(run({ "triggers", "!x" }).output), std::vector<std::string> { "2\tc\t2\t!x" });
    EXPECT_EQ(lines(run({ "triggers", "--app", "Code", "!x" }).output),
        std::vector<std::string> { "2\ta\t1\tx" });
    EXPECT_EQ(lines(run({ "triggers", "awd" }).output), std::vector<std::string> { "3\tw\t2\twd" });

    writeDocument(run, "settings.json",
        R"({"snippets": {"requireWordBoundary": true, "excludedBundleIDs": ["mail"]}})");
    EXPECT_EQ(run({ "triggers", "awd" }).exitCode, 1);
    EXPECT_EQ(
        lines(run({ "triggers", "a wd" }).output), std::vector<std::string> { "4\tw\t2\twd" });
    auto excluded = run({ "triggers", "--app", "Mail", "wd" });
    EXPECT_EQ(excluded.exitCode, 1);
    EXPECT_EQ(excluded.errors, "zeph: Nothing expands in \"Mail\": the settings exclude it.\n");

    writeDocument(run, "settings.json", R"({"snippets": {"autoExpand": false}})");
    auto off = run({ "triggers", "wd" });
    EXPECT_EQ(off.exitCode, 1);
    EXPECT_NE(off.errors.find("\"autoExpand\" is off"), std::string::npos) << off.errors;
}

TEST(ImportCommand, AppendsPacksUnderTheLockAndReportsFailures)
{
    CommandLineTesting::DataFolder run;
    TemporaryDirectory packs;
    using namespace SnippetPack;
    ASSERT_TRUE(writeZip(packs / "Work.alfredsnippets",
        { file("info.plist", plist({ { "snippetkeywordprefix", "::" } }, PlistFormat::xml)),
            file("2.json", snippetJSON(R"("snippet": "Regards", "uid": "r", "keyword": "rg")")),
            file("1.json",
                snippetJSON(R"("snippet": "{clipboard:1}", "uid": "p", "name": "Paste")")) }));
    ASSERT_TRUE(writeZip(packs / "escape.alfredsnippets", { file("../x.json", "{}") }));

    auto dryRun = run({ "import", "--dry-run", (packs / "Work.alfredsnippets").string() });
    EXPECT_EQ(dryRun.exitCode, 0);
    EXPECT_EQ(dryRun.output, "Would add \"Work\": 2 snippets\n  -\tPaste\n  ::rg\trg\n");
    EXPECT_FALSE(std::filesystem::exists(run.path() / "snippets.json"));

    auto imported = run({ "import", (packs / "escape.alfredsnippets").string(),
        (packs / "Work.alfredsnippets").string() });
    EXPECT_EQ(imported.exitCode, 2);
    EXPECT_EQ(imported.output, "Added \"Work\": 2 snippets\n  -\tPaste\n  ::rg\trg\n");
    EXPECT_EQ(imported.errors,
        "zeph: escape.alfredsnippets: The archive holds an entry outside the folder it unpacks "
        "into: \"../x.json\".\n");

    auto listed = lines(run({ "snippets", "list", "--json" }).output);
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(json(listed[0])["id"], "starter");
    auto work = json(listed[1]);
    EXPECT_EQ(work["name"], "Work");
    EXPECT_EQ(work["prefix"], "::");
    EXPECT_EQ(work["snippets"][0]["content"], "{clipboard}");
    EXPECT_EQ(std::filesystem::exists(run.path() / ".agent.lock"), true);

    auto asJSON = run({ "import", "--json", (packs / "Work.alfredsnippets").string() });
    EXPECT_EQ(asJSON.exitCode, 0);
    EXPECT_EQ(json(asJSON.output)["snippets"].size(), 2u);
    EXPECT_EQ(lines(run({ "snippets", "list", "--json" }).output).size(), 3u);
}

} // namespace zeph
