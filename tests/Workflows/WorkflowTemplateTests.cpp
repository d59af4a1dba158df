#include "Workflows/WorkflowTemplate.h"

#include "Support/RecordTesting.h"
#include "Support/TemporaryDirectory.h"
#include "Workflows/WorkflowLibrary.h"

#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <set>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

extern char** environ;

namespace zeph {

namespace {

// The examples as JSON, with each node id replaced by its place in the list and each connection id
// by "c", since both are fresh on every start; the long script is checked by running it.
Json::Value normalised(const Workflow& workflow)
{
    std::map<std::string, std::string> places;
    for (std::size_t index = 0; index < workflow.nodes.size(); ++index)
        places[workflow.nodes[index].id] = "n" + std::to_string(index + 1);
    auto encoded = toJSON(workflow);
    for (auto& node : encoded["nodes"]) {
        node["id"] = places[node["id"].get<std::string>()];
        if (node["kind"].contains("scriptFilter"))
            node["kind"]["scriptFilter"]["script"] = "…";
    }
    for (auto& connection : encoded["connections"]) {
        connection["id"] = "c";
        connection["from"] = places[connection["from"].get<std::string>()];
        connection["to"] = places[connection["to"].get<std::string>()];
    }
    return encoded;
}

struct Output {
    int exitCode = -1;
    std::string text {};
};

// Runs the Downloads example's script as the script runner will: the script after "-c", the query
// as the one argument after it.
Output runPython(const std::string& script, const std::string& query, const std::string& home)
{
    TemporaryDirectory folder;
    auto outputPath = folder / "out";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(
        &actions, STDOUT_FILENO, outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> environment { "HOME=" + home, "PATH=/usr/bin:/bin" };
    std::vector<char*> environmentPointers;
    for (auto& entry : environment)
        environmentPointers.push_back(entry.data());
    environmentPointers.push_back(nullptr);
    std::string executable = "/usr/bin/python3";
    std::vector<std::string> arguments { executable, "-c", script, query };
    std::vector<char*> argumentPointers;
    for (auto& argument : arguments)
        argumentPointers.push_back(argument.data());
    argumentPointers.push_back(nullptr);
    pid_t child = 0;
    Output output;
    if (posix_spawn(&child, executable.c_str(), &actions, nullptr, argumentPointers.data(),
            environmentPointers.data())
        == 0) {
        int status = 0;
        waitpid(child, &status, 0);
        output.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    std::ifstream stream(outputPath);
    output.text.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    return output;
}

} // namespace

TEST(WorkflowTemplate, ExamplesHaveTheirShape)
{
    auto& examples = WorkflowTemplate::examples();
    ASSERT_EQ(examples.size(), 4u);
    const char* expected[] = {
        R"({"id": "example-uuid", "name": "Copy a UUID", "summary": "Generates a UUID and copies it",
            "isEnabled": true, "createdByAgent": false, "pendingReview": false, "variables": {},
            "nodes": [
              {"id": "n1", "position": {"x": 60.0, "y": 80.0}, "note": "", "kind": {"keyword":
                {"keyword": "uuid", "title": "Copy a new UUID", "subtitle": "Generate a UUID and copy it",
                 "argument": "none"}}},
              {"id": "n2", "position": {"x": 330.0, "y": 80.0}, "note": "", "kind": {"runScript":
                {"language": "zsh", "script": "uuidgen | tr -d '\\n'"}}},
              {"id": "n3", "position": {"x": 600.0, "y": 40.0}, "note": "", "kind": {"copyToClipboard":
                {"text": "{query}", "paste": false}}},
              {"id": "n4", "position": {"x": 600.0, "y": 140.0}, "note": "", "kind": {"notification":
                {"title": "UUID copied", "body": "{query}"}}}],
            "connections": [
              {"id": "c", "from": "n1", "fromPort": "out", "to": "n2", "modifier": "none"},
              {"id": "c", "from": "n2", "fromPort": "out", "to": "n3", "modifier": "none"},
              {"id": "c", "from": "n2", "fromPort": "out", "to": "n4", "modifier": "none"}]})",
        R"({"id": "example-github", "name": "GitHub Repository",
            "summary": "Open a GitHub repository by owner/name",
            "isEnabled": true, "createdByAgent": false, "pendingReview": false, "variables": {},
            "nodes": [
              {"id": "n1", "position": {"x": 60.0, "y": 100.0}, "note": "", "kind": {"keyword":
                {"keyword": "repo", "title": "Open GitHub repository",
                 "subtitle": "owner/name — hold Ctrl to open its issues", "argument": "required"}}},
              {"id": "n2", "position": {"x": 340.0, "y": 40.0}, "note": "", "kind": {"openURL":
                {"url": "https://github.com/{query}"}}},
              {"id": "n3", "position": {"x": 340.0, "y": 170.0}, "note": "", "kind": {"openURL":
                {"url": "https://github.com/{query}/issues"}}}],
            "connections": [
              {"id": "c", "from": "n1", "fromPort": "out", "to": "n2", "modifier": "none"},
              {"id": "c", "from": "n1", "fromPort": "out", "to": "n3", "modifier": "command"}]})",
        R"({"id": "example-vscode", "name": "Open in VS Code",
            "summary": "Open a folder or file in Visual Studio Code",
            "isEnabled": true, "createdByAgent": false, "pendingReview": false, "variables": {},
            "nodes": [
              {"id": "n1", "position": {"x": 60.0, "y": 80.0}, "note": "", "kind": {"keyword":
                {"keyword": "code", "title": "Open in VS Code", "subtitle": "Path to a folder or file",
                 "argument": "required"}}},
              {"id": "n2", "position": {"x": 340.0, "y": 80.0}, "note": "", "kind": {"openFile":
                {"path": "{query}", "appBundleID": "code"}}}],
            "connections": [
              {"id": "c", "from": "n1", "fromPort": "out", "to": "n2", "modifier": "none"}]})",
        R"({"id": "example-downloads", "name": "Recent Downloads",
            "summary": "Browse the newest files in Downloads",
            "isEnabled": true, "createdByAgent": false, "pendingReview": false, "variables": {},
            "nodes": [
              {"id": "n1", "position": {"x": 60.0, "y": 100.0}, "note": "", "kind": {"scriptFilter":
                {"keyword": "dl", "title": "Recent Downloads", "language": "python3", "script": "…",
                 "argument": "optional"}}},
              {"id": "n2", "position": {"x": 340.0, "y": 40.0}, "note": "", "kind": {"openFile":
                {"path": "{query}", "appBundleID": ""}}},
              {"id": "n3", "position": {"x": 340.0, "y": 170.0}, "note": "", "kind": {"revealInFinder":
                {"path": "{query}"}}}],
            "connections": [
              {"id": "c", "from": "n1", "fromPort": "out", "to": "n2", "modifier": "none"},
              {"id": "c", "from": "n1", "fromPort": "out", "to": "n3", "modifier": "command"}]})",
    };
    std::set<std::string> ids;
    for (std::size_t index = 0; index < examples.size(); ++index) {
        auto& example = examples[index];
        SCOPED_TRACE(example.id);
        EXPECT_EQ(normalised(example), json(expected[index]));
        EXPECT_EQ(WorkflowLibrary::validate(example, examples), std::vector<std::string> {});
        for (auto& node : example.nodes)
            ids.insert(node.id);
        for (auto& connection : example.connections)
            ids.insert(connection.id);
    }
    // Every node and connection id is a UUID of its own.
    EXPECT_EQ(ids.size(), 12u + 8u);
    for (auto& id : ids)
        EXPECT_TRUE(looksLikeUUID(id)) << id;

    std::vector<std::string> keywords;
    for (auto& entry : WorkflowLibrary::entries(examples))
        keywords.push_back(entry.keyword);
    EXPECT_EQ(keywords, (std::vector<std::string> { "uuid", "repo", "code", "dl" }));
}

