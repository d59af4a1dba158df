#include "Agents/FileAgentStore.h"
#include "Agents/ProcessScriptRunnerOverride.h"
#include "Support/FakeFileWriter.h"
#include "Support/FileLock.h"
#include "Support/StubScriptRunner.h"
#include "Support/TemporaryDirectory.h"
#include "Workflows/ProcessScriptRunner.h"
#include "Workflows/WorkflowTemplate.h"

#include <atomic>
#include <fstream>
#include <future>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;

void writeFile(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// The inode and modification time, which change whenever the file is replaced.
std::pair<ino_t, std::int64_t> identity(const std::filesystem::path& path)
{
    struct stat status { };
    stat(path.c_str(), &status);
    return { status.st_ino, status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec };
}

Workflow agentWorkflow(std::string id)
{
    return { .id = std::move(id),
        .name = "Agent's",
        .isEnabled = false,
        .nodes = { { .id = "k", .kind = NodeKind::Keyword { .keyword = "a" } } },
        .createdByAgent = true,
        .pendingReview = true };
}

AgentStore::Change appending(Workflow workflow)
{
    return [workflow](AgentDocuments& documents) -> std::optional<Error> {
        documents.workflows.push_back(workflow);
        return std::nullopt;
    };
}

std::vector<std::string> workflowIDs(const AgentDocuments& documents)
{
    std::vector<std::string> ids;
    for (auto& workflow : documents.workflows)
        ids.push_back(workflow.id);
    return ids;
}

const std::vector<std::string> exampleIDs {
    "example-uuid",
    "example-github",
    "example-vscode",
    "example-downloads",
};

} // namespace

TEST(FileAgentStore, WithoutDocumentsReadsWhatTheLauncherShowsOnItsFirstStart)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder.path());
    auto documents = store.read();
    EXPECT_EQ(documents.workflows, WorkflowTemplate::examples());
    EXPECT_EQ(documents.snippets, std::vector { SnippetCollection::starter() });
    EXPECT_FALSE(std::filesystem::exists(folder / "workflows.json"));
    EXPECT_FALSE(std::filesystem::exists(folder / "snippets.json"));
    EXPECT_EQ(store.lockURL(), folder / ".agent.lock");
}

TEST(FileAgentStore, WritesOnlyTheDocumentThatChanged)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder.path());
    ASSERT_EQ(store.mutate(appending(agentWorkflow("mine"))), std::nullopt);
    // The first change keeps the examples that stood in for the missing document.
    auto expected = exampleIDs;
    expected.push_back("mine");
    EXPECT_EQ(workflowIDs(store.read()), expected);
    EXPECT_FALSE(std::filesystem::exists(folder / "snippets.json"));

    auto before = identity(folder / "workflows.json");
    EXPECT_EQ(store.mutate([](AgentDocuments& documents) -> std::optional<Error> {
        documents.snippets[0].snippets[0].name = "Renamed";
        return std::nullopt;
    }),
        std::nullopt);
    EXPECT_EQ(identity(folder / "workflows.json"), before);
    EXPECT_EQ(store.read().snippets[0].snippets[0].name, "Renamed");

    // A change that changes nothing writes nothing.
    auto snippetsBefore = identity(folder / "snippets.json");
    EXPECT_EQ(store.mutate([](AgentDocuments& documents) -> std::optional<Error> {
        documents.workflows[0].name += "";
        return std::nullopt;
    }),
        std::nullopt);
    EXPECT_EQ(identity(folder / "workflows.json"), before);
    EXPECT_EQ(identity(folder / "snippets.json"), snippetsBefore);
}

