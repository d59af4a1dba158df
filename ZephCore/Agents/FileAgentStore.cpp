#include "Agents/FileAgentStore.h"

#include "Support/FileLock.h"
#include "Workflows/WorkflowTemplate.h"

namespace zeph {

namespace {

using Workflows = std::vector<Workflow>;
using Collections = std::vector<SnippetCollection>;

// The document, or what the launcher shows on its first start when there is none. An undecodable
// one has been moved aside by the store, which the report tells.
template <typename Document>
Document loaded(JSONFileStore<Document>& store, Document fallback,
    const FileAgentStore::Report& report, std::string_view meanwhile)
{
    auto document = store.reload();
    if (auto error = store.lastError(); error && report)
        report(error->message + " It was moved aside to " + store.fileURL().filename().string()
            + std::string(Paths::corruptExtension) + ", and " + std::string(meanwhile));
    return document ? std::move(*document) : std::move(fallback);
}

// The lock, then both documents read afresh; the lock goes when the transaction does.
struct Transaction {
    Transaction(const std::filesystem::path& directory, const FileAgentStore::Report& report,
        JSONFileStore<Workflows>& workflows, JSONFileStore<Collections>& snippets)
        // A lock that cannot be had never stops an agent: the transaction goes on without it.
        : lock(FileLock::acquire(directory / Paths::agentLockFile))
        , workflowStore(workflows)
        , snippetStore(snippets)
        , documents {
            .workflows = loaded(workflowStore, WorkflowTemplate::examples(), report,
                "the example workflows stood in for it."),
            .snippets = loaded(snippetStore, Collections { SnippetCollection::starter() }, report,
                "the starter snippets stood in for it."),
        }
    {
    }

    Result<FileLock> lock;
    JSONFileStore<Workflows>& workflowStore;
    JSONFileStore<Collections>& snippetStore;
    AgentDocuments documents;
};

} // namespace

FileAgentStore::FileAgentStore(
    std::optional<std::filesystem::path> directory, Report report, FileWriting& writer)
    : m_directory(directory ? std::move(*directory) : Paths::supportDirectory())
    , m_report(std::move(report))
    , m_workflowStore(std::string(Paths::workflowsFile), m_directory, writer)
    , m_snippetStore(std::string(Paths::snippetsFile), m_directory, writer)
{
    std::error_code ignored;
    std::filesystem::create_directories(m_directory, ignored);
}

std::filesystem::path FileAgentStore::lockURL() const
{
    return m_directory / Paths::agentLockFile;
}

std::optional<Error> FileAgentStore::mutate(const Change& change)
{
    Transaction transaction(m_directory, m_report, m_workflowStore, m_snippetStore);
    auto& documents = transaction.documents;
    auto original = documents;
    if (auto error = change(documents))
        return error;
    // Only a document that changed is written, so that adding a workflow leaves the snippets alone.
    if (documents.workflows != original.workflows) {
        transaction.workflowStore.save(documents.workflows);
        if (auto error = transaction.workflowStore.lastError())
            return error;
    }
    if (documents.snippets != original.snippets) {
        transaction.snippetStore.save(documents.snippets);
        if (auto error = transaction.snippetStore.lastError())
            return error;
    }
    return std::nullopt;
}

AgentDocuments FileAgentStore::read()
{
    return std::move(Transaction(m_directory, m_report, m_workflowStore, m_snippetStore).documents);
}

std::filesystem::path FileAgentStore::workflowDirectory(std::string_view workflowID)
{
    return Paths::workflowDirectory(m_directory, workflowID);
}

std::filesystem::path FileAgentStore::workflowsFolder() const
{
    return m_directory / Paths::workflowsFolder;
}

} // namespace zeph
