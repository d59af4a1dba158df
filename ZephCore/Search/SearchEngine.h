#pragma once

#include "Clipboard/ClipboardItem.h"
#include "Search/FileNavigator.h"
#include "Search/KnowledgeBase.h"
#include "Search/QueryParser.h"
#include "Search/Ranker.h"
#include "Snippets/Snippet.h"
#include "Storage/AppSettings.h"
#include "Workflows/WorkflowLibrary.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace zeph {

// A clipboard entry with its launcher row.
struct IndexedClipboardItem {
    ClipboardItem item {};
    IndexedItem indexed {};
};

// The answer to one search.
struct SearchResponse {
    // The launcher runs the entry's script filter with the argument; there are no results.
    struct ScriptFilter {
        WorkflowEntry entry {};
        std::string argument {};
        bool operator==(const ScriptFilter&) const = default;
    };
    // The results are the entry's list, filtered by the argument.
    struct ListFilter {
        WorkflowEntry entry {};
        std::string argument {};
        bool operator==(const ListFilter&) const = default;
    };
    // The results are a directory listing.
    struct Navigation {
        NavigationQuery query {};
        bool operator==(const Navigation&) const = default;
    };
    using Special = std::variant<ScriptFilter, ListFilter, Navigation, std::monostate>;

    ParsedQuery query {};
    std::vector<RankedResult> results {};
    bool wantsFiles = false;
    Special special = std::monostate {};
};

Json::Value toJSON(const SearchResponse::Special& special);

// The indexes of the workflows, of the snippets and of the clipboard, as built from their
// documents. Building takes a while for large documents, so it may run on any thread; installing
// is a move on the engine's thread, and a keystroke never waits for a rebuild.
struct PreparedWorkflows {
    std::map<std::string, Workflow, std::less<>> workflows {};
    std::vector<WorkflowEntry> entries {};
    std::vector<IndexedItem> items {};
};
// The snippets of one collection: a run of the prepared items, which keep collection order.
struct SnippetGroup {
    std::string name {};
    std::size_t begin = 0;
    std::size_t end = 0;
};
struct PreparedSnippets {
    std::vector<IndexedItem> items {};
    std::vector<SnippetGroup> groups {};
};
struct PreparedClipboard {
    std::vector<ClipboardItem> items {};
    std::vector<IndexedClipboardItem> indexed {};
};

// Everything searchable, prepared, and the one question: what should the launcher show for this
// text? It reads no files; navigation asks the file manager it was given. Not thread-safe: one
// thread owns it (the knowledge base locks itself).
class SearchEngine {
public:
    using Clock = std::function<Date()>;

    SearchEngine(SearchSettings settings, KnowledgeBase& knowledge, Clock clock = {},
        std::string home = {},
        const FileNavigator::FileManager& fileManager = FileNavigator::systemFileManager());
    SearchEngine(const SearchEngine&) = delete;
    SearchEngine& operator=(const SearchEngine&) = delete;

    // Preparing, safe on any thread.
    static std::vector<IndexedItem> prepareItems(std::vector<SearchItem> items);
    static PreparedWorkflows prepareWorkflows(std::vector<Workflow> workflows);
    static PreparedSnippets prepareSnippets(const std::vector<SnippetCollection>& collections);
    static PreparedClipboard prepareClipboard(std::vector<ClipboardItem> items);

    // Installing, on the engine's thread.
    void installApplications(std::vector<IndexedItem> items) { m_applications = std::move(items); }
    void installSystemSettings(std::vector<IndexedItem> items)
    {
        m_systemSettings = std::move(items);
    }
    void install(PreparedWorkflows prepared);
    void install(PreparedSnippets prepared);
    void install(PreparedClipboard prepared);

    // Both steps at once, for callers that have the time.
    void setApplications(std::vector<SearchItem> items);
    void setSystemSettings(std::vector<SearchItem> items);
    void setWorkflows(std::vector<Workflow> workflows);
    void setSnippets(const std::vector<SnippetCollection>& collections);
    void setClipboard(std::vector<ClipboardItem> items);
    void setSettings(SearchSettings settings);

    SearchResponse search(std::string_view text) const;
    std::vector<RankedResult> snippetResults(std::string_view query, int limit) const;
    std::vector<RankedResult> filterItems(
        std::vector<SearchItem> items, std::string_view query, std::optional<int> limit = {}) const;
    void recordPick(const SearchItem& item, std::string_view rawQuery);
    static std::optional<std::pair<std::string, std::string>> workflowTarget(
        std::string_view itemID);
    const Workflow* workflow(std::string_view id) const;
    std::vector<RankedResult> mergeFiles(
        std::vector<SearchItem> items, const SearchResponse& response) const;
    std::vector<RankedResult> fallbackResults(std::string_view term) const;

    // Whether a keyword owner (snippets, a web search, a workflow) answers this query alone.
    bool isOwnedByKeyword(const ParsedQuery& query) const;
    // The learned boosts for a term, or none when learning is off.
    Boosts boosts(std::string_view term) const;
    // The web rows whose keyword or name is typed nearly whole.
    std::vector<RankedResult> webMatches(const QueryText& query, const Boosts& boosts) const;

    const SearchSettings& settings() const { return m_settings; }
    KnowledgeBase& knowledge() const { return m_knowledge; }
    Date now() const { return m_clock(); }
    int limit() const;
    const std::string& home() const { return m_home; }
    const FileNavigator::FileManager& fileManager() const { return m_fileManager; }
    const std::vector<IndexedItem>& applications() const { return m_applications; }
    const std::vector<IndexedItem>& systemSettings() const { return m_systemSettings; }
    const std::vector<IndexedItem>& commands() const { return m_commands; }
    const std::vector<IndexedItem>& workflowItems() const { return m_workflows.items; }
    const std::vector<WorkflowEntry>& workflowEntries() const { return m_workflows.entries; }
    const std::vector<IndexedItem>& snippetItems() const { return m_snippets.items; }
    const std::vector<SnippetGroup>& snippetGroups() const { return m_snippets.groups; }
    std::span<const IndexedItem> snippetItems(const SnippetGroup& group) const
    {
        return std::span(m_snippets.items).subspan(group.begin, group.end - group.begin);
    }
    const std::vector<IndexedItem>& webSearchItems() const { return m_webSearchItems; }
    const std::vector<ClipboardItem>& clipboard() const { return m_clipboard.items; }
    const std::vector<IndexedClipboardItem>& clipboardItems() const { return m_clipboard.indexed; }

    bool learningEnabled = true;
    Ranker ranker {};
    std::string snippetKeyword = "snip";

private:
    SearchResponse workflowResponse(
        const WorkflowEntry& entry, const std::string& argument, ParsedQuery parsed) const;
    const WebSearch* webSearchOwning(const ParsedQuery& query) const;
    const WorkflowEntry* workflowEntryOwning(const ParsedQuery& query) const;

    SearchSettings m_settings;
    KnowledgeBase& m_knowledge;
    Clock m_clock;
    std::string m_home;
    const FileNavigator::FileManager& m_fileManager;
    std::vector<IndexedItem> m_applications;
    std::vector<IndexedItem> m_systemSettings;
    std::vector<IndexedItem> m_commands;
    PreparedWorkflows m_workflows;
    PreparedSnippets m_snippets;
    std::vector<IndexedItem> m_webSearchItems;
    PreparedClipboard m_clipboard;
};

// A row with the fixed scores of an answer that is not ranked: keyword owners, calculator.
RankedResult fixedResult(SearchItem item);

} // namespace zeph
