#include "Workflows/WorkflowRunner.h"

#include "Support/StubScriptRunner.h"
#include "Support/TemporaryDirectory.h"
#include "Workflows/DryRunEnvironment.h"
#include "Workflows/ProcessScriptRunner.h"
#include "Workflows/ScriptFilterOutput.h"
#include "Workflows/WorkflowTemplate.h"
#include "Workflows/WorkflowTesting.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;
using Step = WorkflowRunLog::Step;
using Lines = std::vector<std::string>;

// Connections are written as a hand-edited file may hold them, past the editor's checks.
WorkflowConnection edge(std::string from, std::string to, std::string port = "out",
    ConnectionModifier modifier = ConnectionModifier::none)
{
    return {
        .id = from + ">" + to, .from = from, .fromPort = port, .to = to, .modifier = modifier
    };
}

NodeKind::Keyword keyword()
{
    return { .keyword = "go" };
}

NodeKind::CopyToClipboard copy(std::string text)
{
    return { .text = std::move(text) };
}

// A dry run with scripts that answer as the test says.
struct Harness {
    DryRunEnvironment environment { "clipboard text", "selected text" };
    StubScriptRunner scripts;
    Seconds timeout = 30.9s;

    WorkflowRunLog run(const Workflow& workflow, std::string query = "",
        const Variables& variables = {}, ConnectionModifier modifier = ConnectionModifier::none,
        std::string start = "start")
    {
        return WorkflowRunner(environment, scripts, timeout)
            .run(workflow, start, std::move(query), variables, modifier);
    }

    Lines actions() const
    {
        Lines lines;
        for (auto& action : environment.actions())
            lines.push_back(description(action));
        return lines;
    }
};

Lines messages(const WorkflowRunLog& log)
{
    Lines lines;
    for (auto& step : log.steps)
        lines.push_back(step.nodeName + ": " + step.message);
    return lines;
}

// Sets HOME for one test, so that "~" has a known meaning.
class HomeFolder {
public:
    explicit HomeFolder(const char* home)
    {
        if (auto* previous = std::getenv("HOME"))
            m_previous = previous;
        setenv("HOME", home, 1);
    }
    ~HomeFolder()
    {
        if (m_previous)
            setenv("HOME", m_previous->c_str(), 1);
        else
            unsetenv("HOME");
    }

private:
    std::optional<std::string> m_previous;
};

const Workflow& example(const std::string& id)
{
    auto& examples = WorkflowTemplate::examples();
    return *std::find_if(examples.begin(), examples.end(),
        [&](const Workflow& workflow) { return workflow.id == id; });
}

} // namespace

TEST(WorkflowRunner, EachActionReachesTheEnvironmentWithItsTemplatesFilledIn)
{
    HomeFolder home("/home/tester");
    Workflow workflow { .nodes
        = { node("start", keyword()),
            node("url", NodeKind::OpenURL { "https://{var:site}/s?q={query}&by={var:who}" }),
            node(
                "file", NodeKind::OpenFile { .path = "~/docs/{query}.txt", .appBundleID = "code" }),
            node("plain file", NodeKind::OpenFile { .path = "/srv/{var:who}~" }),
            node("reveal", NodeKind::RevealInFinder { "~" }), node("copy", copy("{query}!")),
            node("paste", NodeKind::CopyToClipboard { "{var:who}", true }),
            node("notify",
                NodeKind::Notification {
                    .title = "Hi {var:who}", .body = "{query} {var:missing}" }),
            node("large", NodeKind::LargeType { "{query}" }) },
        .variables = { { "site", "example.com" }, { "who", "Ann Lee" } } };
    for (auto& target : workflow.nodes) {
        if (target.id != "start")
            workflow.connections.push_back(edge("start", target.id));
    }
    Harness harness;
    auto log = harness.run(workflow, "a b&c");
    EXPECT_EQ(harness.actions(),
        (Lines {
            "Open URL https://example.com/s?q=a%20b%26c&by=Ann%20Lee",
            "Open /home/tester/docs/a b&c.txt with code",
            "Open /srv/Ann Lee~",
            "Reveal /home/tester in the file manager",
            "Copy \"a b&c!\"",
            "Paste \"Ann Lee\"",
            "Notification \"Hi Ann Lee\": a b&c {var:missing}",
            "Large Type \"a b&c\"",
        }));
    EXPECT_EQ(messages(log),
        (Lines {
            "Keyword: Started",
            "Open URL: Opened https://example.com/s?q=a%20b%26c&by=Ann%20Lee",
            "Open File: Opened /home/tester/docs/a b&c.txt",
            "Open File: Opened /srv/Ann Lee~",
            "Reveal in File Manager: Revealed /home/tester",
            "Copy to Clipboard: Copied",
            "Copy to Clipboard: Pasted",
            "Post Notification: Notified",
            "Large Type: Shown in Large Type",
        }));
    // Actions leave the query as it came.
    EXPECT_EQ(log.finalQuery, "a b&c");
    for (auto& step : log.steps)
        EXPECT_EQ(step.query, "a b&c");
    EXPECT_EQ(log.steps[1].nodeID, "url");
}

