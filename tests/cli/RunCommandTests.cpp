// zeph run: a workflow run as the launcher would start it, against a temporary data folder.
#include "cli/DataFolder.h"

#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using CommandLineTesting::DataFolder;
using CommandLineTesting::Environment;
using CommandLineTesting::json;
using CommandLineTesting::lines;
using zeph::readFile;

using Lines = std::vector<std::string>;

void write(const std::filesystem::path& path, const std::string& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

nlohmann::json node(const std::string& id, const std::string& kind, nlohmann::json payload)
{
    return { { "id", id }, { "kind", { { kind, std::move(payload) } } } };
}

nlohmann::json edge(const std::string& from, const std::string& to,
    const std::string& modifier = "none", const std::string& port = "out")
{
    return { { "id", from + to }, { "from", from }, { "fromPort", port }, { "to", to },
        { "modifier", modifier } };
}

nlohmann::json keyword(const std::string& word, const std::string& argument = "optional")
{
    return node("start", "keyword",
        { { "keyword", word }, { "title", "" }, { "subtitle", "" }, { "argument", argument } });
}

nlohmann::json copy(const std::string& id, const std::string& text, bool paste = false)
{
    return node(id, "copyToClipboard", { { "text", text }, { "paste", paste } });
}

nlohmann::json bash(const std::string& id, const std::string& script)
{
    return node(id, "runScript", { { "language", "bash" }, { "script", script } });
}

void install(const DataFolder& run, const std::vector<nlohmann::json>& workflows)
{
    write(run.path() / "workflows.json", nlohmann::json(workflows).dump());
}

nlohmann::json workflow(const std::string& id, std::vector<nlohmann::json> nodes,
    std::vector<nlohmann::json> connections, nlohmann::json variables = nlohmann::json::object())
{
    return { { "id", id }, { "name", "Flow " + id }, { "nodes", std::move(nodes) },
        { "connections", std::move(connections) }, { "variables", std::move(variables) } };
}

} // namespace