TEST(FileAgentStore, AChangeThatFailsOrCannotBeSavedLeavesTheFilesAsTheyWere)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder.path());
    ASSERT_EQ(store.mutate(appending(agentWorkflow("first"))), std::nullopt);
    auto saved = readFile(folder / "workflows.json");

    auto error = store.mutate([](AgentDocuments& documents) -> std::optional<Error> {
        documents.workflows.clear();
        documents.snippets.clear();
        return Error { "No workflow with id \"x\"." };
    });
    EXPECT_EQ(error, Error { "No workflow with id \"x\"." });
    EXPECT_EQ(readFile(folder / "workflows.json"), saved);
    EXPECT_FALSE(std::filesystem::exists(folder / "snippets.json"));

    // A full disk is the caller's to hear of; the lock goes all the same.
    FakeFileWriter failing;
    FileAgentStore full(folder.path(), {}, failing);
    error = full.mutate(appending(agentWorkflow("second")));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message,
        "Could not write " + (folder / "workflows.json").string() + ": No space left on device.");
    EXPECT_EQ(readFile(folder / "workflows.json"), saved);
    EXPECT_EQ(store.mutate(appending(agentWorkflow("third"))), std::nullopt);
    EXPECT_EQ(workflowIDs(store.read()).back(), "third");
}

TEST(FileAgentStore, AHelperThatDiesMidTransactionLeavesTheOldDocumentAndTheLock)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder.path());
    ASSERT_EQ(store.mutate(appending(agentWorkflow("kept"))), std::nullopt);
    auto saved = readFile(folder / "workflows.json");

    pid_t child = fork();
    if (child == 0) {
        FileAgentStore dying(folder.path());
        auto ignored = dying.mutate([](AgentDocuments& documents) -> std::optional<Error> {
            documents.workflows.clear();
            _exit(3); // As a kill in the middle of the change would.
        });
        (void)ignored;
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(readFile(folder / "workflows.json"), saved);
    // The lock died with the process.
    EXPECT_EQ(store.mutate(appending(agentWorkflow("after"))), std::nullopt);
    EXPECT_EQ(workflowIDs(store.read()).size(), 6u);
}

TEST(FileAgentStore, ATransactionWaitsForTheLockHolder)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder.path());
    auto held = FileLock::acquire(store.lockURL());
    ASSERT_TRUE(held);
    std::atomic<bool> isDone = false;
    auto change = std::async(std::launch::async, [&] {
        auto error = store.mutate(appending(agentWorkflow("waited")));
        isDone = true;
        return error;
    });
    std::this_thread::sleep_for(150ms);
    EXPECT_FALSE(isDone);
    EXPECT_FALSE(std::filesystem::exists(folder / "workflows.json"));
    // What the holder writes meanwhile is what the waiting transaction starts from.
    auto workflows = WorkflowTemplate::examples();
    workflows.push_back(agentWorkflow("holder"));
    writeFile(folder / "workflows.json",
        *Json::documentText(DocumentCoding<std::vector<Workflow>>::encode(workflows)));
    held = Error {};
    EXPECT_EQ(change.get(), std::nullopt);
    auto ids = workflowIDs(store.read());
    ASSERT_EQ(ids.size(), 6u);
    EXPECT_EQ(ids[4], "holder");
    EXPECT_EQ(ids[5], "waited");
}

TEST(FileAgentStore, ALockThatCannotBeHadStopsNothing)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder.path());
    // Removing the lock file between transactions changes nothing.
    ASSERT_EQ(store.mutate(appending(agentWorkflow("one"))), std::nullopt);
    std::filesystem::remove(store.lockURL());
    ASSERT_EQ(store.mutate(appending(agentWorkflow("two"))), std::nullopt);
    // A folder in the lock file's place cannot be opened as a file.
    std::filesystem::remove(store.lockURL());
    std::filesystem::create_directory(store.lockURL());
    ASSERT_EQ(store.mutate(appending(agentWorkflow("three"))), std::nullopt);
    auto ids = workflowIDs(store.read());
    EXPECT_EQ(std::vector<std::string>(ids.end() - 3, ids.end()),
        (std::vector<std::string> { "one", "two", "three" }));
}

