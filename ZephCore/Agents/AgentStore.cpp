#include "Agents/AgentStore.h"

namespace zeph {

MemoryAgentStore::MemoryAgentStore(AgentDocuments documents)
    : m_documents(std::move(documents))
{
}

std::optional<Error> MemoryAgentStore::mutate(const Change& change)
{
    // On a copy, so that a change that fails half-way leaves nothing behind, as on disk.
    auto documents = m_documents;
    if (auto error = change(documents))
        return error;
    m_documents = std::move(documents);
    return std::nullopt;
}

std::filesystem::path MemoryAgentStore::workflowDirectory(std::string_view)
{
    return workflowsFolder();
}

std::filesystem::path MemoryAgentStore::workflowsFolder() const
{
    std::error_code error;
    auto folder = std::filesystem::temp_directory_path(error);
    return error ? std::filesystem::path("/tmp") : folder;
}

} // namespace zeph