TEST(RunCommand, ADryRunPrintsWhatTheExamplesWouldDo)
{
    DataFolder run;
    auto opened = run({ "run", "--dry-run", "repo", "owner/name" });
    EXPECT_EQ(opened.exitCode, 0);
    EXPECT_EQ(opened.output, "Open URL https://github.com/owner/name\n");
    EXPECT_EQ(opened.errors, "");
    // By id as well as by keyword, in any case; the held key takes the other branch.
    EXPECT_EQ(run({ "run", "--dry-run", "--modifier", "command", "example-github", "a b" }).output,
        "Open URL https://github.com/a%20b/issues\n");
    EXPECT_EQ(json(run({ "run", "--dry-run", "--json", "REPO", "--", "-x" }).output),
        json(R"({"action": "openURL", "url": "https://github.com/-x"})"));
    EXPECT_EQ(
        run({ "run", "--dry-run", "code", "~/src" }, "", { { "HOME", "/home/tester" } }).output,
        "Open /home/tester/src with code\n");
    // Each workflow's scripts get a folder of their own.
    EXPECT_TRUE(std::filesystem::is_directory(run.path() / "Workflows" / "example-github"));
}

TEST(RunCommand, WhatCannotBeRunIsRefused)
{
    DataFolder run;
    auto unknown = run({ "run", "--dry-run", "nothing" });
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.errors,
        "zeph: \"nothing\" is neither a workflow's id nor the keyword of an enabled workflow's "
        "input node; `zeph workflows list` lists them.\n");
    // The launcher's row for a keyword that needs an argument cannot be chosen without one.
    auto noArgument = run({ "run", "--dry-run", "repo", " " });
    EXPECT_EQ(noArgument.exitCode, 2);
    EXPECT_EQ(noArgument.errors, "zeph: \"repo\" needs an argument: zeph run repo TEXT\n");
    EXPECT_EQ(run({ "run", "--dry-run", "--modifier", "hyper", "repo", "a" }).exitCode, 2);

    install(run, { workflow("lonely", { copy("copy", "x") }, {}) });
    auto noInput = run({ "run", "--dry-run", "lonely" });
    EXPECT_EQ(noInput.exitCode, 1);
    EXPECT_EQ(
        noInput.errors, "zeph: The workflow \"Flow lonely\" has no input node to start from.\n");
    // A disabled workflow has no keyword, but its id still runs it.
    auto disabled
        = workflow("off", { keyword("off"), copy("copy", "{query}") }, { edge("start", "copy") });
    disabled["isEnabled"] = false;
    install(run, { disabled });
    EXPECT_EQ(run({ "run", "--dry-run", "off" }).exitCode, 0);
    EXPECT_EQ(run({ "run", "--dry-run", "off", "by id" }).output, "Copy \"by id\"\n");
}

TEST(RunCommand, ScriptsRunInTheWorkflowsFolderWithItsVariables)
{
    DataFolder run;
    install(run,
        { workflow("w",
            { keyword("go"),
                bash("script", R"script(printf '%s|%s|%s\n' "$(pwd -P)" "$1" "$token")script"),
                copy("copy", "{query}"), bash("failing", "echo boom >&2; exit 3"),
                copy("after", "after: {query}") },
            { edge("start", "script"), edge("script", "copy"), edge("start", "failing"),
                edge("failing", "after") },
            { { "token", "s3cret" } }) });
    auto ran = run({ "run", "--dry-run", "go", "the", "words" });
    EXPECT_EQ(ran.exitCode, 0);
    auto folder = std::filesystem::canonical(run.path() / "Workflows" / "w").string();
    EXPECT_EQ(lines(ran.output),
        (Lines { "Copy \"" + folder + "|the words|s3cret\"", "Copy \"after: \"" }));
    // A failed script does not stop the run, but it is reported.
    EXPECT_EQ(ran.errors, "zeph: Run Script: Exited 3: boom\n");

    install(run,
        { workflow("slow", { keyword("slow"), bash("script", "echo partial; exec sleep 5") },
            { edge("start", "script") }) });
    auto slow = run({ "run", "--dry-run", "--timeout", "0.2", "slow" });
    EXPECT_EQ(slow.exitCode, 0);
    EXPECT_EQ(slow.errors, "zeph: Run Script: Timed out after 0s\n");
}

TEST(RunCommand, AFilterStartsWithTheRowTheLauncherWouldOfferFirst)
{
    DataFolder run;
    const std::string filterScript = R"(cat <<JSON
{"variables": {"from": "output", "shared": "output"},
 "items": [{"title": "not valid", "arg": "no", "valid": false},
           {"title": "no arg"},
           {"title": "chosen", "arg": "$1!", "variables": {"shared": "item"},
            "mods": {"cmd": {"arg": "held", "variables": {"shared": "modifier"}},
                     "alt": {"valid": false}}}]}
JSON)";
    auto list = node("start", "listFilter",
        { { "keyword", "pick" }, { "title", "Pick" },
            { "items",
                { { { "id", "1" }, { "title", "First" }, { "subtitle", "" },
                      { "argument", "one" } },
                    { { "id", "2" }, { "title", "Second" }, { "subtitle", "" },
                        { "argument", "two" } } } } });
    install(run,
        { workflow("filter",
              { node("start", "scriptFilter",
                    { { "keyword", "sf" }, { "title", "" }, { "language", "bash" },
                        { "script", filterScript }, { "argument", "optional" } }),
                  copy("copy", "{query} {var:from} {var:shared}") },
              { edge("start", "copy") }),
            workflow("list", { list, copy("copy", "{query}") }, { edge("start", "copy") }) });

    EXPECT_EQ(run({ "run", "--dry-run", "sf", "typed" }).output, "Copy \"typed! output item\"\n");
    EXPECT_EQ(run({ "run", "--dry-run", "--modifier", "command", "sf", "typed" }).output,
        "Copy \"held output modifier\"\n");
    auto forbidden = run({ "run", "--dry-run", "--modifier", "option", "sf", "typed" });
    EXPECT_EQ(forbidden.exitCode, 1);
    EXPECT_EQ(forbidden.errors, "zeph: The row \"chosen\" cannot be chosen with option held.\n");

    EXPECT_EQ(run({ "run", "--dry-run", "pick" }).output, "Copy \"one\"\n");
    EXPECT_EQ(run({ "run", "--dry-run", "pick", "seco" }).output, "Copy \"two\"\n");
    auto unmatched = run({ "run", "--dry-run", "pick", "zzz" });
    EXPECT_EQ(unmatched.exitCode, 1);
    EXPECT_EQ(unmatched.errors, "zeph: No item of the list filter matches \"zzz\".\n");

    install(run,
        { workflow("broken",
            { node("start", "scriptFilter",
                  { { "keyword", "broken" }, { "title", "" }, { "language", "bash" },
                      { "script", "echo nope >&2; exit 1" }, { "argument", "optional" } }),
                copy("copy", "{query}") },
            { edge("start", "copy") }) });
    auto broken = run({ "run", "--dry-run", "broken" });
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_EQ(broken.errors,
        "zeph: The script filter offered no row that can be chosen (Script filter failed: "
        "nope).\n");
}

