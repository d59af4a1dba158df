#pragma once

#include "Clipboard/ClipboardHistory.h"
#include "Logic/FolderWatching.h"
#include "Logic/MainLoop.h"
#include "Logic/Observable.h"
#include "Logic/SerialQueue.h"
#include "Search/SearchEngine.h"
#include "Snippets/Snippet.h"
#include "Storage/AppSettings.h"
#include "Storage/JSONFileStore.h"
#include "Storage/Theme.h"
#include "Workflows/Workflow.h"

#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zeph {

// The application's central state: the documents of the data folder, loaded at start, fed to the
// search engine at once on every change, and saved a little later, off the main thread. It follows
// "workflows.json" and "snippets.json" when another process (an agent through zeph-mcp, the command
// line) changes them, and takes ".agent.lock" while it writes those two. Main thread only.
class AppModel {
public:
    AppModel(std::filesystem::path dataFolder, MainLoop& loop, FolderWatching& folderWatching,
        std::string home,
        const FileNavigator::FileManager& fileManager = FileNavigator::systemFileManager());
    ~AppModel();
    AppModel(const AppModel&) = delete;
    AppModel& operator=(const AppModel&) = delete;

    Observable<AppSettings>& settings() { return m_settings; }
    Observable<ThemeLibrary>& customThemes() { return m_customThemes; }
    Observable<std::vector<SnippetCollection>>& snippetCollections()
    {
        return m_snippetCollections;
    }
    Observable<std::vector<Workflow>>& workflows() { return m_workflows; }
    Observable<ClipboardHistory>& clipboardHistory() { return m_clipboardHistory; }
    Observable<bool>& accessibilityTrusted() { return m_accessibilityTrusted; }
    Observable<int>& indexedApplicationCount() { return m_indexedApplicationCount; }

    KnowledgeBase& knowledge() { return m_knowledge; }
    SearchEngine& engine() { return *m_engine; }
    const std::filesystem::path& dataFolder() const { return m_dataFolder; }
    // Where the clipboard's images are kept.
    std::filesystem::path clipboardImagesFolder() const;

    // A new copy on top of the history, within its limit; the image files of what fell out go.
    void addClipboardItem(ClipboardItem item);
    // Ages out what the settings say is too old, as the hourly prune does.
    void pruneClipboard();
    // Removes one entry and its image file; false for an unknown id.
    bool removeClipboardItem(std::string_view id);

    // Writes the settings, themes, clipboard history or learned ranking now rather than after its
    // debounce, as a change from the command line asks; other names do nothing.
    void writeNow(std::string_view fileName);

    // At termination: every document written now, on this thread, and the learned ranking if it
    // changed.
    void saveAll();

private:
    void subscribe();
    void saveKnowledge();
    void scheduleReload();
    void reload();
    template <typename Document> void saveLocked(JSONFileStore<Document>& store, Document value);

    std::filesystem::path m_dataFolder;
    MainLoop& m_loop;
    // In the order of the files' creation.
    JSONFileStore<AppSettings> m_settingsStore;
    JSONFileStore<ThemeLibrary> m_themeStore;
    JSONFileStore<std::vector<SnippetCollection>> m_snippetStore;
    JSONFileStore<std::vector<Workflow>> m_workflowStore;
    JSONFileStore<KnowledgeBase::Snapshot> m_knowledgeStore;
    JSONFileStore<ClipboardHistory> m_clipboardStore;
    // The largest document, read and prepared on a thread of its own while the main thread reads
    // the others.
    std::future<std::pair<std::vector<Workflow>, PreparedWorkflows>> m_loadingWorkflows;

    Observable<AppSettings> m_settings;
    Observable<ThemeLibrary> m_customThemes;
    Observable<std::vector<SnippetCollection>> m_snippetCollections;
    Observable<std::vector<Workflow>> m_workflows;
    Observable<ClipboardHistory> m_clipboardHistory;
    Observable<bool> m_accessibilityTrusted { false };
    Observable<int> m_indexedApplicationCount { 0 };

    KnowledgeBase m_knowledge;
    std::unique_ptr<SearchEngine> m_engine;
    std::vector<Workflow> m_lastSavedWorkflows;
    std::vector<SnippetCollection> m_lastSavedSnippets;

    SerialQueue m_writes;
    std::vector<Subscription> m_subscriptions;
    DelayedTask m_saveClipboard;
    DelayedTask m_saveSettings;
    DelayedTask m_saveThemes;
    DelayedTask m_saveSnippets;
    DelayedTask m_saveWorkflows;
    RepeatingTask m_knowledgeTimer;
    std::optional<Subscription> m_folderWatch;
    DelayedTask m_reload;
    // Raised by each reload, so that a slow read is dropped once a newer one starts.
    std::shared_ptr<int> m_reloadGeneration = std::make_shared<int>(0);
};

} // namespace zeph
