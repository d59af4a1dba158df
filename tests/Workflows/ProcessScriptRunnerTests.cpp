#include "Workflows/ProcessScriptRunner.h"

#include "Support/TemporaryDirectory.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

ScriptResult runScript(ScriptLanguage language, const std::string& script,
    const std::string& query = "", const Variables& variables = {}, Seconds timeout = 10s)
{
    return ProcessScriptRunner().run(language, script, query, variables, timeout);
}

ScriptResult runBash(const std::string& script, const std::string& query = "",
    const Variables& variables = {}, Seconds timeout = 10s)
{
    return runScript(ScriptLanguage::bash, script, query, variables, timeout);
}

// The result and how long it took.
template <typename Run> std::pair<ScriptResult, Seconds> timed(Run&& run)
{
    auto start = Clock::now();
    auto result = run();
    return { std::move(result), Clock::now() - start };
}

std::size_t openDescriptorCount()
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
            std::filesystem::directory_iterator()));
}

} // namespace

TEST(ProcessScriptRunner, EveryInterpreterGetsTheQueryAsItsFirstArgumentAndInItsEnvironment)
{
    struct Case {
        ScriptLanguage language;
        std::string script;
    };
    const std::string query = "café ☕ -n";
    const Case cases[] = {
        { ScriptLanguage::zsh, R"(printf '%s|%s|%s' "$1" "$zeph_query" "$0")" },
        { ScriptLanguage::bash, R"(printf '%s|%s|%s' "$1" "$zeph_query" "$0")" },
        { ScriptLanguage::python3,
            R"(import os, sys; sys.stdout.write(sys.argv[1] + "|" + os.environ["zeph_query"] + "|zeph"))" },
        { ScriptLanguage::ruby, R"(print ARGV[0], "|", ENV["zeph_query"], "|zeph")" },
        { ScriptLanguage::perl, R"(print $ARGV[0], "|", $ENV{zeph_query}, "|zeph")" },
    };
    for (auto& [language, script] : cases) {
        SCOPED_TRACE(toString(language));
        auto result = runScript(language, script, query);
        EXPECT_EQ(result.stdoutText(), query + "|" + query + "|zeph");
        EXPECT_EQ(result.stderr, "");
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_FALSE(result.timedOut);
    }
}

TEST(ProcessScriptRunner, QueryReachesTheScriptAsOneUnchangedArgument)
{
    // Each of these breaks a runner that splices the query into the script text.
    for (std::string query : { "it's", "say \"hi\"", "two\nlines", "-n", "--version",
             "$(touch pwned)", "`id`", "a\\b", "", " spaced " }) {
        SCOPED_TRACE(query);
        EXPECT_EQ(runBash(R"(printf '%s' "$1")", query).stdout, query);
        EXPECT_EQ(
            runScript(ScriptLanguage::python3, "import sys; sys.stdout.write(sys.argv[1])", query)
                .stdout,
            query);
    }
    // Nor is the script text itself changed on the way.
    EXPECT_EQ(
        runBash("echo '{query}' \"{var:x}\"", "q", { { "x", "y" } }).stdout, "{query} {var:x}\n");
}

TEST(ProcessScriptRunner, EnvironmentIsTheHostsWithTheFixedPathAndTheVariablesOnTop)
{
    setenv("ZEPH_TEST_HOST_VARIABLE", "from the host", 1);
    setenv("ZEPH_TEST_OVERRIDDEN", "host value", 1);
    auto result = runBash(
        R"(printf '%s\n' "$PATH" "$ZEPH_TEST_HOST_VARIABLE" "$ZEPH_TEST_OVERRIDDEN" "$token" "$zeph_query")",
        "the query",
        { { "ZEPH_TEST_OVERRIDDEN", "workflow value" }, { "token", "s3cret" },
            { "zeph_query", "a variable loses to the query" } });
    unsetenv("ZEPH_TEST_HOST_VARIABLE");
    unsetenv("ZEPH_TEST_OVERRIDDEN");
    EXPECT_EQ(result.stdout,
        "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin\nfrom the host\n"
        "workflow value\ns3cret\nthe query\n");

    // A variable named PATH replaces the fixed one; names that cannot be variables stay out.
    auto replaced = runBash(R"(printf '%s|' "$PATH"; env | grep -c '^a=' || true)", "",
        { { "PATH", "/usr/bin:/bin" }, { "a=b", "c" }, { "", "empty" } });
    EXPECT_EQ(replaced.stdout, "/usr/bin:/bin|0\n");
}