TEST(WorkflowTemplate, DownloadsScriptListsTheNewestMatchingFiles)
{
    if (access("/usr/bin/python3", X_OK) != 0)
        GTEST_SKIP() << "/usr/bin/python3 is not installed";
    auto* filter = WorkflowTemplate::examples()[3].nodes[0].kind.get<NodeKind::ScriptFilter>();
    ASSERT_TRUE(filter);
    EXPECT_TRUE(filter->script.starts_with(
        "# Lists the 20 newest files in ~/Downloads as Alfred-style JSON.\n"));

    TemporaryDirectory home;
    auto downloads = home / "Downloads";
    std::filesystem::create_directories(downloads / "Folder \"quoted\"");
    // 25 reports, each a minute newer than the one before, then files the filter must drop.
    auto now = std::filesystem::file_time_type::clock::now();
    auto touch = [&](const std::string& name, int minutesAgo) {
        std::ofstream(downloads / name) << name;
        std::filesystem::last_write_time(downloads / name, now - std::chrono::minutes(minutesAgo));
    };
    for (int index = 0; index < 25; ++index)
        touch("Report " + std::to_string(index) + ".PDF", 100 - index);
    touch(".hidden report.pdf", 0);
    touch("photo.jpg", 1);
    std::filesystem::last_write_time(downloads / "Folder \"quoted\"", now);

    auto reports = runPython(filter->script, "report", home.path().string());
    ASSERT_EQ(reports.exitCode, 0);
    auto items = Json::parse(reports.text).value_or(Json::Value {})["items"];
    ASSERT_EQ(items.size(), 20u) << reports.text;
    auto newest = (downloads / "Report 24.PDF").string();
    EXPECT_EQ(items[0],
        (Json::Value { { "title", "Report 24.PDF" }, { "subtitle", newest }, { "arg", newest },
            { "icon", { { "type", "fileicon" }, { "path", newest } } } }));
    EXPECT_EQ(items[19]["title"], "Report 5.PDF");

    // Without a query, everything but hidden names, the newest first; a name that needs escaping
    // comes out as valid JSON.
    auto everything = runPython(filter->script, "", home.path().string());
    auto all = Json::parse(everything.text).value_or(Json::Value {})["items"];
    ASSERT_EQ(all.size(), 20u) << everything.text;
    EXPECT_EQ(all[0]["title"], "Folder \"quoted\"");
    EXPECT_EQ(all[1]["title"], "photo.jpg");

    auto missing = runPython(filter->script, "", (home / "nobody").string());
    EXPECT_EQ(missing.exitCode, 0);
    EXPECT_EQ(Json::parse(missing.text), json(R"({"items": []})"));
}

} // namespace zeph
