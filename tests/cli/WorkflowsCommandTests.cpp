// The workflows commands of the built zeph, each run against a temporary data folder.
#include "cli/DataFolder.h"

#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using CommandLineTesting::DataFolder;
using CommandLineTesting::json;
using CommandLineTesting::lines;
using zeph::readFile;

using Lines = std::vector<std::string>;

const Lines examples {
    "example-uuid\tuuid\tCopy a UUID",
    "example-github\trepo\tGitHub Repository",
    "example-vscode\tcode\tOpen in VS Code",
    "example-downloads\tdl\tRecent Downloads",
};

std::filesystem::path write(const std::filesystem::path& path, const std::string& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
    return path;
}

nlohmann::json document(const DataFolder& run)
{
    return json(readFile(run.path() / "workflows.json"));
}

// A workflow that starts from the keyword `word` and opens a page.
nlohmann::json workflow(const std::string& id, const std::string& word)
{
    return json(R"({"id": ")" + id + R"(", "name": "Flow )" + id + R"(",
        "nodes": [
            {"id": "k", "kind": {"keyword": {"keyword": ")"
        + word + R"(", "title": "", "subtitle": "", "argument": "none"}}},
            {"id": "o", "kind": {"openURL": {"url": "https://example.com"}}}],
        "connections": [{"id": "c", "from": "k", "fromPort": "out", "to": "o", "modifier": "none"}]})");
}

} // namespace

TEST(WorkflowsCommand, ListsTheExamplesUntilThereIsADocument)
{
    DataFolder run;
    auto listed = run({ "workflows", "list" });
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_EQ(lines(listed.output), examples);
    EXPECT_EQ(listed.errors, "");
    // Reading writes nothing.
    EXPECT_FALSE(std::filesystem::exists(run.path() / "workflows.json"));

    auto asJSON = lines(run({ "workflows", "list", "--json" }).output);
    ASSERT_EQ(asJSON.size(), 4u);
    EXPECT_EQ(json(asJSON[1])["connections"][1]["modifier"], "command");

    auto hotkey = workflow("mine", "");
    hotkey["isEnabled"] = false;
    hotkey["pendingReview"] = true;
    hotkey["nodes"][0]["kind"]
        = json(R"({"hotkey": {"combo": {"keyCode": 49, "modifiers": 6}, "input": "clipboard"}})");
    auto both = workflow("both", "go");
    both["nodes"].push_back(json(R"({"kind": {"hotkey": {"input": "none"}}})"));
    both["nodes"].push_back(json(R"({"kind": {"listFilter": {"keyword": "more", "title": "",
        "items": []}}})"));
    write(run.path() / "workflows.json", nlohmann::json::array({ hotkey, both }).dump());
    EXPECT_EQ(lines(run({ "workflows", "list" }).output),
        (Lines { "mine\tctrl+opt+space\tFlow mine (disabled) (pending review)",
            "both\tgo, more\tFlow both" }));
}

TEST(WorkflowsCommand, ShowPrintsOneWorkflowAsTheDocumentHoldsIt)
{
    DataFolder run;
    auto shown = run({ "workflows", "show", "example-vscode" });
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_TRUE(shown.output.starts_with("{\n  \"connections\": [\n")) << shown.output;
    auto value = json(shown.output);
    EXPECT_EQ(value["nodes"][1]["kind"]["openFile"]["appBundleID"], "code");
    EXPECT_EQ(json(run({ "workflows", "show", "--json", "example-vscode" }).output)["name"],
        "Open in VS Code");

    auto unknown = run({ "workflows", "show", "nothing" });
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.output, "");
    EXPECT_EQ(unknown.errors,
        "zeph: No workflow has the id \"nothing\"; `zeph workflows list` lists them.\n");
}

TEST(WorkflowsCommand, CheckPrintsEachProblemAndExitsWithOneWhenThereAreAny)
{
    DataFolder run;
    zeph::TemporaryDirectory files;

    auto good = write(files / "good.json", workflow("new", "fresh").dump());
    auto checked = run({ "workflows", "check", good.string() });
    EXPECT_EQ(checked.exitCode, 0);
    EXPECT_EQ(checked.output, "");

    // Keywords clash with the data folder's workflows, here the examples.
    auto bad = workflow("new", "uuid");
    bad["nodes"].push_back(json(R"({"id": "h", "kind": {"hotkey": {"input": "none"}}})"));
    write(files / "bad.json", bad.dump());
    checked = run({ "workflows", "check", (files / "bad.json").string() });
    EXPECT_EQ(checked.exitCode, 1);
    EXPECT_EQ(lines(checked.output),
        (Lines { "Hotkey has no shortcut recorded.", "Hotkey is not connected to anything.",
            "Keyword 'uuid' is also used by 'Copy a UUID'." }));
    EXPECT_EQ(checked.errors, "");

    auto fromInput = run({ "workflows", "check", "-" }, "{}");
    EXPECT_EQ(fromInput.exitCode, 1);
    EXPECT_EQ(
        fromInput.output, "Add a Keyword, Hotkey or Filter so the workflow can be started.\n");

    // A whole list is checked against itself, each problem under its workflow's id.
    auto list = nlohmann::json::array({ workflow("a", "same"), workflow("b", "same") });
    checked = run({ "workflows", "check", write(files / "list.json", list.dump()).string() });
    EXPECT_EQ(checked.exitCode, 1);
    EXPECT_EQ(lines(checked.output),
        (Lines { "a: Keyword 'same' is also used by 'Flow b'.",
            "b: Keyword 'same' is also used by 'Flow a'." }));

    struct Case {
        std::string file;
        std::string error;
    };
    const Case unreadable[] = {
        { write(files / "text.json", "not json").string(), "text.json is not valid JSON." },
        { write(files / "kind.json", R"({"nodes": [{"id": "a"}]})").string(),
            "kind.json is not valid: nodes: node 1: \"kind\" is missing." },
        { write(files / "item.json", R"([{}, 1])").string(),
            "item.json is not valid: workflow 2: A workflow must be a JSON object." },
        { (files / "missing.json").string(), "Could not open " },
        { files.path().string(), "" },
    };
    for (auto& testCase : unreadable) {
        SCOPED_TRACE(testCase.file);
        auto refused = run({ "workflows", "check", testCase.file });
        EXPECT_EQ(refused.exitCode, 2);
        EXPECT_EQ(refused.output, "");
        EXPECT_TRUE(refused.errors.starts_with("zeph: ")) << refused.errors;
        EXPECT_NE(refused.errors.find(testCase.error), std::string::npos) << refused.errors;
    }
}