TEST(ProcessScriptRunner, ScriptsStartInTheWorkingDirectoryElseInTheHosts)
{
    TemporaryDirectory folder;
    auto inFolder = ProcessScriptRunner(folder.path())
                        .run(ScriptLanguage::bash, "pwd -P; echo made > made.txt", "", {}, 10s);
    EXPECT_EQ(inFolder.stdout, std::filesystem::canonical(folder.path()).string() + "\n");
    EXPECT_TRUE(std::filesystem::exists(folder / "made.txt"));

    auto inherited = runBash("pwd -P");
    EXPECT_EQ(inherited.stdout, std::filesystem::canonical(".").string() + "\n");

    // A folder that is not there is a launch that failed, not a script run somewhere else.
    auto missing
        = ProcessScriptRunner(folder / "missing").run(ScriptLanguage::bash, "pwd", "", {}, 10s);
    EXPECT_EQ(missing.exitCode, -1);
    EXPECT_EQ(missing.stdout, "");
}

TEST(ProcessScriptRunner, ExitCodesAndErrorOutputAreCollected)
{
    auto silent = runBash("");
    EXPECT_EQ(silent, ScriptResult {});

    auto failing = runBash("printf x; echo boom >&2; exit 3");
    EXPECT_EQ(failing, (ScriptResult { .stdout = "x", .stderr = "boom\n", .exitCode = 3 }));

    // A script killed by a signal reports the signal's number.
    EXPECT_EQ(runBash("kill -KILL $$").exitCode, SIGKILL);
    EXPECT_EQ(runScript(ScriptLanguage::python3, "import sys; sys.exit(7)").exitCode, 7);
    EXPECT_EQ(runScript(ScriptLanguage::ruby, "exit 4").exitCode, 4);
    EXPECT_EQ(runScript(ScriptLanguage::perl, "die 'perl failed'").exitCode, 255);
    EXPECT_TRUE(runScript(ScriptLanguage::perl, "die 'perl failed'")
                    .stderrText()
                    .starts_with("perl failed"));
}

TEST(ProcessScriptRunner, StandardInputIsAtEndOfFileAtOnce)
{
    auto [result, elapsed] = timed([] { return runBash("cat; read line; echo \"read $?\""); });
    EXPECT_EQ(result.stdout, "read 1\n");
    EXPECT_LT(elapsed, 5s);
}

TEST(ProcessScriptRunner, InvalidUTF8IsKeptAsBytesAndRepairedAsText)
{
    auto result = runBash(R"(printf 'ok\377\376'; printf '\300' >&2)");
    EXPECT_EQ(result.stdout, "ok\xFF\xFE");
    EXPECT_EQ(result.stdoutText(), "ok\uFFFD\uFFFD");
    EXPECT_EQ(result.stderrText(), "\uFFFD");
}

TEST(ProcessScriptRunner, OutputIsCollectedWholeWithoutDeadlock)
{
    // More than a pipe holds goes to standard error first: a runner that read only standard output
    // until its end would wait for ever.
    auto result = runBash("head -c 1048576 /dev/zero | tr '\\0' e >&2; "
                          "head -c 52428800 /dev/zero | tr '\\0' o");
    EXPECT_EQ(result.exitCode, 0);
    ASSERT_EQ(result.stdout.size(), 52428800u);
    ASSERT_EQ(result.stderr.size(), 1048576u);
    EXPECT_EQ(result.stdout.find_first_not_of('o'), std::string::npos);
    EXPECT_EQ(result.stderr.find_first_not_of('e'), std::string::npos);
}

TEST(ProcessScriptRunner, ATimedOutScriptIsAskedToTerminate)
{
    auto [result, elapsed] = timed(
        [] { return runBash("echo started; while :; do sleep 0.05; done", "", {}, 200ms); });
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.exitCode, SIGTERM);
    EXPECT_EQ(result.stdout, "started\n");
    EXPECT_GE(elapsed, 200ms);
    EXPECT_LT(elapsed, 1500ms);

    // A timeout of zero asks at once.
    auto immediate = runScript(ScriptLanguage::python3, "import time; time.sleep(30)", "", {}, 0s);
    EXPECT_TRUE(immediate.timedOut);
    EXPECT_EQ(immediate.exitCode, SIGTERM);
}