TEST(WorkflowRunner, TemplatesTakeTheQueryThenTheVariables)
{
    using Encoding = WorkflowRunner::Encoding;
    Variables variables { { "x", "1 2" }, { "name", "N" } };
    const std::tuple<std::string, std::string, Encoding, std::string> cases[] = {
        { "https://github.com/{query}/issues", "a b/c", Encoding::url,
            "https://github.com/a%20b/c/issues" },
        { "{query}{query}", "q", Encoding::none, "qq" },
        { "{var:x}|{var:name}|{var:missing}|{var:X}", "", Encoding::none,
            "1 2|N|{var:missing}|{var:X}" },
        { "{var:x}", "", Encoding::url, "1%202" },
        // The query goes in first: its own placeholders are expanded unless encoding hid them.
        { "{query}", "{var:x}", Encoding::none, "1 2" },
        { "{query}", "{var:x}", Encoding::url, "%7Bvar:x%7D" },
        { "{query}", "{query}", Encoding::none, "{query}" },
        { "{ query} {QUERY} {var:x", "q", Encoding::none, "{ query} {QUERY} {var:x" },
    };
    for (auto& [text, query, encoding, expected] : cases) {
        SCOPED_TRACE(text + " with " + query);
        EXPECT_EQ(WorkflowRunner::expandTemplate(text, query, variables, encoding), expected);
    }

    const std::pair<std::string, std::string> encoded[] = {
        { "owner/name", "owner/name" },
        { "-._~!$'()*,;:@/", "-._~!$'()*,;:@/" },
        { "a&b+c=d?e#f", "a%26b%2Bc%3Dd%3Fe%23f" },
        { "100% sure", "100%25%20sure" },
        { "café", "caf%C3%A9" },
        { "[x]{y}\"<>\\^`|", "%5Bx%5D%7By%7D%22%3C%3E%5C%5E%60%7C" },
        { std::string("\0\n", 2), "%00%0A" },
    };
    for (auto& [text, expected] : encoded)
        EXPECT_EQ(WorkflowRunner::percentEncode(text), expected) << text;
}

TEST(WorkflowRunner, AScriptsOutputWithoutItsNewlinesIsTheNextQuery)
{
    // Real processes: the query arrives as $1 and the run's variables as the environment.
    Workflow workflow { .nodes
        = { node("start", keyword()), node("set", NodeKind::SetVariable { "greeting", "Hello" }),
            node("script",
                NodeKind::RunScript { .language = ScriptLanguage::bash,
                    .script = R"(printf '\n%s, %s\n\n' "$greeting" "$1")" }),
            node("copy", copy("{query}")) },
        .connections = { edge("start", "set"), edge("set", "script"), edge("script", "copy") } };
    DryRunEnvironment environment;
    ProcessScriptRunner scripts;
    auto log = WorkflowRunner(environment, scripts, 10s).run(workflow, "start", "Ann");
    EXPECT_EQ(environment.actions(),
        std::vector<EnvironmentAction> { EnvironmentActions::CopyToClipboard { "Hello, Ann" } });
    EXPECT_EQ(log.steps[2],
        (Step { .nodeID = "script",
            .nodeName = "Run Script",
            .query = "Hello, Ann",
            .message = "Script output 10 characters" }));
    EXPECT_EQ(log.finalQuery, "Hello, Ann");
}

