#pragma once

#include "Agents/AgentStore.h"
#include "Storage/JSONFileStore.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace zeph {

// The documents in the data folder, shared with the launcher and with other agent helpers. Every
// change is a short transaction on a fresh read under the folder's ".agent.lock", so no helper
// works from a stale copy and none loses another's change. Between calls the stores keep what they
// last read or wrote, so that a file nobody else has changed since is not decoded again.
class FileAgentStore final : public AgentStore {
public:
    // Hears of what the user should know but the agent need not: a document that could not be
    // decoded and was moved aside.
    using Report = std::function<void(const std::string&)>;

    // Works in `directory`, else in the data folder.
    explicit FileAgentStore(std::optional<std::filesystem::path> directory = std::nullopt,
        Report report = {}, FileWriting& writer = atomicFileWriter());

    // Takes the lock (waiting as long as it takes, or going on without it when the lock file
    // cannot be opened), reads both documents, runs `change`, and writes each document that
    // changed, atomically. A missing document starts as the launcher's first-start content.
    std::optional<Error> mutate(const Change& change) override;
    // Under the lock too, for a reader may have to move an undecodable document aside.
    AgentDocuments read() override;
    std::filesystem::path workflowDirectory(std::string_view workflowID) override;
    std::filesystem::path workflowsFolder() const override;

    const std::filesystem::path& directory() const { return m_directory; }
    std::filesystem::path lockURL() const;

private:
    std::filesystem::path m_directory;
    Report m_report;
    JSONFileStore<std::vector<Workflow>> m_workflowStore;
    JSONFileStore<std::vector<SnippetCollection>> m_snippetStore;
};

} // namespace zeph