TEST(FileAgentStore, AnUndecodableDocumentIsSetAsideAndTheStandInIsUsed)
{
    TemporaryDirectory folder;
    std::vector<std::string> reports;
    FileAgentStore store(
        folder.path(), [&](const std::string& report) { reports.push_back(report); });
    writeFile(folder / "workflows.json", "[{\"name\": 5}]");
    writeFile(folder / "snippets.json", "{");

    auto documents = store.read();
    EXPECT_EQ(documents.workflows, WorkflowTemplate::examples());
    EXPECT_EQ(documents.snippets, std::vector { SnippetCollection::starter() });
    // Nothing the user saved is lost: the bad bytes wait beside the document.
    EXPECT_EQ(readFile(folder / "workflows.json.corrupt"), "[{\"name\": 5}]");
    EXPECT_EQ(readFile(folder / "snippets.json.corrupt"), "{");
    EXPECT_EQ(reports,
        (std::vector<std::string> {
            "workflows.json is not valid: workflow 1: \"name\" must be a string. It was moved "
            "aside to workflows.json.corrupt, and the example workflows stood in for it.",
            "snippets.json is not valid JSON. It was moved aside to snippets.json.corrupt, and the "
            "starter snippets stood in for it." }));

    ASSERT_EQ(store.mutate(appending(agentWorkflow("new"))), std::nullopt);
    EXPECT_EQ(workflowIDs(store.read()).size(), 5u);
    EXPECT_EQ(readFile(folder / "workflows.json.corrupt"), "[{\"name\": 5}]");
    EXPECT_EQ(reports.size(), 2u);
}

TEST(FileAgentStore, WorkflowFoldersLieInTheDataFolder)
{
    TemporaryDirectory folder;
    FileAgentStore store(folder / "data");
    EXPECT_EQ(store.workflowsFolder(), folder / "data" / "Workflows");
    EXPECT_FALSE(std::filesystem::exists(store.workflowsFolder()));
    auto directory = store.workflowDirectory("W1");
    EXPECT_EQ(directory, folder / "data" / "Workflows" / "W1");
    EXPECT_TRUE(std::filesystem::is_directory(directory));
    EXPECT_EQ(store.workflowDirectory("../x"), folder / "data" / "Workflows" / "%2E%2E%2Fx");
}

TEST(MemoryAgentStore, KeepsOnlyChangesThatSucceed)
{
    MemoryAgentStore store({ .workflows = { agentWorkflow("a") } });
    EXPECT_EQ(store.mutate([](AgentDocuments& documents) -> std::optional<Error> {
        documents.workflows.clear();
        return Error { "Stop." };
    }),
        Error { "Stop." });
    EXPECT_EQ(workflowIDs(store.read()), std::vector<std::string> { "a" });

    auto name = transact<std::string>(store, [](AgentDocuments& documents) -> Result<std::string> {
        documents.workflows.push_back(agentWorkflow("b"));
        return documents.workflows.front().name;
    });
    ASSERT_TRUE(name);
    EXPECT_EQ(*name, "Agent's");
    EXPECT_EQ(workflowIDs(store.documents()), (std::vector<std::string> { "a", "b" }));
    auto failed
        = transact<int>(store, [](AgentDocuments&) -> Result<int> { return Error { "No." }; });
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().message, "No.");
    EXPECT_EQ(store.workflowDirectory("a"), std::filesystem::temp_directory_path());
}

TEST(ProcessScriptRunnerOverride, RunsProcessesInTheGivenFolderAndLeavesOtherRunnersAlone)
{
    TemporaryDirectory folder;
    ProcessScriptRunner processes;
    ProcessScriptRunnerOverride inFolder(processes, folder.path());
    auto result = inFolder.run(ScriptLanguage::bash, "pwd; printf %s \"$1\"", "q", {}, 10s);
    EXPECT_EQ(result.stdoutText(), folder.path().string() + "\nq");

    StubScriptRunner stub;
    ProcessScriptRunnerOverride overStub(stub, folder.path());
    EXPECT_EQ(
        overStub.run(ScriptLanguage::perl, "p", "query", { { "v", "1" } }, 2s).stdout, "query");
    ASSERT_EQ(stub.calls().size(), 1u);
    EXPECT_EQ(stub.calls()[0],
        (StubScriptRunner::Call { ScriptLanguage::perl, "p", "query", { { "v", "1" } }, 2s }));
}

} // namespace zeph