TEST(WorkflowRunner, AScriptsMessageTellsHowItEndedAndTheWalkGoesOn)
{
    Harness harness;
    harness.scripts.answer = [](const StubScriptRunner::Call& call) -> ScriptResult {
        if (call.script == "fail")
            return { .stdout = "x", .stderr = " boom\n", .exitCode = 3 };
        if (call.script == "slow")
            return { .stdout = "partial\n", .exitCode = 15, .timedOut = true };
        if (call.script == "emoji")
            return { .stdout = "\n e\u0301👍🏽\n\r\n" };
        return { .stdout = "bad \xFF" };
    };
    const std::pair<std::string, Step> cases[] = {
        { "fail", { "script", "Run Script", "x", "Exited 3: boom" } },
        { "slow", { "script", "Run Script", "partial", "Timed out after 30s" } },
        { "emoji", { "script", "Run Script", " e\u0301👍🏽", "Script output 3 characters" } },
        { "bad", { "script", "Run Script", "bad \uFFFD", "Script output 5 characters" } },
    };
    for (auto& [script, step] : cases) {
        SCOPED_TRACE(script);
        Workflow workflow { .nodes
            = { node("start", keyword()),
                node("script",
                    NodeKind::RunScript { .language = ScriptLanguage::perl, .script = script }),
                node("copy", copy("{query}")) },
            .connections = { edge("start", "script"), edge("script", "copy") },
            .variables = { { "v", "w" } } };
        auto log = harness.run(workflow, "the query");
        ASSERT_EQ(log.steps.size(), 3u);
        EXPECT_EQ(log.steps[1], step);
        // A failed script still hands its output on.
        EXPECT_EQ(log.steps[2].query, step.query);
        EXPECT_EQ(harness.actions().back(), "Copy \"" + step.query + "\"");
    }
    EXPECT_EQ(harness.scripts.calls().front(),
        (StubScriptRunner::Call { .language = ScriptLanguage::perl,
            .script = "fail",
            .query = "the query",
            .variables = { { "v", "w" } },
            .timeout = 30.9s }));
}

TEST(WorkflowRunner, BranchesRunBreadthFirstEachWithItsOwnVariables)
{
    Workflow workflow { .nodes
        = { node("start", keyword()),
            node("set", NodeKind::SetVariable { "v", "set on the first branch" }),
            node("sibling", copy("sibling sees {var:v}")),
            node("after", copy("after the set: {var:v}")), node("twice", copy("reached twice")) },
        .connections = { edge("start", "set"), edge("start", "sibling"), edge("set", "after"),
            edge("set", "twice"), edge("sibling", "twice") } };
    Harness harness;
    auto log = harness.run(workflow);
    EXPECT_EQ(harness.actions(),
        (Lines { "Copy \"sibling sees {var:v}\"", "Copy \"after the set: set on the first branch\"",
            "Copy \"reached twice\"", "Copy \"reached twice\"" }));
    EXPECT_EQ(log.steps[1].message, "v = set on the first branch");
    EXPECT_EQ(log.steps.size(), 6u);
}

TEST(WorkflowRunner, TheHeldKeyChoosesOnlyAmongTheStartsBranches)
{
    Workflow workflow { .nodes
        = { node("start", keyword()), node("plain", NodeKind::OpenURL { "plain" }),
            node("command", NodeKind::OpenURL { "command" }),
            node("deep command", NodeKind::OpenURL { "deep command" }),
            node("deep plain", NodeKind::OpenURL { "deep plain" }) },
        .connections
        = { edge("start", "plain"), edge("start", "command", "out", ConnectionModifier::command),
            edge("command", "deep command", "out", ConnectionModifier::command),
            edge("command", "deep plain") } };
    const std::pair<ConnectionModifier, Lines> cases[] = {
        { ConnectionModifier::none, { "Open URL plain" } },
        { ConnectionModifier::command, { "Open URL command", "Open URL deep plain" } },
        // A key without a branch of its own takes the plain branches.
        { ConnectionModifier::shift, { "Open URL plain" } },
    };
    for (auto& [modifier, expected] : cases) {
        SCOPED_TRACE(toString(modifier));
        Harness harness;
        harness.run(workflow, "", {}, modifier);
        EXPECT_EQ(harness.actions(), expected);
    }
}

