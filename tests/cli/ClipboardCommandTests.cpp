// The data commands of the built zeph: key combinations, the clipboard history and snippets, each
// run against a temporary data folder.
#include "Support/TemporaryDirectory.h"
#include "cli/DataFolder.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zeph {

namespace {

using CommandLineTesting::runZeph;

using CommandLineTesting::json;
using CommandLineTesting::lines;

// A data folder with the clipboard history as `list --json` prints it.
class DataFolder : public CommandLineTesting::DataFolder {
public:
    std::vector<nlohmann::json> entries(const std::string& now = "2026-11-13T12:00:00Z") const
    {
        std::vector<nlohmann::json> result;
        for (auto& line :
            lines((*this)({ "clipboard", "list", "--json", "--now", now, "--time-zone", "UTC" })
                      .output))
            result.push_back(json(line));
        return result;
    }
    std::vector<std::string> texts() const
    {
        std::vector<std::string> result;
        for (auto& entry : entries())
            result.push_back(entry["text"]);
        return result;
    }
};

using Texts = std::vector<std::string>;

} // namespace

TEST(KeysCommand, ParseAndShowPrintTheSameObject)
{
    auto parsed = runZeph({ "keys", "parse", "opt+space" });
    EXPECT_EQ(parsed.exitCode, 0);
    EXPECT_EQ(json(parsed.output),
        json(R"({"keyCode":49,"modifiers":2,"display":"⌥Space","text":"opt+space"})"));
    EXPECT_EQ(json(runZeph({ "keys", "show", "49", "2" }).output), json(parsed.output));
    EXPECT_EQ(json(runZeph({ "keys", "parse", "Shift + Cmd + K" }).output)["text"], "shift+cmd+k");
    EXPECT_EQ(json(runZeph({ "keys", "show", "200", "0" }).output)["display"], "Key 200");

    for (auto* text : { "⇧⌘k", "cmd+a+b", "", "cmd" }) {
        SCOPED_TRACE(text);
        auto failed = runZeph({ "keys", "parse", "--", text });
        EXPECT_EQ(failed.exitCode, 2);
        EXPECT_TRUE(failed.errors.starts_with("zeph: \"")) << failed.errors;
        EXPECT_NE(failed.errors.find("is not a key combination"), std::string::npos);
    }
    EXPECT_EQ(runZeph({ "keys", "show", "49", "4294967296" }).exitCode, 2);
    EXPECT_EQ(runZeph({ "keys", "show", "--", "-1", "0" }).exitCode, 2);
}

TEST(ClipboardCommand, AddListPinDeleteAndClearFollowTheHistoryRules)
{
    DataFolder run;
    EXPECT_EQ(run({ "clipboard", "add", "--now", "2026-11-13T11:00:00Z", "abc" }).exitCode, 0);
    EXPECT_EQ(
        run({ "clipboard", "add", "--now", "2026-11-13T11:30:00Z", "git status" }).exitCode, 0);
    EXPECT_EQ(run({ "clipboard", "add", "--now", "2026-11-13T11:59:30Z" }, "#abc\n").exitCode, 0);
    EXPECT_EQ(run({ "clipboard", "add", "--now", "2026-11-13T11:45:00Z", "abc" }).exitCode, 0);

    auto entries = run.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(run.texts(), (Texts { "#abc\n", "abc", "git status" }));
    EXPECT_EQ(entries[0]["kind"], "colour");
    EXPECT_EQ(entries[0]["age"], "Just now");
    EXPECT_EQ(entries[1]["age"], "15 min ago");
    EXPECT_EQ(entries[1]["date"], "2026-11-13T11:45:00Z");
    EXPECT_EQ(entries[2]["kind"], "code");

    auto text = run({ "clipboard", "list", "--now", "2026-11-13T12:00:00Z", "--time-zone", "UTC" });
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(lines(text.output)[2],
        entries[2]["id"].get<std::string>() + "\tcode\t-\t30 min ago\tgit status");

    std::string gitID = entries[2]["id"];
    EXPECT_EQ(run({ "clipboard", "pin", gitID }).exitCode, 0);
    EXPECT_EQ(run.texts(), (Texts { "git status", "#abc\n", "abc" }));
    EXPECT_EQ(run.entries()[0]["pinned"], true);

    auto unknown = run({ "clipboard", "delete", "NO-SUCH-ID" });
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.errors, "zeph: No clipboard entry has the id \"NO-SUCH-ID\".\n");
    EXPECT_EQ(run({ "clipboard", "unpin", "NO-SUCH-ID" }).exitCode, 1);

    EXPECT_EQ(run({ "clipboard", "delete", entries[1]["id"] }).exitCode, 0);
    EXPECT_EQ(run.texts(), (Texts { "git status", "#abc\n" }));
    EXPECT_EQ(run({ "clipboard", "clear" }).exitCode, 0);
    EXPECT_EQ(run.texts(), (Texts { "git status" }));
    EXPECT_EQ(run({ "clipboard", "unpin", gitID }).exitCode, 0);
    EXPECT_EQ(run.entries()[0]["pinned"], false);
    EXPECT_EQ(run({ "clipboard", "clear", "--all" }).exitCode, 0);
    EXPECT_EQ(run({ "clipboard", "list" }).output, "");
}