TEST(ProcessScriptRunner, AScriptThatIgnoresTheSignalKeepsTheRunOpen)
{
    // The signal is the polite one, sent once: the script finishes its work and exits normally.
    auto [result, elapsed] = timed([] {
        return runBash("trap 'echo terminated' TERM; for step in 1 2 3 4 5; do sleep 0.1; done; "
                       "echo done",
            "", {}, 100ms);
    });
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.stdout, "terminated\ndone\n");
    EXPECT_GE(elapsed, 450ms);
}

TEST(ProcessScriptRunner, ABackgroundChildHoldingTheOutputEndsTheRunAfterOneSecond)
{
    auto [result, elapsed]
        = timed([] { return runScript(ScriptLanguage::zsh, "sleep 100 & echo $!", "", {}, 30s); });
    // The left-over sleep is not ours to wait for, but the test cleans up after itself.
    if (auto child = std::atoi(result.stdout.c_str()); child > 0)
        kill(child, SIGTERM);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_FALSE(result.timedOut);
    EXPECT_GE(elapsed, 900ms);
    EXPECT_LT(elapsed, 5s);
}

TEST(ProcessScriptRunner, ALaunchFailureIsAResult)
{
    auto missing = ProcessScriptRunner().execute("/nonexistent/interpreter", {}, {}, {}, 1s);
    EXPECT_EQ(missing,
        (ScriptResult {
            .stderr = "Could not run /nonexistent/interpreter: No such file or directory",
            .exitCode = -1 }));

    TemporaryDirectory folder;
    std::ofstream(folder / "script") << "#!/bin/sh\necho hi\n";
    auto notExecutable
        = ProcessScriptRunner().execute((folder / "script").string(), {}, {}, {}, 1s);
    EXPECT_EQ(notExecutable.exitCode, -1);
    EXPECT_EQ(notExecutable.stderrText(),
        "Could not run " + (folder / "script").string() + ": Permission denied");

    // Without osascript, both of its languages fail the same way.
    if (!std::filesystem::exists("/usr/bin/osascript")) {
        for (auto language : { ScriptLanguage::appleScript, ScriptLanguage::javaScript }) {
            auto result = runScript(language, "return 1");
            EXPECT_EQ(result.exitCode, -1);
            EXPECT_EQ(
                result.stderrText(), "Could not run /usr/bin/osascript: No such file or directory");
        }
    }
}

TEST(ProcessScriptRunner, ManyOverlappingRunsLeaveNoProcessOrDescriptorBehind)
{
    auto descriptorsBefore = openDescriptorCount();
    constexpr int threadCount = 4;
    constexpr int runsPerThread = 250;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread, &wrong] {
            ProcessScriptRunner runner;
            for (int run = 0; run < runsPerThread; ++run) {
                // Mostly the cheapest process there is; now and then a script with output, a
                // failure to launch, and a timeout.
                ScriptResult result;
                ScriptResult expected;
                if (run % 50 == 1) {
                    auto query = std::to_string(thread) + ":" + std::to_string(run);
                    result = runner.run(
                        ScriptLanguage::bash, R"(printf '%s' "$1" >&2)", query, {}, 10s);
                    expected = { .stderr = query };
                } else if (run % 50 == 2) {
                    result = runner.execute("/nonexistent", {}, {}, {}, 10s);
                    expected = { .stderr = "Could not run /nonexistent: No such file or directory",
                        .exitCode = -1 };
                } else if (run % 50 == 3) {
                    result = runner.execute("/bin/sleep", { "10" }, {}, {}, 10ms);
                    expected = { .exitCode = SIGTERM, .timedOut = true };
                } else {
                    result = runner.execute("/bin/true", {}, {}, {}, 10s);
                }
                if (result != expected)
                    ++wrong;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(openDescriptorCount(), descriptorsBefore);
    // Every child was reaped: there is none left to wait for, not even a zombie.
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

} // namespace zeph