TEST(WorkflowRunner, ACycleEndsTheRunAfterTwoHundredNodes)
{
    Workflow workflow { .nodes
        = { node("start", keyword()), node("a", NodeKind::ReplaceQuery { "{query}a" }),
            node("b", NodeKind::SetVariable { "n", "{query}" }) },
        .connections = { edge("start", "a"), edge("a", "b"), edge("b", "a") } };
    Harness harness;
    auto log = harness.run(workflow);
    EXPECT_EQ(log.steps.size(), 201u);
    EXPECT_EQ(log.finalQuery, std::string(100, 'a'));

    // A connection to a missing node is skipped, and counts.
    workflow.connections.insert(workflow.connections.begin(), edge("start", "missing"));
    EXPECT_EQ(harness.run(workflow).steps.size(), 200u);
}

TEST(WorkflowRunner, UtilitiesChangeTheQueryAndTheVariables)
{
    Workflow workflow { .nodes
        = { node("start", keyword()), node("unnamed", NodeKind::SetVariable { "", "value" }),
            node("named", NodeKind::SetVariable { "n", "<{query}>" }),
            node("replace", NodeKind::ReplaceQuery { "{var:n} and {var:}" }),
            node("copy", copy("{query}")) },
        .connections = { edge("start", "unnamed"), edge("unnamed", "named"),
            edge("named", "replace"), edge("replace", "copy") } };
    Harness harness;
    auto log = harness.run(workflow, "q");
    EXPECT_EQ(messages(log),
        (Lines { "Keyword: Started", "Set Variable:  = value", "Set Variable: n = <q>",
            "Replace Query: Query is now '<q> and {var:}'", "Copy to Clipboard: Copied" }));
    EXPECT_EQ(harness.actions(), (Lines { "Copy \"<q> and {var:}\"" }));
    EXPECT_EQ(log.finalQuery, "<q> and {var:}");
}

TEST(WorkflowRunner, CallersVariablesWinOverTheWorkflows)
{
    Workflow workflow { .nodes = { node("start", keyword()), node("copy", copy("{var:a}{var:b}")) },
        .connections = { edge("start", "copy") },
        .variables = { { "a", "1" }, { "b", "2" } } };
    Harness harness;
    harness.run(workflow, "", { { "b", "3" } });
    EXPECT_EQ(harness.actions(), (Lines { "Copy \"13\"" }));
    EXPECT_EQ(workflow.variables.at("b"), "2");
}

TEST(WorkflowRunner, HotkeyStartsReadTheirQueryFromTheEnvironment)
{
    const std::pair<HotkeyInput, std::string> cases[] = {
        { HotkeyInput::none, "given" },
        { HotkeyInput::selectedText, "selected text" },
        { HotkeyInput::clipboard, "clipboard text" },
    };
    for (auto& [input, expected] : cases) {
        SCOPED_TRACE(toString(input));
        Workflow workflow { .nodes
            = { node("start", NodeKind::Hotkey { .input = input }), node("copy", copy("{query}")) },
            .connections = { edge("start", "copy") } };
        Harness harness;
        auto log = harness.run(workflow, "given");
        EXPECT_EQ(log.steps[0], (Step { "start", "Hotkey", expected, "Started" }));
        EXPECT_EQ(harness.actions(), (Lines { "Copy \"" + expected + "\"" }));
    }
}