TEST(RunCommand, AHotkeyStartReadsTheGivenClipboardOrSelection)
{
    DataFolder run;
    auto hotkey = [](const std::string& id, const std::string& input) {
        return workflow(id,
            { node("start", "hotkey", { { "input", input } }), copy("copy", "{query}") },
            { edge("start", "copy") });
    };
    install(run, { hotkey("clip", "clipboard"), hotkey("sel", "selectedText") });
    EXPECT_EQ(run({ "run", "--dry-run", "clip", "ignored" }).output, "Copy \"‹clipboard›\"\n");
    EXPECT_EQ(
        run({ "run", "--dry-run", "--clipboard", "copied", "clip" }).output, "Copy \"copied\"\n");
    EXPECT_EQ(
        run({ "run", "--dry-run", "--selection", "marked", "sel" }).output, "Copy \"marked\"\n");
}

TEST(RunCommand, ARealRunUsesTheDesktopsToolsAndSaysWhatItCannotDo)
{
    DataFolder run;
    zeph::TemporaryDirectory tools;
    auto log = tools / "log";
    // Stand-ins for the desktop's tools, which write down how they were called.
    auto tool = [&](const std::string& name, const std::string& body) {
        write(tools / "bin" / name, "#!/bin/sh\n" + body + "\n");
        std::filesystem::permissions(tools / "bin" / name, std::filesystem::perms::owner_all);
    };
    tool("xdg-open", "echo \"xdg-open $*\" >> " + log.string());
    tool("wl-copy", "echo \"wl-copy $(cat)\" >> " + log.string());
    tool("notify-send", "echo \"notify-send $*\" >> " + log.string());
    tool("gtk-launch", "echo \"gtk-launch $*\" >> " + log.string() + "; exit 1");
    install(run,
        { workflow("real",
            { keyword("real"), node("url", "openURL", { { "url", "https://example.com/{query}" } }),
                node("file", "openFile", { { "path", "/srv/{query}" }, { "appBundleID", "code" } }),
                node("reveal", "revealInFinder", { { "path", "/srv/{query}" } }),
                copy("paste", "pasted {query}", true),
                node("notify", "notification", { { "title", "Done" }, { "body", "{query}" } }),
                node("large", "largeType", { { "text", "{query}" } }) },
            { edge("start", "url"), edge("start", "file"), edge("start", "reveal"),
                edge("start", "paste"), edge("start", "notify"), edge("start", "large") }) });
    Environment environment { { "PATH", (tools / "bin").string() + ":/usr/bin:/bin" },
        { "DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent" } };
    auto ran = run({ "run", "real", "q" }, "", environment);
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(lines(ran.output),
        (Lines { "Open URL https://example.com/q", "Open /srv/q with code",
            "Reveal /srv/q in the file manager", "Paste \"pasted q\"", "Notification \"Done\": q",
            "Large Type \"q\"" }));
    EXPECT_EQ(lines(readFile(log)),
        (Lines { "xdg-open https://example.com/q", "gtk-launch code /srv/q", "xdg-open /srv/q",
            "xdg-open /srv", "wl-copy pasted q",
            "notify-send --app-name=Zeph Launcher -- Done q" }));
    EXPECT_EQ(lines(ran.errors),
        (Lines { "zeph: Pasting into another application needs the launcher; the text was copied "
                 "instead.",
            "zeph: Large Type needs the launcher's window; from a terminal the text is only "
            "listed." }));

    // Without the tools, each failure is said plainly and the run goes on.
    std::filesystem::remove_all(tools / "bin");
    environment[0].second = (tools / "bin").string();
    ran = run({ "run", "real", "q" }, "", environment);
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(lines(ran.output).size(), 6u);
    EXPECT_EQ(lines(ran.errors),
        (Lines { "zeph: Could not open https://example.com/q: xdg-open is missing or failed.",
            "zeph: Could not open /srv/q: xdg-open is missing or failed.",
            "zeph: Could not reveal /srv/q: no file manager answered and xdg-open failed.",
            "zeph: Could not copy: none of wl-copy (Wayland), xclip and xsel (X11) could reach "
            "the clipboard.",
            "zeph: Could not post the notification: notify-send is missing or failed.",
            "zeph: Large Type needs the launcher's window; from a terminal the text is only "
            "listed." }));
}