TEST(WorkflowsCommand, EnableDisableAndDeleteChangeOnlyTheirWorkflow)
{
    DataFolder run;
    // The first change writes the examples with the change, as an agent's first change does.
    EXPECT_EQ(run({ "workflows", "disable", "example-github" }).exitCode, 0);
    auto saved = document(run);
    ASSERT_EQ(saved.size(), 4u);
    EXPECT_EQ(saved[1]["isEnabled"], false);
    EXPECT_EQ(saved[0]["isEnabled"], true);
    EXPECT_EQ(lines(run({ "workflows", "list" }).output)[1],
        "example-github\trepo\tGitHub Repository (disabled)");

    auto before = readFile(run.path() / "workflows.json");
    EXPECT_EQ(run({ "workflows", "disable", "example-github" }).exitCode, 0);
    for (auto* command : { "enable", "disable", "delete" }) {
        SCOPED_TRACE(command);
        auto unknown = run({ "workflows", command, "nothing" });
        EXPECT_EQ(unknown.exitCode, 1);
        EXPECT_EQ(unknown.errors,
            "zeph: No workflow has the id \"nothing\"; `zeph workflows list` lists them.\n");
    }
    EXPECT_EQ(readFile(run.path() / "workflows.json"), before);

    EXPECT_EQ(run({ "workflows", "enable", "example-github" }).exitCode, 0);
    EXPECT_EQ(run({ "workflows", "delete", "example-uuid" }).exitCode, 0);
    saved = document(run);
    ASSERT_EQ(saved.size(), 3u);
    EXPECT_EQ(saved[0]["id"], "example-github");
    EXPECT_EQ(saved[0]["isEnabled"], true);
    // Node ids written once stay as they are.
    EXPECT_EQ(json(run({ "workflows", "show", "--json", "example-vscode" }).output), saved[1]);
    EXPECT_EQ(run({ "workflows", "delete", "example-uuid" }).exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(run.path() / "workflows.json.corrupt"));
}

TEST(WorkflowsCommand, ACorruptDocumentIsShownAsTheExamplesAndSetAsideByTheNextChange)
{
    DataFolder run;
    const std::string corrupt = R"([{"id": "mine", "nodes": [{"kind": {"teleport": {}}}]}])";
    write(run.path() / "workflows.json", corrupt);
    auto listed = run({ "workflows", "list" });
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_EQ(lines(listed.output), examples);
    EXPECT_EQ(listed.errors,
        "zeph: workflows.json is not valid: workflow 1: nodes: node 1: Invalid number of keys "
        "found, "
        "expected one. Until it is replaced, the example workflows stand in for it.\n");
    EXPECT_EQ(readFile(run.path() / "workflows.json"), corrupt);

    auto changed = run({ "workflows", "disable", "example-downloads" });
    EXPECT_EQ(changed.exitCode, 0);
    EXPECT_NE(changed.errors.find("It was moved aside to workflows.json.corrupt, and the example "
                                  "workflows stand in for it."),
        std::string::npos)
        << changed.errors;
    EXPECT_EQ(readFile(run.path() / "workflows.json.corrupt"), corrupt);
    auto saved = document(run);
    ASSERT_EQ(saved.size(), 4u);
    EXPECT_EQ(saved[3]["isEnabled"], false);
}

TEST(WorkflowsCommand, ConcurrentChangesLoseNoWorkflow)
{
    DataFolder run;
    auto workflows = nlohmann::json::array();
    for (int index = 0; index < 12; ++index)
        workflows.push_back(workflow("w" + std::to_string(index), "k" + std::to_string(index)));
    write(run.path() / "workflows.json", workflows.dump());
    // Every other workflow is disabled, the rest deleted but for two, each by its own process.
    auto statuses = CommandLineTesting::inParallel(10, [&](std::size_t index) {
        auto id = "w" + std::to_string(index);
        return run({ "workflows", index % 2 == 0 ? "disable" : "delete", id }).exitCode;
    });
    EXPECT_EQ(statuses, std::vector<int>(10, 0));
    Lines states;
    for (auto& saved : document(run))
        states.push_back(saved["id"].get<std::string>() + (saved["isEnabled"] ? " on" : " off"));
    EXPECT_EQ(
        states, (Lines { "w0 off", "w2 off", "w4 off", "w6 off", "w8 off", "w10 on", "w11 on" }));
}