TEST(WorkflowRunner, AConditionChoosesItsPort)
{
    struct Case {
        ConditionOperator op;
        std::string value;
        std::string compareTo;
        bool expected;
    };
    const Case cases[] = {
        { ConditionOperator::equals, "abc", "abc", true },
        { ConditionOperator::equals, "abc", "ABC", false },
        { ConditionOperator::equals, "e\u0301", "\u00e9", true },
        { ConditionOperator::notEquals, "a", "b", true },
        { ConditionOperator::notEquals, "{query}", "Hello World", false },
        { ConditionOperator::contains, "{query}", "WORLD", true },
        { ConditionOperator::contains, "ÉCOLE", "écol", true },
        { ConditionOperator::contains, "abc", "", false },
        { ConditionOperator::contains, "abc", "x", false },
        { ConditionOperator::startsWith, "Hello", "hE", true },
        { ConditionOperator::startsWith, "Hello", "lo", false },
        { ConditionOperator::startsWith, "x", "", true },
        { ConditionOperator::endsWith, "Hello", "LO", true },
        { ConditionOperator::endsWith, "Hello", "he", false },
        { ConditionOperator::matchesRegex, "order 66", "\\d+$", true },
        { ConditionOperator::matchesRegex, "abc", "^B", false },
        { ConditionOperator::matchesRegex, "abc", "(", false },
        { ConditionOperator::matchesRegex, "naïve", "ï", true },
        { ConditionOperator::isEmpty, " \n\t\u00a0", "ignored", true },
        { ConditionOperator::isEmpty, "x", "", false },
        { ConditionOperator::isNotEmpty, "{var:blank}", "", false },
        { ConditionOperator::isNotEmpty, " x ", "", true },
    };
    for (auto& [op, value, compareTo, expected] : cases) {
        SCOPED_TRACE(std::string(toString(op)) + " " + value + " " + compareTo);
        Workflow workflow { .nodes
            = { node("start", keyword()),
                node("condition",
                    NodeKind::Condition { .value = value, .op = op, .compareTo = compareTo }),
                node("yes", copy("yes")), node("no", copy("no")) },
            .connections = { edge("start", "condition"), edge("condition", "yes", "true"),
                edge("condition", "no", "false"), edge("condition", "no", "out") },
            .variables = { { "blank", "  " } } };
        Harness harness;
        auto log = harness.run(workflow, "Hello World");
        EXPECT_EQ(harness.actions(), (Lines { expected ? "Copy \"yes\"" : "Copy \"no\"" }));
        EXPECT_EQ(log.steps[1].message, expected ? "Condition true" : "Condition false");
        EXPECT_EQ(log.steps[1].query, "Hello World");
    }
}

TEST(WorkflowRunner, InputsOnlyPassThroughAndAMissingStartRunsNothing)
{
    Workflow workflow { .nodes = { node("start", keyword()),
                            node("hotkey", NodeKind::Hotkey { .input = HotkeyInput::clipboard }),
                            node("filter", NodeKind::ScriptFilter { .script = "exit 1" }),
                            node("list", NodeKind::ListFilter {}), node("again", keyword()) },
        .connections = { edge("start", "hotkey"), edge("hotkey", "filter"), edge("filter", "list"),
            edge("list", "again") } };
    Harness harness;
    auto log = harness.run(workflow, "q");
    EXPECT_EQ(messages(log),
        (Lines { "Keyword: Started", "Hotkey: Input passed through",
            "Script Filter: Input passed through", "List Filter: Input passed through",
            "Keyword: Input passed through" }));
    EXPECT_EQ(log.finalQuery, "q");
    EXPECT_TRUE(harness.actions().empty());
    EXPECT_TRUE(harness.scripts.calls().empty());

    EXPECT_EQ(
        harness.run(workflow, "q", {}, ConnectionModifier::none, "nowhere"), WorkflowRunLog {});
    // Any node may start a run; it is not carried out itself.
    auto fromAction = harness.run(
        Workflow { .nodes = { node("start", copy("never")), node("next", copy("next")) },
            .connections = { edge("start", "next") } });
    EXPECT_EQ(harness.actions(), (Lines { "Copy \"next\"" }));
    EXPECT_EQ(fromAction.steps[0].nodeName, "Copy to Clipboard");
}

