#pragma once

#include "Logic/AppModel.h"
#include "Logic/FileSearching.h"
#include "Logic/ItemDescriber.h"
#include "Logic/ItemOperations.h"
#include "Logic/LauncherView.h"
#include "Logic/WorkflowExecutor.h"
#include "Search/LauncherResults.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zeph {

// What the search field looks like when a key comes: its caret at the end with nothing selected,
// or some text selected.
struct SearchFieldState {
    bool isCaretAtEnd = true;
    bool hasSelection = false;
};

// The launcher as the user meets it: each change of the search field becomes rows at once, on the
// main thread; file searches and script filters follow asynchronously, and a `generation` raised
// by every change drops their answers once they are stale. It moves the selection, maps keys to
// commands, opens the actions list, and carries out the chosen row. Main thread only.
class LauncherController {
public:
    using Row = LauncherDisplay::Row;
    using Header = LauncherDisplay::Header;
    using ListRow = LauncherDisplay::ListRow;

    // The field editor's commands, as the panel's keys give them.
    enum class FieldCommand {
        moveUp,
        moveDown,
        pageUp,
        pageDown,
        insertNewline,
        insertTab,
        cancel,
        moveRight,
        moveLeft,
        deleteBackward,
    };
    using FieldState = SearchFieldState;

    struct Services {
        AppModel& model;
        WorkflowExecutor& workflows;
        SnippetExpander& snippets;
        TextInserter& inserter;
        DesktopServices& desktop;
        Clipboard& clipboard;
        FileSearching& files;
        LauncherView& view;
        MainLoop& loop;
        MakeScriptRunner makeScriptRunner;
        std::function<void()> openPreferences;
    };

    static constexpr MainLoop::Milliseconds scriptFilterDelay { 90 };
    static constexpr Seconds scriptFilterTimeout { 15 };
    static constexpr MainLoop::Milliseconds toastLife { 2500 };

    explicit LauncherController(Services services);
    ~LauncherController();
    LauncherController(const LauncherController&) = delete;
    LauncherController& operator=(const LauncherController&) = delete;

    // Opens the panel, with a query to start from or with what the settings keep of the last one.
    void show(std::optional<std::string> query = std::nullopt);
    void hide();
    // What the launcher's hot key does: hides a panel that has the keyboard, else shows it.
    void toggle();

    // From the panel: the field's text changed by typing; a field command; a key with Ctrl; a
    // click on a row or on an action; the panel losing the keyboard.
    void queryChanged(std::string text);
    bool doCommand(FieldCommand command, KeyCombo::Modifiers held, FieldState field = {});
    bool keyEquivalent(std::uint32_t keyCode, std::string_view characters, KeyCombo::Modifiers held,
        FieldState field = {});
    void rowClicked(int index, KeyCombo::Modifiers held);
    void actionClicked(int index);
    void resignedKey() { hide(); }

    // Carries out the row at `index` as Return with `modifier` would.
    void activate(int index, ConnectionModifier modifier);
    // The actions the row offers; empty when it offers none.
    std::vector<LauncherAction> actions(const Row& row);
    // Runs the query again and keeps the selected row when it is still there.
    void refresh();

    const LauncherDisplay& display() const { return m_display; }
    const std::string& query() const { return m_query; }
    std::optional<LauncherMode> mode() const { return m_mode; }
    int generation() const { return m_generation; }
    const std::optional<LauncherResults>& current() const { return m_current; }
    bool isActionsListOpen() const { return m_actionTarget.has_value(); }

    // The modifier of an activation from the keys held: Ctrl, then Alt, Super and Shift, one only.
    static ConnectionModifier modifier(KeyCombo::Modifiers held);

private:
    void render(LauncherResults results, bool keepSelection);
    void applyRows(std::vector<ListRow> rows, bool keepSelection);
    void startScriptFilter(WorkflowEntry entry, std::string argument, int generation);
    void showScriptFilterOutput(const WorkflowEntry& entry, const std::filesystem::path& folder,
        ScriptFilterOutput output, const std::string& argument, int generation);
    const Row* selectedRow() const;
    std::vector<int> selectableIndices() const;
    void moveSelection(int delta, bool wrap);
    void selectRow(int index);
    void setQuery(std::string text, QuerySelection selection = QuerySelection::caretAtEnd);
    void setMode(std::optional<LauncherMode> mode);
    void showActions();
    void closeActions(bool restoreQuery);
    void filterActions(std::string_view text);
    void moveActionSelection(int delta);
    void performSelectedAction();
    bool completeSelection();
    bool goUp();
    void activateWorkflow(const Row& row, ConnectionModifier modifier);
    void copyRow(const Row& row);
    void showToast(std::string text);
    void updateChrome();
    void updateDetail();
    void updateFooter();
    void publish();
    // Runs `work` later on the loop if the controller is still there.
    std::function<void()> guarded(std::function<void()> work);

    Services m_services;
    ItemDescriber m_describer;
    ItemOperations m_operations;
    LauncherDisplay m_display;
    std::string m_query;
    std::optional<LauncherResults> m_current;
    std::optional<LauncherMode> m_mode;
    int m_generation = 0;
    Variables m_scriptFilterOutputVariables;
    DelayedTask m_scriptFilterTimer;
    std::optional<MainLoop::Milliseconds> m_lastHidden;
    bool m_isHiding = false;
    std::optional<Row> m_actionTarget;
    std::vector<LauncherAction> m_allActions;
    std::string m_savedQuery;
    DelayedTask m_toastTimer;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace zeph