TEST(ClipboardCommand, SensitiveConcealedAndBlankCopiesAreNotRecorded)
{
    DataFolder run;
    EXPECT_EQ(
        run({ "clipboard", "add" }, "hunter2", { { "CLIPBOARD_STATE", "sensitive" } }).exitCode, 0);
    EXPECT_EQ(
        run({ "clipboard", "add", "--types", "text/plain,x-kde-passwordManagerHint", "hunter2" })
            .exitCode,
        0);
    EXPECT_EQ(run({ "clipboard", "add", "--types", "org.nspasteboard.ConcealedType", "hunter2" })
                  .exitCode,
        0);
    EXPECT_EQ(run({ "clipboard", "add", "--source-id", "KeePassXC", "hunter2" }).exitCode, 0);
    EXPECT_EQ(run({ "clipboard", "add" }, " \n\t\n").exitCode, 0);
    EXPECT_EQ(run({ "clipboard", "add" }, "", { { "CLIPBOARD_STATE", "clear" } }).exitCode, 0);
    EXPECT_TRUE(run.texts().empty());

    EXPECT_EQ(run({ "clipboard", "add", "--now", "2026-11-13T11:00:00Z", "--types",
                      "text/plain;charset=utf-8,UTF8_STRING" },
                  "plain", { { "CLIPBOARD_STATE", "data" } })
                  .exitCode,
        0);
    // Bytes that are not UTF-8 are kept as text with replacement characters.
    EXPECT_EQ(run({ "clipboard", "add", "--now", "2026-11-13T11:59:00Z" }, "a\xff").exitCode, 0);
    EXPECT_EQ(run.texts(), (Texts { "a\xEF\xBF\xBD", "plain" }));
}

TEST(ClipboardCommand, SettingsLimitAndSwitchApply)
{
    DataFolder run;
    std::filesystem::create_directories(run.path());
    std::ofstream(run.path() / "settings.json")
        << R"({"clipboard": {"maxItems": 2, "retentionDays": 1}})";
    for (auto* text : { "one", "two", "three" })
        run({ "clipboard", "add", "--now", "2026-11-13T11:00:00Z", text });
    EXPECT_EQ(run.texts().size(), 2u);
    // A copy two days later ages the others out.
    run({ "clipboard", "add", "--now", "2026-11-15T11:00:00Z", "four" });
    EXPECT_EQ(run.texts(), (Texts { "four" }));

    std::ofstream(run.path() / "settings.json") << R"({"clipboard": {"enabled": false}})";
    run({ "clipboard", "add", "five" });
    EXPECT_EQ(run.texts(), (Texts { "four" }));
}

