// What an agent waits for from zeph-mcp: the helper started and answering initialize, a tools/list
// round trip on a running helper, and a create_workflow transaction on a document of 200 workflows
// (the lock, a fresh read of both documents, the change, the comparison and the atomic write with
// its fsyncs), with the parts of that transaction beside it, so that it shows where the time goes.
#include "Agents/AgentTools.h"
#include "Agents/FileAgentStore.h"
#include "GeneratedWorkflows.h"
#include "Support/Allocator.h"
#include "Workflows/ProcessScriptRunner.h"
#include "Workflows/WorkflowTemplate.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

namespace {

// The allocator as the application and zeph-mcp set it.
const bool allocatorIsTuned = (zeph::tuneAllocatorForDocuments(), true);

using namespace zeph;
using Clock = std::chrono::steady_clock;

const std::string initializeLine
    = R"({"jsonrpc": "2.0", "id": 1, "method": "initialize", "params": {"protocolVersion": "2025-06-18", "capabilities": {}, "clientInfo": {"name": "bench", "version": "1"}}})"
      "\n";
const std::string listLine = R"({"jsonrpc": "2.0", "id": 2, "method": "tools/list"})"
                             "\n";

std::filesystem::path freshFolder()
{
    std::string pattern = "/tmp/zeph-bench-XXXXXX";
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("Could not create a temporary folder.");
    return pattern;
}

// A running zeph-mcp with a pipe to each end, as an MCP client holds it.
class Helper {
public:
    explicit Helper(const std::filesystem::path& dataFolder)
    {
        int toHelper[2];
        int fromHelper[2];
        if (pipe2(toHelper, O_CLOEXEC) != 0 || pipe2(fromHelper, O_CLOEXEC) != 0)
            throw std::runtime_error("Could not make pipes.");
        m_process = fork();
        if (m_process == 0) {
            dup2(toHelper[0], STDIN_FILENO);
            dup2(fromHelper[1], STDOUT_FILENO);
            setenv("ZEPH_DATA_DIR", dataFolder.c_str(), 1);
            execl(ZEPH_MCP_EXECUTABLE, ZEPH_MCP_EXECUTABLE, nullptr);
            _exit(127);
        }
        close(toHelper[0]);
        close(fromHelper[1]);
        m_input = toHelper[1];
        m_output = fromHelper[0];
    }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;
    ~Helper()
    {
        close(m_input);
        close(m_output);
        int status = 0;
        waitpid(m_process, &status, 0);
    }