TEST(WorkflowRunner, TheExampleWorkflowsRunAsTheyShould)
{
    HomeFolder home("/home/tester");
    std::vector<StubScriptRunner::Call> scriptCalls;
    auto actionsOf = [&](const std::string& id, std::string query, ConnectionModifier modifier) {
        Harness harness;
        harness.scripts.answer = [](const StubScriptRunner::Call&) {
            return ScriptResult { .stdout = "6F9619FF-8B86-D011-B42D-00C04FC964FF\n" };
        };
        auto& workflow = example(id);
        harness.run(workflow, std::move(query), {}, modifier, workflow.inputNodes().front()->id);
        scriptCalls = harness.scripts.calls();
        return harness.actions();
    };

    EXPECT_EQ(actionsOf("example-uuid", "", ConnectionModifier::none),
        (Lines { "Copy \"6F9619FF-8B86-D011-B42D-00C04FC964FF\"",
            "Notification \"UUID copied\": 6F9619FF-8B86-D011-B42D-00C04FC964FF" }));
    ASSERT_EQ(scriptCalls.size(), 1u);
    EXPECT_EQ(scriptCalls[0].script, "uuidgen | tr -d '\\n'");

    EXPECT_EQ(actionsOf("example-github", "owner/name", ConnectionModifier::none),
        (Lines { "Open URL https://github.com/owner/name" }));
    EXPECT_EQ(actionsOf("example-github", "owner/name", ConnectionModifier::command),
        (Lines { "Open URL https://github.com/owner/name/issues" }));
    EXPECT_EQ(actionsOf("example-vscode", "~/src/zeph", ConnectionModifier::none),
        (Lines { "Open /home/tester/src/zeph with code" }));
    EXPECT_EQ(actionsOf("example-downloads", "/d/report.pdf", ConnectionModifier::none),
        (Lines { "Open /d/report.pdf" }));
    EXPECT_EQ(actionsOf("example-downloads", "/d/report.pdf", ConnectionModifier::command),
        (Lines { "Reveal /d/report.pdf in the file manager" }));
    EXPECT_TRUE(scriptCalls.empty());
}

TEST(WorkflowRunner, TheDownloadsExampleListsTheNewestFilesFirst)
{
    TemporaryDirectory home;
    auto downloads = home.path() / "Downloads";
    std::filesystem::create_directories(downloads);
    auto now = std::filesystem::file_time_type::clock::now();
    const std::pair<const char*, int> files[]
        = { { "older.txt", 60 }, { "newest \"quoted\".pdf", 1 }, { ".hidden", 0 } };
    for (auto& [name, minutesAgo] : files) {
        std::ofstream(downloads / name) << name;
        std::filesystem::last_write_time(downloads / name, now - std::chrono::minutes(minutesAgo));
    }
    auto& filter = *example("example-downloads").nodes[0].kind.get<NodeKind::ScriptFilter>();
    ProcessScriptRunner runner;
    auto titles = [&](const std::string& query) {
        auto result = runner.run(
            filter.language, filter.script, query, { { "HOME", home.path().string() } }, 10s);
        Lines found;
        for (auto& item : ScriptFilterOutput::ofRun(result).items) {
            EXPECT_EQ(item.arg, (downloads / item.title).string());
            EXPECT_EQ(item.iconPath, item.arg);
            found.push_back(item.title);
        }
        return found;
    };
    EXPECT_EQ(titles(""), (Lines { "newest \"quoted\".pdf", "older.txt" }));
    EXPECT_EQ(titles("OLD"), (Lines { "older.txt" }));
}

TEST(WorkflowRunner, RunsMayOverlapOnSeveralThreads)
{
    DryRunEnvironment environment;
    StubScriptRunner scripts;
    const WorkflowRunner runner(environment, scripts, 1s);
    Workflow workflow { .nodes = { node("start", keyword()), node("script", NodeKind::RunScript {}),
                            node("copy", copy("{query}")) },
        .connections = { edge("start", "script"), edge("script", "copy") } };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int run = 0; run < 50; ++run) {
                auto query = std::to_string(thread * 100 + run);
                auto log = runner.run(workflow, "start", query);
                EXPECT_EQ(log.finalQuery, query);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(environment.actions().size(), 200u);
    EXPECT_EQ(scripts.calls().size(), 200u);
}

} // namespace zeph
