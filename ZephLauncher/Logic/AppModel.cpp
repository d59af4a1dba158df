#include "Logic/AppModel.h"

#include "Clipboard/ClipboardCapture.h"
#include "Support/FileLock.h"

namespace zeph {

namespace {

using namespace std::chrono_literals;

constexpr auto clipboardSaveDelay = 1000ms;
constexpr auto documentSaveDelay = 400ms;
constexpr auto knowledgeInterval = 30'000ms;
// A burst of writes into the data folder causes one reload, this long after the last.
constexpr auto reloadDelay = 300ms;

// The learned ranking's settings: the one part of the settings that the engine reads besides the
// search settings.
struct RankingSettings {
    bool learningEnabled = true;
    std::string snippetKeyword {};
    bool operator==(const RankingSettings&) const = default;
};

RankingSettings rankingSettings(const AppSettings& settings)
{
    return { settings.learningEnabled, settings.snippets.launcherKeyword };
}

// Tells `action` of each new value that differs from the one before it.
template <typename Value, typename Derived, typename Action>
Subscription subscribeToChanges(Observable<Value>& observable, Derived derive, Action action)
{
    return observable.subscribe(
        [derive, action, last = derive(observable.get())](const Value& value) mutable {
            auto next = derive(value);
            if (next == last)
                return;
            last = next;
            action(last);
        });
}

} // namespace

AppModel::AppModel(std::filesystem::path dataFolder, MainLoop& loop, FolderWatching& folderWatching,
    std::string home, const FileNavigator::FileManager& fileManager)
    : m_dataFolder(std::move(dataFolder))
    , m_loop(loop)
    , m_settingsStore(std::string(Paths::settingsFile), m_dataFolder)
    , m_themeStore(std::string(Paths::themesFile), m_dataFolder)
    , m_snippetStore(std::string(Paths::snippetsFile), m_dataFolder)
    , m_workflowStore(std::string(Paths::workflowsFile), m_dataFolder)
    , m_knowledgeStore(std::string(Paths::knowledgeFile), m_dataFolder)
    , m_clipboardStore(std::string(Paths::clipboardFile), m_dataFolder)
    , m_loadingWorkflows(std::async(std::launch::async,
          [this] {
              auto workflows = m_workflowStore.load().value_or(std::vector<Workflow> {});
              auto prepared = SearchEngine::prepareWorkflows(workflows);
              return std::pair(std::move(workflows), std::move(prepared));
          }))
    , m_settings(m_settingsStore.load().value_or(AppSettings {}))
    , m_customThemes(m_themeStore.load().value_or(ThemeLibrary {}))
    , m_snippetCollections(m_snippetStore.load().value_or(
          std::vector<SnippetCollection> { SnippetCollection::starter() }))
    , m_clipboardHistory(m_clipboardStore.load().value_or(ClipboardHistory {}))
    , m_knowledge(m_knowledgeStore.load().value_or(KnowledgeBase::Snapshot {}))
    , m_lastSavedSnippets(m_snippetCollections.get())
    , m_writes(loop)
    , m_saveClipboard(loop)
    , m_saveSettings(loop)
    , m_saveThemes(loop)
    , m_saveSnippets(loop)
    , m_saveWorkflows(loop)
    , m_knowledgeTimer(loop)
    , m_reload(loop)
{
    auto& settings = m_settings.get();
    m_engine = std::make_unique<SearchEngine>(
        settings.search, m_knowledge, [&loop] { return loop.now(); }, std::move(home), fileManager);
    m_engine->learningEnabled = settings.learningEnabled;
    m_engine->snippetKeyword = settings.snippets.launcherKeyword;
    m_engine->setSnippets(m_snippetCollections.get());
    m_engine->setClipboard(m_clipboardHistory.get().items);
    auto [workflows, prepared] = m_loadingWorkflows.get();
    m_engine->install(std::move(prepared));
    m_lastSavedWorkflows = workflows;
    m_workflows.set(std::move(workflows));
    subscribe();
    m_folderWatch = folderWatching.watch(m_dataFolder, [this] {
        m_loop.post([this, alive = std::weak_ptr(m_reloadGeneration)] {
            if (alive.lock())
                scheduleReload();
        });
    });
    m_knowledgeTimer.start(knowledgeInterval, [this] { saveKnowledge(); });
}

AppModel::~AppModel()
{
    m_folderWatch.reset();
    m_writes.finish();
}

std::filesystem::path AppModel::clipboardImagesFolder() const
{
    return m_dataFolder / Paths::clipboardImagesFolder;
}

void AppModel::subscribe()
{
    auto later = [](DelayedTask& task, std::chrono::milliseconds delay, auto save) {
        return [&task, delay, save](const auto& value) {
            task.schedule(delay, [save, value] { save(value); });
        };
    };
    m_subscriptions.push_back(m_clipboardHistory.subscribe(
        [this](const ClipboardHistory& history) { m_engine->setClipboard(history.items); }));
    m_subscriptions.push_back(m_clipboardHistory.subscribe(
        later(m_saveClipboard, clipboardSaveDelay, [this](const ClipboardHistory& history) {
            m_writes.add([this, history] { m_clipboardStore.save(history); });
        })));
    m_subscriptions.push_back(subscribeToChanges(
        m_settings, [](const AppSettings& settings) { return settings.search; },
        [this](const SearchSettings& search) { m_engine->setSettings(search); }));
    m_subscriptions.push_back(
        subscribeToChanges(m_settings, rankingSettings, [this](const RankingSettings& ranking) {
            m_engine->learningEnabled = ranking.learningEnabled;
            m_engine->snippetKeyword = ranking.snippetKeyword;
        }));
    m_subscriptions.push_back(m_settings.subscribe(
        later(m_saveSettings, documentSaveDelay, [this](const AppSettings& settings) {
            m_writes.add([this, settings] { m_settingsStore.save(settings); });
        })));
    m_subscriptions.push_back(m_customThemes.subscribe(
        later(m_saveThemes, documentSaveDelay, [this](const ThemeLibrary& themes) {
            m_writes.add([this, themes] { m_themeStore.save(themes); });
        })));
    m_subscriptions.push_back(
        m_snippetCollections.subscribe([this](const std::vector<SnippetCollection>& collections) {
            m_engine->setSnippets(collections);
        }));
    m_subscriptions.push_back(m_snippetCollections.subscribe(later(m_saveSnippets,
        documentSaveDelay, [this](const std::vector<SnippetCollection>& collections) {
            // Known to the file before it is written, so that the write's echo changes nothing.
            m_lastSavedSnippets = collections;
            saveLocked(m_snippetStore, collections);
        })));
    m_subscriptions.push_back(m_workflows.subscribe(
        [this](const std::vector<Workflow>& workflows) { m_engine->setWorkflows(workflows); }));
    m_subscriptions.push_back(m_workflows.subscribe(
        later(m_saveWorkflows, documentSaveDelay, [this](const std::vector<Workflow>& workflows) {
            m_lastSavedWorkflows = workflows;
            saveLocked(m_workflowStore, workflows);
        })));
}

template <typename Document>
void AppModel::saveLocked(JSONFileStore<Document>& store, Document value)
{
    // Agents and the command line change these two under the lock; so does the application.
    m_writes.add([this, &store, value = std::move(value)] {
        auto lock = FileLock::acquire(m_dataFolder / Paths::agentLockFile);
        store.save(value);
    });
}

void AppModel::writeNow(std::string_view fileName)
{
    if (fileName == Paths::settingsFile) {
        m_saveSettings.cancel();
        m_writes.add([this, settings = m_settings.get()] { m_settingsStore.save(settings); });
    } else if (fileName == Paths::themesFile) {
        m_saveThemes.cancel();
        m_writes.add([this, themes = m_customThemes.get()] { m_themeStore.save(themes); });
    } else if (fileName == Paths::clipboardFile) {
        m_saveClipboard.cancel();
        m_writes.add([this, history = m_clipboardHistory.get()] { m_clipboardStore.save(history); });
    } else if (fileName == Paths::knowledgeFile) {
        saveKnowledge();
    }
}

void AppModel::saveKnowledge()
{
    if (!m_knowledge.isDirty())
        return;
    auto snapshot = m_knowledge.snapshot();
    m_knowledge.markClean();
    m_writes.add([this, snapshot = std::move(snapshot)] { m_knowledgeStore.save(snapshot); });
}

void AppModel::scheduleReload()
{
    m_reload.schedule(reloadDelay, [this] { reload(); });
}

void AppModel::reload()
{
    // Read through readers that share nothing with the model's stores, so that what is read is
    // what the disk holds; off the main thread, as a large document takes a while to decode.
    auto generation = ++*m_reloadGeneration;
    std::weak_ptr<int> alive = m_reloadGeneration;
    m_loop.runInBackground([this, &loop = m_loop, generation, alive, folder = m_dataFolder] {
        auto workflows
            = peekDocument<std::vector<Workflow>>(folder, std::string(Paths::workflowsFile));
        auto snippets = peekDocument<std::vector<SnippetCollection>>(
            folder, std::string(Paths::snippetsFile));
        loop.post([this, generation, alive, workflows = std::move(workflows),
                      snippets = std::move(snippets)]() mutable {
            auto current = alive.lock();
            if (!current || *current != generation)
                return;
            // A file that cannot be read or decoded changes nothing; the application's own write
            // coming back, or what is shown already, neither.
            if (workflows && *workflows && **workflows != m_lastSavedWorkflows
                && **workflows != m_workflows.get()) {
                m_lastSavedWorkflows = **workflows;
                m_workflows.set(std::move(**workflows));
            }
            if (snippets && *snippets && **snippets != m_lastSavedSnippets
                && **snippets != m_snippetCollections.get()) {
                m_lastSavedSnippets = **snippets;
                m_snippetCollections.set(std::move(**snippets));
            }
        });
    });
}

void AppModel::addClipboardItem(ClipboardItem item)
{
    auto history = m_clipboardHistory.get();
    auto removed = history.add(std::move(item), m_settings.get().clipboard.maxItems);
    ClipboardCapture::deleteImageFiles(removed, clipboardImagesFolder());
    m_clipboardHistory.set(std::move(history));
}

void AppModel::pruneClipboard()
{
    auto history = m_clipboardHistory.get();
    auto removed = history.prune(m_settings.get().clipboard, m_loop.now());
    if (removed.empty())
        return;
    ClipboardCapture::deleteImageFiles(removed, clipboardImagesFolder());
    m_clipboardHistory.set(std::move(history));
}

bool AppModel::removeClipboardItem(std::string_view id)
{
    auto history = m_clipboardHistory.get();
    auto removed = history.remove(id);
    if (!removed)
        return false;
    ClipboardCapture::deleteImageFiles({ *removed }, clipboardImagesFolder());
    m_clipboardHistory.set(std::move(history));
    return true;
}

void AppModel::saveAll()
{
    for (auto* pending :
        { &m_saveClipboard, &m_saveSettings, &m_saveThemes, &m_saveSnippets, &m_saveWorkflows })
        pending->cancel();
    m_writes.finish();
    m_settingsStore.save(m_settings.get());
    m_themeStore.save(m_customThemes.get());
    m_lastSavedSnippets = m_snippetCollections.get();
    m_lastSavedWorkflows = m_workflows.get();
    {
        auto lock = FileLock::acquire(m_dataFolder / Paths::agentLockFile);
        m_snippetStore.save(m_lastSavedSnippets);
        m_workflowStore.save(m_lastSavedWorkflows);
    }
    m_clipboardStore.save(m_clipboardHistory.get());
    if (m_knowledge.isDirty()) {
        m_knowledgeStore.save(m_knowledge.snapshot());
        m_knowledge.markClean();
    }
}

} // namespace zeph
