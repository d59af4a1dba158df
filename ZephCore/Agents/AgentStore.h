#pragma once

#include "Snippets/Snippet.h"
#include "Support/Result.h"
#include "Workflows/Workflow.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace zeph {

// The two documents that agents read and change.
struct AgentDocuments {
    std::vector<Workflow> workflows {};
    std::vector<SnippetCollection> snippets {};
    bool operator==(const AgentDocuments&) const = default;
};

// Where the agent tools keep workflows and snippets, so that they never need to know whether a file
// or a test's memory stands behind them.
class AgentStore {
public:
    // Changes the documents in place; an error stops the change, and nothing of it is kept.
    using Change = std::function<std::optional<Error>(AgentDocuments&)>;

    virtual ~AgentStore() = default;
    // Runs `change` on the current documents as one transaction and keeps what it did. Returns the
    // change's own error, or the failure to save what it did.
    virtual std::optional<Error> mutate(const Change& change) = 0;
    // The current documents.
    virtual AgentDocuments read() = 0;
    // The folder where the scripts of the workflow run, created if missing.
    virtual std::filesystem::path workflowDirectory(std::string_view workflowID) = 0;
    // The folder that holds every workflow's folder, as agents are told of it; nothing is created.
    virtual std::filesystem::path workflowsFolder() const = 0;
};

// One transaction whose change computes a value: `change` takes the documents and returns a
// Result<T>, whose error stops the change.
template <typename T, typename Change> Result<T> transact(AgentStore& store, Change&& change)
{
    std::optional<T> value;
    auto error = store.mutate([&](AgentDocuments& documents) -> std::optional<Error> {
        Result<T> result = change(documents);
        if (!result)
            return result.error();
        value = std::move(*result);
        return std::nullopt;
    });
    if (error)
        return *error;
    return std::move(*value);
}

// The documents in memory, for tests and for the fuzzer: nothing touches a file.
class MemoryAgentStore final : public AgentStore {
public:
    explicit MemoryAgentStore(AgentDocuments documents = {});

    std::optional<Error> mutate(const Change& change) override;
    AgentDocuments read() override { return m_documents; }
    // The temporary folder, for every workflow.
    std::filesystem::path workflowDirectory(std::string_view workflowID) override;
    std::filesystem::path workflowsFolder() const override;

    const AgentDocuments& documents() const { return m_documents; }

private:
    AgentDocuments m_documents;
};

} // namespace zeph