TEST(ClipboardCommand, ImagesKeepTheirBytesInTheClipboardFolder)
{
    DataFolder run;
    std::string png("\x89PNG\r\n\x1a\n\0\0\0\x0DIHDR\0\0\0\x02\0\0\0\x03\x08\x06\0\0\0 pixels", 33);
    EXPECT_EQ(run({ "clipboard", "add", "--now", "2026-11-13T11:00:00Z" }, png).exitCode, 0);
    auto entries = run.entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0]["kind"], "image");
    EXPECT_EQ(entries[0]["text"], "Image 2 × 3");
    auto file = run.path() / "Clipboard" / entries[0]["imageFile"].get<std::string>();
    EXPECT_EQ(readFile(file), png);
    EXPECT_EQ(run({ "clipboard", "delete", entries[0]["id"] }).exitCode, 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(ClipboardCommand, ACorruptHistoryIsSetAsideAndReported)
{
    DataFolder run;
    std::filesystem::create_directories(run.path());
    std::ofstream(run.path() / "clipboard.json") << R"({"items": [{"id": 1}]})";
    auto added = run({ "clipboard", "add", "fresh" });
    EXPECT_EQ(added.exitCode, 0);
    EXPECT_EQ(added.errors,
        "zeph: clipboard.json is not valid: item 1: \"id\" must be a string. It was moved aside to "
        "clipboard.json.corrupt, and the history starts empty.\n");
    EXPECT_EQ(readFile(run.path() / "clipboard.json.corrupt"), R"({"items": [{"id": 1}]})");
    EXPECT_EQ(run.texts(), (Texts { "fresh" }));
}

TEST(ClipboardCommand, ConcurrentCommandsLoseNoEntry)
{
    DataFolder run;
    CommandLineTesting::inParallel(4, [&](std::size_t process) {
        for (int entry = 0; entry < 8; ++entry)
            run({ "clipboard", "add", std::to_string(process) + "/" + std::to_string(entry) });
        return 0;
    });
    EXPECT_EQ(run.texts().size(), 32u);
}

TEST(ClipboardCommand, DataFolderIsTheFlagThenTheVariableThenXDG)
{
    TemporaryDirectory folder;
    auto flag = (folder / "flag").string(), variable = (folder / "variable").string(),
         xdg = (folder / "xdg").string();
    CommandLineTesting::Environment environment { { "ZEPH_DATA_DIR", variable },
        { "XDG_DATA_HOME", xdg }, { "HOME", folder.path().string() } };
    runZeph({ "--data-dir", flag, "clipboard", "add", "by flag" }, "", environment);
    runZeph({ "clipboard", "add", "--data-dir", flag, "flag after the command" }, "", environment);
    runZeph({ "clipboard", "add", "by variable" }, "", environment);
    environment[0].second = "";
    runZeph({ "clipboard", "add", "by XDG" }, "", environment);
    for (auto [path, count] : { std::pair { flag, 2 }, std::pair { variable, 1 },
             std::pair { xdg + "/Zeph Launcher", 1 } }) {
        SCOPED_TRACE(path);
        auto listed = runZeph({ "--data-dir", path, "clipboard", "list" });
        EXPECT_EQ(lines(listed.output).size(), std::size_t(count));
    }
}

TEST(ClipboardCommand, BadOptionsAreBadUsage)
{
    DataFolder run;
    EXPECT_EQ(run({ "clipboard", "add", "--now", "yesterday", "x" }).exitCode, 2);
    EXPECT_EQ(run({ "clipboard", "list", "--time-zone", "Mars/Base" }).exitCode, 2);
    EXPECT_EQ(run({ "clipboard" }).exitCode, 2);
    EXPECT_EQ(run({ "clipboard", "pin" }).exitCode, 2);
    // A data folder that cannot exist: the change fails with a sentence, not a crash.
    TemporaryDirectory folder;
    std::ofstream(folder / "file") << "x";
    auto blocked
        = runZeph({ "--data-dir", (folder / "file/data").string(), "clipboard", "add", "x" });
    EXPECT_EQ(blocked.exitCode, 2);
    EXPECT_TRUE(blocked.errors.starts_with("zeph: Could not open the lock file")) << blocked.errors;
}

TEST(SnippetsCommand, ListsTheStarterCollectionUntilThereIsADocument)
{
    DataFolder run;
    auto starter = run({ "snippets", "list" });
    EXPECT_EQ(starter.exitCode, 0);
    EXPECT_EQ(lines(starter.output)[0], "Everyday");
    EXPECT_EQ(lines(starter.output)[1], "  ;date\tToday's date");
    EXPECT_FALSE(std::filesystem::exists(run.path() / "snippets.json")) << "listing writes nothing";

    std::ofstream(run.path() / "snippets.json")
        << R"([{"name": "Work", "prefix": "!", "isEnabled": false, "snippets": [{"keyword": "sig", "name": "Signature"}, {"name": "Bare", "pendingReview": true}]}])";
    auto listed = run({ "snippets", "list" });
    EXPECT_EQ(listed.output, "Work (disabled)\n  !sig\tSignature\n  -\tBare (pending review)\n");
    auto asJSON = json(run({ "snippets", "list", "--json" }).output);
    EXPECT_EQ(asJSON["name"], "Work");
    EXPECT_EQ(asJSON["snippets"][0]["autoExpands"], true);
}

} // namespace zeph