    // Writes one line and reads the one reply line.
    std::string exchange(const std::string& line)
    {
        if (write(m_input, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            throw std::runtime_error("Could not write to zeph-mcp.");
        std::string reply;
        char buffer[65536];
        while (reply.empty() || reply.back() != '\n') {
            auto count = read(m_output, buffer, sizeof buffer);
            if (count <= 0)
                throw std::runtime_error("zeph-mcp ended without a reply.");
            reply.append(buffer, static_cast<std::size_t>(count));
        }
        return reply;
    }

private:
    pid_t m_process = -1;
    int m_input = -1;
    int m_output = -1;
};

void startToInitializeReply(benchmark::State& state)
{
    auto folder = freshFolder();
    for (auto _ : state) {
        auto start = Clock::now();
        std::string reply;
        {
            Helper helper(folder);
            reply = helper.exchange(initializeLine);
            state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        }
        benchmark::DoNotOptimize(reply);
    }
    std::filesystem::remove_all(folder);
}
BENCHMARK(startToInitializeReply)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(2.0);

void toolsListRoundTrip(benchmark::State& state)
{
    auto folder = freshFolder();
    {
        Helper helper(folder);
        helper.exchange(initializeLine);
        std::size_t size = 0;
        for (auto _ : state)
            size = helper.exchange(listLine).size();
        state.SetLabel(std::to_string(size / 1024) + " KB a reply");
    }
    std::filesystem::remove_all(folder);
}
BENCHMARK(toolsListRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();

// "workflows.json" of 200 workflows: the generated ones of 20 nodes (Arg 0), or the four examples
// over and over, of two to four nodes each (Arg 1), the size agents make.
std::string documentFor(const benchmark::State& state)
{
    if (state.range(0) == 0)
        return Bench::documentOf(200);
    std::vector<Workflow> workflows;
    for (std::size_t number = 0; number < 200; ++number) {
        auto workflow = WorkflowTemplate::examples()[number % 4];
        workflow.id = makeUUID();
        workflow.name += " " + std::to_string(number);
        workflows.push_back(std::move(workflow));
    }
    return *encodeDocument(workflows);
}

void label(benchmark::State& state, const std::string& document)
{
    state.SetLabel((state.range(0) == 0 ? "20-node workflows, " : "example-sized workflows, ")
        + std::to_string(document.size() / 1024) + " KB");
}

void writeDocument(const std::filesystem::path& folder, const std::string& document)
{
    std::ofstream(folder / "workflows.json", std::ios::binary | std::ios::trunc) << document;
}

// A writer that renames like the real one but syncs nothing, to tell the disk's share.
class UnsyncedWriter final : public FileWriting {
public:
    std::optional<Error> replaceFile(
        const std::filesystem::path& path, std::string_view bytes) override
    {
        auto temporary = path;
        temporary += ".unsynced";
        std::ofstream(temporary, std::ios::binary | std::ios::trunc) << bytes;
        std::filesystem::rename(temporary, path);
        return std::nullopt;
    }
};

const Json::Value workflowArguments = Json::parse(R"({"workflow": {"name": "Agent's",
    "nodes": [{"id": "k", "type": "keyword", "keyword": "agent"},
    {"id": "s", "type": "runScript", "script": "echo \"$1\""},
    {"id": "c", "type": "copyToClipboard", "paste": true}],
    "connections": [{"from": "k", "to": "s"}, {"from": "s", "to": "c"}]}})")
                                          .value();

// Before each transaction, another agent's helper rewrites the document: it removes the workflow
// made the time before and renames one other workflow, a different one each time.
void createWorkflowTransaction(benchmark::State& state, FileWriting& writer)
{
    auto folder = freshFolder();
    auto document = documentFor(state);
    auto workflows = decodeDocument<std::vector<Workflow>>(document)->value();
    FileAgentStore store(folder, {}, writer);
    ProcessScriptRunner scripts;
    AgentTools tools(store, scripts);
    std::size_t renamed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto rewritten = workflows;
        rewritten[renamed++ % rewritten.size()].name += " (renamed)";
        writeDocument(folder, encodeDocument(rewritten).value());
        state.ResumeTiming();
        auto result = tools.call("create_workflow", workflowArguments);
        if (result.isError)
            state.SkipWithError(result.text.c_str());
    }
    label(state, document);
    std::filesystem::remove_all(folder);
}

void createWorkflow(benchmark::State& state)
{
    createWorkflowTransaction(state, atomicFileWriter());
}
BENCHMARK(createWorkflow)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// One agent's helper making change after change: the document on disk is the one it wrote last,
// which it need not decode again. Each created workflow is deleted again, untimed, so that the
// document stays at 200 workflows.
void createWorkflowAfterOwnChange(benchmark::State& state)
{
    auto folder = freshFolder();
    auto document = documentFor(state);
    writeDocument(folder, document);
    FileAgentStore store(folder);
    ProcessScriptRunner scripts;
    AgentTools tools(store, scripts);
    for (auto _ : state) {
        auto result = tools.call("create_workflow", workflowArguments);
        state.PauseTiming();
        auto id = result.text.substr(result.text.find("with id ") + 8, 36);
        auto deleted = tools.call("delete_workflow", Json::Value { { "id", id } });
        if (result.isError || deleted.isError)
            state.SkipWithError((result.text + " " + deleted.text).c_str());
        state.ResumeTiming();
    }
    label(state, document);
    std::filesystem::remove_all(folder);
}
BENCHMARK(createWorkflowAfterOwnChange)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void createWorkflowUnsynced(benchmark::State& state)
{
    UnsyncedWriter writer;
    createWorkflowTransaction(state, writer);
}
BENCHMARK(createWorkflowUnsynced)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// The first create_workflow of a helper just started, timed from its initialize reply: the helper
// reads the documents on a thread of its own as it starts, and the call waits for what is left of
// that reading.
void createWorkflowInAFreshHelper(benchmark::State& state)
{
    auto folder = freshFolder();
    auto document = documentFor(state);
    auto call = Json::Value { { "jsonrpc", "2.0" }, { "id", 2 }, { "method", "tools/call" },
        { "params", { { "name", "create_workflow" }, { "arguments", workflowArguments } } } }
                    .dump()
        + "\n";
    for (auto _ : state) {
        writeDocument(folder, document);
        Helper helper(folder);
        helper.exchange(initializeLine);
        auto start = Clock::now();
        auto reply = helper.exchange(call);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        if (reply.find("\"isError\":true") != std::string::npos)
            state.SkipWithError(reply.c_str());
    }
    label(state, document);
    std::filesystem::remove_all(folder);
}
BENCHMARK(createWorkflowInAFreshHelper)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->MinTime(2.0);

// The parts: the lock and the fresh read of both documents; the copy kept for the comparison and
// the comparison itself; the document's text.
void lockAndRead(benchmark::State& state)
{
    auto folder = freshFolder();
    auto document = documentFor(state);
    writeDocument(folder, document);
    // A store of its own each time: one that has read the file before would not decode it again.
    for (auto _ : state)
        benchmark::DoNotOptimize(FileAgentStore(folder).read());
    label(state, document);
    std::filesystem::remove_all(folder);
}
BENCHMARK(lockAndRead)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void copyAndCompare(benchmark::State& state)
{
    auto document = documentFor(state);
    auto workflows = *DocumentCoding<std::vector<Workflow>>::decode(*Json::parse(document));
    // Two equal lists, the longest comparison: an appended workflow ends it at the sizes.
    for (auto _ : state) {
        auto copy = workflows;
        benchmark::DoNotOptimize(copy == workflows);
    }
    label(state, document);
}
BENCHMARK(copyAndCompare)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void documentText(benchmark::State& state)
{
    auto document = documentFor(state);
    auto workflows = *DocumentCoding<std::vector<Workflow>>::decode(*Json::parse(document));
    for (auto _ : state)
        benchmark::DoNotOptimize(encodeDocument(workflows));
    label(state, document);
}
BENCHMARK(documentText)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace
