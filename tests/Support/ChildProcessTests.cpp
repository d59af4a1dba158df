#include "Support/ChildProcess.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;

ChildProcess::Outcome runShell(const std::string& script, ChildProcess::Request request = {})
{
    request.executable = "/bin/sh";
    request.arguments = { "-c", script };
    request.environment = { "PATH=/usr/bin:/bin" };
    return ChildProcess::run(request);
}

} // namespace

TEST(ChildProcess, StandardInputIsWrittenWholeWhileTheOutputIsRead)
{
    // Both directions hold more than a pipe does, so writing all before reading would deadlock.
    std::string input(3 * 1024 * 1024, 'i');
    input += "end";
    auto outcome = runShell("cat; echo done >&2", { .standardInput = input });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, input);
    EXPECT_EQ(outcome.err, "done\n");

    // A child that never reads its input neither blocks the run nor kills the caller.
    auto ignored = runShell("exit 0", { .standardInput = input });
    EXPECT_EQ(ignored.status, 0);
}

TEST(ChildProcess, OutputCanGoToTheNullDevice)
{
    auto outcome = runShell("echo out; echo err >&2; exit 2", { .collectsOutput = false });
    EXPECT_EQ(outcome, (ChildProcess::Outcome { .status = 2 }));
}

TEST(ChildProcess, NamesAreLookedUpInPathOnlyWhenAsked)
{
    auto found = ChildProcess::run(
        { .executable = "sh", .arguments = { "-c", "printf found" }, .searchesPath = true });
    EXPECT_EQ(found.out, "found");
    EXPECT_EQ(found.launchError, 0);

    auto notSearched = ChildProcess::run({ .executable = "sh", .arguments = { "-c", "true" } });
    EXPECT_EQ(notSearched.launchError, ENOENT);
    auto missing
        = ChildProcess::run({ .executable = "zeph-no-such-program", .searchesPath = true });
    EXPECT_EQ(missing.launchError, ENOENT);
}

TEST(ChildProcess, EnvironmentIsExactlyTheGivenEntries)
{
    auto outcome = ChildProcess::run(
        { .executable = "/usr/bin/env", .environment = { "ONE=1", "TWO=two words" } });
    EXPECT_EQ(outcome.out, "ONE=1\nTWO=two words\n");
    EXPECT_EQ(outcome.status, 0);
}

} // namespace zeph
