#include "Logic/LauncherController.h"

#include "Search/FileNavigator.h"
#include "Search/SystemCommand.h"
#include "Storage/Paths.h"
#include "Support/Overloaded.h"
#include "Support/Text.h"

#include <algorithm>
#include <sys/stat.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;

// The keys as the footer and the actions list name them, in Linux words.
namespace Keys {
constexpr const char* enter = "Enter";
constexpr const char* ctrlEnter = "Ctrl+Enter";
constexpr const char* shiftEnter = "Shift+Enter";
constexpr const char* tab = "Tab";
constexpr const char* escape = "Esc";
constexpr const char* ctrlUp = "Ctrl+Up";
constexpr const char* ctrlK = "Ctrl+K";
constexpr const char* ctrlY = "Ctrl+Y";
constexpr const char* ctrlC = "Ctrl+C";
constexpr const char* ctrlI = "Ctrl+I";
constexpr const char* ctrlP = "Ctrl+P";
constexpr const char* ctrlE = "Ctrl+E";
constexpr const char* ctrlBackspace = "Ctrl+Backspace";
} // namespace Keys

bool isInformational(const SearchItem& item)
{
    return item.id.starts_with("info:");
}

// The test behind Preview and Properties: a path that names something on disk.
bool passesFileTest(const SearchItem& item)
{
    struct stat status { };
    return item.path && !item.path->empty() && stat(item.path->c_str(), &status) == 0;
}

std::string resultCount(std::size_t count)
{
    return count == 1 ? "1 result" : std::to_string(count) + " results";
}

std::string oneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string lastComponent(const std::string& path)
{
    auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

LauncherController::LauncherController(Services services)
    : m_services(std::move(services))
    , m_describer(m_services.model)
    , m_operations({ m_services.model, m_services.desktop, m_services.clipboard,
          m_services.inserter, m_services.snippets, m_services.loop })
    , m_scriptFilterTimer(m_services.loop)
    , m_toastTimer(m_services.loop)
{
    m_display.placeholder = std::string(placeholder(std::nullopt));
}

LauncherController::~LauncherController()
{
    m_services.files.cancel();
}

std::function<void()> LauncherController::guarded(std::function<void()> work)
{
    return [alive = std::weak_ptr(m_alive), work = std::move(work)] {
        if (alive.lock())
            work();
    };
}

ConnectionModifier LauncherController::modifier(KeyCombo::Modifiers held)
{
    if (held.contains(KeyCombo::Modifiers::command))
        return ConnectionModifier::command;
    if (held.contains(KeyCombo::Modifiers::option))
        return ConnectionModifier::option;
    if (held.contains(KeyCombo::Modifiers::control))
        return ConnectionModifier::control;
    if (held.contains(KeyCombo::Modifiers::shift))
        return ConnectionModifier::shift;
    return ConnectionModifier::none;
}

// The panel.

void LauncherController::show(std::optional<std::string> query)
{
    closeActions(false);
    auto keep = m_services.model.settings().get().keepQuerySeconds;
    auto now = m_services.loop.uptime();
    bool isKept = !query && keep > 0 && m_lastHidden
        && std::chrono::duration<double>(now - *m_lastHidden).count() <= keep;
    if (!isKept) {
        m_mode.reset();
        m_query = query.value_or("");
    }
    updateChrome();
    queryChanged(m_query);
    m_services.view.showPanel();
    // A kept query is selected, so that the next key replaces it.
    m_services.view.setQuery(m_query, query ? QuerySelection::caretAtEnd : QuerySelection::all);
}

void LauncherController::hide()
{
    if (!m_services.view.isPanelVisible() || m_isHiding)
        return;
    m_isHiding = true;
    m_services.view.hidePanel();
    m_lastHidden = m_services.loop.uptime();
    m_services.files.cancel();
    m_scriptFilterTimer.cancel();
    closeActions(true);
    m_isHiding = false;
    publish();
}

void LauncherController::toggle()
{
    if (m_services.view.isPanelVisible() && m_services.view.isPanelKey())
        hide();
    else
        show();
}

void LauncherController::setQuery(std::string text, QuerySelection selection)
{
    m_query = std::move(text);
    m_services.view.setQuery(m_query, selection);
}

void LauncherController::setMode(std::optional<LauncherMode> mode)
{
    m_mode = mode;
    updateChrome();
}

void LauncherController::publish()
{
    m_services.view.update(m_display);
}

// The keystroke loop.

void LauncherController::queryChanged(std::string text)
{
    m_query = std::move(text);
    if (m_actionTarget) {
        filterActions(m_query);
        publish();
        return;
    }
    ++m_generation;
    if (!m_mode) {
        if (auto detected = detectMode(m_query)) {
            setMode(detected->first);
            setQuery(std::move(detected->second));
        }
    }
    auto& engine = m_services.model.engine();
    auto results = LauncherResults::build(m_query, m_mode, engine);
    m_scriptFilterTimer.cancel();
    if (auto* filter = std::get_if<SearchResponse::ScriptFilter>(&results.special)) {
        m_services.files.cancel();
        m_current = results;
        startScriptFilter(filter->entry, filter->argument, m_generation);
        publish();
        return;
    }
    auto fileSearch = results.fileSearch;
    render(std::move(results), false);
    if (!fileSearch) {
        m_services.files.cancel();
    } else {
        m_services.files.start(*fileSearch, m_services.model.settings().get().search,
            [this, alive = std::weak_ptr(m_alive), generation = m_generation](
                std::vector<SearchItem> items) {
                if (!alive.lock() || generation != m_generation || !m_current)
                    return;
                // The user's row stays selected while file rows come in.
                render(m_current->mergingFiles(std::move(items), m_services.model.engine()), true);
                publish();
            });
    }
    publish();
}

void LauncherController::render(LauncherResults results, bool keepSelection)
{
    std::vector<ListRow> rows;
    std::size_t counted = 0;
    for (auto& section : results.sections) {
        if (section.results.empty())
            continue;
        rows.push_back(Header { section.title, section.hint });
        for (auto& result : section.results) {
            counted += isInformational(result.item) ? 0 : 1;
            rows.push_back(Row { .result = result });
        }
    }
    m_display.countLabel
        = counted == 0 || results.isEmptyQuery ? std::nullopt : std::optional(resultCount(counted));
    m_current = std::move(results);
    applyRows(std::move(rows), keepSelection);
}

void LauncherController::applyRows(std::vector<ListRow> rows, bool keepSelection)
{
    std::optional<std::string> selectedID;
    if (auto* row = selectedRow(); row && keepSelection)
        selectedID = row->result.item.id;
    m_display.rows = std::move(rows);
    m_display.selectedIndex = -1;
    if (selectedID) {
        for (std::size_t index = 0; index < m_display.rows.size(); ++index) {
            auto* row = std::get_if<Row>(&m_display.rows[index]);
            if (row && row->result.item.id == *selectedID) {
                m_display.selectedIndex = static_cast<int>(index);
                break;
            }
        }
    }
    if (m_display.selectedIndex < 0) {
        auto selectable = selectableIndices();
        m_display.selectedIndex = selectable.empty() ? -1 : selectable.front();
    }
    updateDetail();
    updateFooter();
}

// Script filters.

void LauncherController::startScriptFilter(
    WorkflowEntry entry, std::string argument, int generation)
{
    auto* workflow = m_services.model.engine().workflow(entry.workflowID);
    if (!workflow)
        return;
    auto node = std::find_if(workflow->nodes.begin(), workflow->nodes.end(),
        [&](const WorkflowNode& candidate) { return candidate.id == entry.nodeID; });
    if (node == workflow->nodes.end())
        return;
    auto* filter = std::get_if<NodeKind::ScriptFilter>(&node->kind.payload);
    if (!filter)
        return;
    m_display.countLabel.reset();
    // The filter's own rows, not the keyword's row that led here.
    auto rowPrefix = entry.itemID() + ":";
    bool isShowing = std::any_of(m_display.rows.begin(), m_display.rows.end(), [&](auto& listRow) {
        auto* row = std::get_if<Row>(&listRow);
        return row && row->result.item.id.starts_with(rowPrefix);
    });
    // On a rerun, or more typing in the same filter, the old rows stay until the new ones come.
    if (!isShowing) {
        SearchItem waiting { .id = rowPrefix + "waiting",
            .title = "Running…",
            .kind = ItemKind::workflow,
            .symbolName = "hourglass",
            .isValid = false };
        applyRows({ Header { entry.title.empty() ? workflow->name : entry.title },
                      Row { .result = fixedResult(std::move(waiting)) } },
            false);
    }
    auto folder = Paths::workflowDirectory(m_services.model.dataFolder(), workflow->id);
    m_scriptFilterTimer.schedule(scriptFilterDelay,
        [this, entry = std::move(entry), argument = std::move(argument), generation, folder,
            language = filter->language, script = filter->script, variables = workflow->variables] {
            if (generation != m_generation)
                return;
            auto runner = m_services.makeScriptRunner(folder);
            m_services.loop.runInBackground(
                [this, &loop = m_services.loop, alive = std::weak_ptr(m_alive), runner, entry,
                    argument, generation, folder, language, script, variables] {
                    auto result
                        = runner->run(language, script, argument, variables, scriptFilterTimeout);
                    loop.post([this, alive, entry, argument, generation, folder, result] {
                        if (!alive.lock() || generation != m_generation)
                            return;
                        showScriptFilterOutput(
                            entry, folder, ScriptFilterOutput::ofRun(result), argument, generation);
                        publish();
                    });
                });
        });
}

void LauncherController::showScriptFilterOutput(const WorkflowEntry& entry,
    const std::filesystem::path& folder, ScriptFilterOutput output, const std::string& argument,
    int generation)
{
    m_scriptFilterOutputVariables = output.variables;
    auto entryID = entry.itemID();
    auto* workflow = m_services.model.engine().workflow(entry.workflowID);
    Header header { entry.title.empty() && workflow ? workflow->name : entry.title };
    if (output.items.empty()) {
        SearchItem empty { .id = entryID + ":empty",
            .title = "No results",
            .kind = ItemKind::workflow,
            .symbolName = "tray",
            .isValid = false };
        applyRows({ header, Row { .result = fixedResult(std::move(empty)) } }, false);
    } else {
        std::vector<ListRow> rows { header };
        for (std::size_t index = 0; index < output.items.size(); ++index) {
            auto& scriptItem = output.items[index];
            SearchItem item { .id = entryID + ":"
                    + (scriptItem.uid ? *scriptItem.uid
                                      : std::to_string(index) + ":" + scriptItem.title),
                .title = scriptItem.title,
                .subtitle = scriptItem.subtitle,
                .kind = ItemKind::workflow,
                .argument = scriptItem.arg,
                .autocomplete = scriptItem.autocomplete,
                .symbolName
                = entry.symbolName.empty() ? std::nullopt : std::optional(entry.symbolName),
                .isValid = scriptItem.valid };
            rows.push_back(Row { .result = fixedResult(std::move(item)),
                .scriptItem = scriptItem,
                .iconDirectory = folder });
        }
        m_display.countLabel = resultCount(output.items.size());
        applyRows(std::move(rows), true);
    }
    if (output.rerun) {
        // Only while the panel shows it: hiding is what ends a loop of reruns.
        m_scriptFilterTimer.schedule(
            std::chrono::duration_cast<MainLoop::Milliseconds>(Seconds(*output.rerun)),
            [this, entry, argument, generation] {
                if (generation == m_generation && m_services.view.isPanelVisible()) {
                    startScriptFilter(entry, argument, generation);
                    publish();
                }
            });
    }
}

// Selection.

const LauncherController::Row* LauncherController::selectedRow() const
{
    auto index = m_display.selectedIndex;
    if (index < 0 || index >= static_cast<int>(m_display.rows.size()))
        return nullptr;
    return std::get_if<Row>(&m_display.rows[static_cast<std::size_t>(index)]);
}

std::vector<int> LauncherController::selectableIndices() const
{
    std::vector<int> indices;
    for (std::size_t index = 0; index < m_display.rows.size(); ++index) {
        if (std::holds_alternative<Row>(m_display.rows[index]))
            indices.push_back(static_cast<int>(index));
    }
    return indices;
}

void LauncherController::moveSelection(int delta, bool wrap)
{
    auto indices = selectableIndices();
    if (indices.empty())
        return;
    auto count = static_cast<int>(indices.size());
    auto found = std::find(indices.begin(), indices.end(), m_display.selectedIndex);
    int position = found == indices.end() ? 0 : static_cast<int>(found - indices.begin());
    position += delta;
    position = wrap ? ((position % count) + count) % count : std::clamp(position, 0, count - 1);
    selectRow(indices[static_cast<std::size_t>(position)]);
}

void LauncherController::selectRow(int index)
{
    if (index < 0 || index >= static_cast<int>(m_display.rows.size())
        || !std::holds_alternative<Row>(m_display.rows[static_cast<std::size_t>(index)]))
        return;
    m_display.selectedIndex = index;
    updateDetail();
    updateFooter();
}

void LauncherController::refresh()
{
    std::optional<std::string> selectedID;
    if (auto* row = selectedRow())
        selectedID = row->result.item.id;
    queryChanged(m_query);
    if (!selectedID)
        return;
    for (std::size_t index = 0; index < m_display.rows.size(); ++index) {
        auto* row = std::get_if<Row>(&m_display.rows[index]);
        if (row && row->result.item.id == *selectedID) {
            selectRow(static_cast<int>(index));
            publish();
            return;
        }
    }
}

// Keys.

bool LauncherController::doCommand(FieldCommand command, KeyCombo::Modifiers held, FieldState field)
{
    bool isListOpen = m_actionTarget.has_value();
    bool isEmpty = m_query.empty();
    bool handled = true;
    switch (command) {
    case FieldCommand::moveUp:
    case FieldCommand::moveDown: {
        int delta = command == FieldCommand::moveUp ? -1 : 1;
        if (isListOpen)
            moveActionSelection(delta);
        else
            moveSelection(delta, true);
        break;
    }
    case FieldCommand::pageUp:
    case FieldCommand::pageDown:
        if (!isListOpen)
            moveSelection(command == FieldCommand::pageUp ? -8 : 8, false);
        break;
    case FieldCommand::insertNewline:
        if (isListOpen) {
            performSelectedAction();
            break;
        }
        // Shift alone pastes a clipboard entry as plain text.
        if (held == KeyCombo::Modifiers::shift) {
            auto* row = selectedRow();
            auto entry = row ? m_describer.clipboardItem(row->result.item) : std::nullopt;
            if (entry) {
                hide();
                m_operations.pasteClipboard(*entry, true);
                break;
            }
        }
        activate(m_display.selectedIndex, modifier(held));
        break;
    case FieldCommand::insertTab:
        completeSelection();
        break;
    case FieldCommand::cancel:
        if (isListOpen) {
            closeActions(true);
        } else if (!isEmpty) {
            // One layer at a time: the text, then the mode, then the panel.
            setQuery("");
            queryChanged("");
        } else if (m_mode) {
            setMode(std::nullopt);
            queryChanged("");
        } else {
            hide();
        }
        break;
    case FieldCommand::moveRight:
        if (isListOpen || !field.isCaretAtEnd || field.hasSelection || !selectedRow())
            return false;
        showActions();
        break;
    case FieldCommand::moveLeft:
        if (!isListOpen || !isEmpty)
            return false;
        closeActions(true);
        break;
    case FieldCommand::deleteBackward:
        if (isListOpen && isEmpty) {
            closeActions(true);
        } else if (!isListOpen && isEmpty && m_mode) {
            setMode(std::nullopt);
            queryChanged("");
        } else if (!isListOpen && !isEmpty && field.isCaretAtEnd && !field.hasSelection
            && m_query.ends_with('/') && m_query != "/" && m_query != "~/") {
            // One Backspace climbs a whole folder.
            handled = goUp();
        } else {
            handled = false;
        }
        break;
    }
    if (handled)
        publish();
    return handled;
}

bool LauncherController::keyEquivalent(
    std::uint32_t keyCode, std::string_view characters, KeyCombo::Modifiers held, FieldState field)
{
    if (!held.contains(KeyCombo::Modifiers::command))
        return false;
    bool isListOpen = m_actionTarget.has_value();
    auto* selected = selectedRow();
    std::optional<Row> row = isListOpen ? m_actionTarget
        : selected                      ? std::optional(*selected)
                                        : std::nullopt;
    auto done = [&] {
        publish();
        return true;
    };
    if (keyCode == KeyCode::returnKey || keyCode == KeyCode::enterKey) {
        if (isListOpen)
            performSelectedAction();
        else
            activate(m_display.selectedIndex, ConnectionModifier::command);
        return done();
    }
    bool isNavigating = m_current && m_current->navigation;
    if (keyCode == KeyCode::upArrowKey && isNavigating && !isListOpen) {
        goUp();
        return done();
    }
    if (keyCode == KeyCode::downArrowKey && isNavigating) {
        if (row && row->result.item.kind == ItemKind::folder && row->result.item.autocomplete) {
            setQuery(*row->result.item.autocomplete);
            queryChanged(m_query);
        }
        return done();
    }
    if (keyCode == KeyCode::deleteKey && !field.hasSelection) {
        if (!row)
            return done();
        auto& item = row->result.item;
        if (item.kind == ItemKind::file && item.path) {
            closeActions(false);
            m_operations.moveToTrash(*item.path);
            showToast("Moved to Trash");
            refresh();
        } else if (item.kind == ItemKind::clipboard) {
            closeActions(false);
            if (auto entry = m_describer.clipboardItem(item)) {
                m_services.model.removeClipboardItem(entry->id);
                showToast("Deleted from history");
                refresh();
            }
        }
        return done();
    }
    auto key = lowercasedText(characters);
    if (key.size() == 1 && key[0] >= '1' && key[0] <= '9' && held == KeyCombo::Modifiers::command) {
        closeActions(true);
        auto indices = selectableIndices();
        auto wanted = static_cast<std::size_t>(key[0] - '1');
        if (wanted < indices.size()) {
            selectRow(indices[wanted]);
            activate(indices[wanted], ConnectionModifier::none);
        }
        return done();
    }
    if (key == "k") {
        if (isListOpen)
            closeActions(true);
        else
            showActions();
        return done();
    }
    if (key == "y") {
        if (row && passesFileTest(row->result.item))
            m_operations.preview(*row->result.item.path);
        return done();
    }
    if (key == "i") {
        if (row && passesFileTest(row->result.item)) {
            hide();
            m_operations.showProperties(*row->result.item.path);
        }
        return done();
    }
    if (key == "p") {
        if (row && row->result.item.kind == ItemKind::clipboard) {
            closeActions(false);
            if (auto entry = m_describer.clipboardItem(row->result.item)) {
                m_services.model.clipboardHistory().change([&](ClipboardHistory& history) {
                    history.setPinned(entry->id, !entry->pinned);
                });
                showToast(entry->pinned ? "Unpinned" : "Pinned to top");
                refresh();
            }
        }
        return done();
    }
    if (key == "e") {
        if (row && row->result.item.kind == ItemKind::snippet) {
            hide();
            m_services.openPreferences();
        }
        return done();
    }
    if (key == "c") {
        if (field.hasSelection)
            return false; // The field copies its own selection.
        if (row && !isInformational(row->result.item))
            copyRow(*row);
        return done();
    }
    if (key == ",") {
        hide();
        m_services.openPreferences();
        return done();
    }
    // The panel never quits the application.
    if (key == "q" || key == "w" || key == "h") {
        hide();
        return done();
    }
    return false;
}

void LauncherController::rowClicked(int index, KeyCombo::Modifiers held)
{
    if (index < 0 || index >= static_cast<int>(m_display.rows.size())
        || !std::holds_alternative<Row>(m_display.rows[static_cast<std::size_t>(index)]))
        return;
    closeActions(true);
    activate(index, modifier(held));
    publish();
}

void LauncherController::copyRow(const Row& row)
{
    auto& item = row.result.item;
    if (auto entry = m_describer.clipboardItem(item))
        m_operations.copyClipboard(*entry);
    else
        m_operations.copyText(item.path && !item.path->empty() ? *item.path
                : item.argument && !item.argument->empty()     ? *item.argument
                                                               : item.title);
    hide();
}

bool LauncherController::completeSelection()
{
    auto* row = selectedRow();
    if (!row || m_actionTarget)
        return false;
    auto& item = row->result.item;
    std::optional<std::string> text;
    if (item.kind == ItemKind::folder && item.path) {
        if (m_mode)
            setMode(std::nullopt);
        text = item.autocomplete
            ? *item.autocomplete
            : FileNavigator::abbreviate(*item.path, m_services.model.engine().home()) + "/";
    } else if (item.kind == ItemKind::file && item.path) {
        setMode(LauncherMode::files);
        text = lastComponent(*item.path);
    } else if (item.autocomplete) {
        text = *item.autocomplete;
    } else if (item.kind == ItemKind::application || !m_mode) {
        text = item.title;
    }
    if (!text)
        return false;
    setQuery(std::move(*text));
    queryChanged(m_query);
    return true;
}

bool LauncherController::goUp()
{
    if (!m_current || !m_current->navigation || !m_current->navigation->filter.empty())
        return false;
    auto parent = FileNavigator::parentPath(*m_current->navigation);
    if (!parent)
        return false;
    setQuery(*parent);
    queryChanged(m_query);
    return true;
}

// Activation.

void LauncherController::activate(int index, ConnectionModifier modifier)
{
    if (index < 0 || index >= static_cast<int>(m_display.rows.size()))
        return;
    auto* found = std::get_if<Row>(&m_display.rows[static_cast<std::size_t>(index)]);
    if (!found)
        return;
    auto row = *found;
    auto& item = row.result.item;
    if (!item.isValid) {
        if (item.autocomplete) {
            setQuery(*item.autocomplete);
            queryChanged(m_query);
        } else {
            m_operations.beep();
        }
        return;
    }
    // Only the default search teaches: a pick inside a mode says nothing of the query.
    if (!m_mode)
        m_services.model.engine().recordPick(item, m_query);
    bool isAlt = modifier == ConnectionModifier::command || modifier == ConnectionModifier::option;
    auto& loop = m_services.loop;
    switch (item.kind) {
    case ItemKind::application:
        hide();
        if (isAlt && item.path)
            m_operations.reveal(*item.path);
        else
            m_operations.open(item);
        break;
    case ItemKind::systemSetting:
    case ItemKind::webSearch:
        hide();
        m_operations.open(item);
        break;
    case ItemKind::folder:
    case ItemKind::file:
        if (!item.path)
            return;
        hide();
        if (isAlt || m_mode == LauncherMode::find)
            m_operations.reveal(*item.path);
        else
            m_operations.open(item);
        break;
    case ItemKind::calculator:
        if (!item.argument)
            return;
        hide();
        if (isAlt) // Once the previous application has the keyboard again.
            loop.schedule(ItemOperations::focusDelay,
                guarded([this, text = *item.argument] { m_operations.pasteText(text); }));
        else
            m_operations.copyText(*item.argument);
        break;
    case ItemKind::systemCommand:
        hide();
        if (item.argument) {
            if (auto command = fromString<SystemCommand>(*item.argument))
                m_operations.runSystemCommand(*command);
        }
        break;
    case ItemKind::workflow:
        hide();
        activateWorkflow(row, modifier);
        break;
    case ItemKind::snippet:
        if (!item.argument)
            return;
        hide();
        if (isAlt)
            m_operations.copyText(*item.argument);
        else
            loop.schedule(ItemOperations::focusDelay,
                guarded([this, content = *item.argument, name = item.title] {
                    m_services.snippets.expand(content, name);
                }));
        break;
    case ItemKind::clipboard: {
        auto entry = m_describer.clipboardItem(item);
        if (!entry)
            return;
        hide();
        if (isAlt)
            m_operations.copyClipboard(*entry);
        else
            m_operations.pasteClipboard(*entry, false);
        break;
    }
    case ItemKind::action:
        break;
    }
}

void LauncherController::activateWorkflow(const Row& row, ConnectionModifier modifier)
{
    auto& item = row.result.item;
    auto& engine = m_services.model.engine();
    auto& workflows = m_services.workflows;
    std::visit(Overloaded {
                   [&](const SearchResponse::ListFilter& filter) {
                       if (!engine.workflow(filter.entry.workflowID))
                           return;
                       workflows.run(filter.entry.workflowID, filter.entry.nodeID,
                           item.argument.value_or(""), {}, modifier);
                   },
                   [&](const SearchResponse::ScriptFilter& filter) {
                       if (!engine.workflow(filter.entry.workflowID) || !row.scriptItem)
                           return;
                       auto* held = row.scriptItem->modifier(modifier);
                       if (held && held->valid == false) {
                           m_operations.beep();
                           return;
                       }
                       auto variables = m_scriptFilterOutputVariables;
                       for (auto& [name, value] : row.scriptItem->variables)
                           variables[name] = value;
                       if (held && held->variables) {
                           for (auto& [name, value] : *held->variables)
                               variables[name] = value;
                       }
                       // A modifier with its own argument passes that instead.
                       auto value = held && held->arg ? *held->arg : item.argument.value_or("");
                       workflows.run(filter.entry.workflowID, filter.entry.nodeID, value,
                           std::move(variables), modifier);
                   },
                   [&](const auto&) {
                       auto target = SearchEngine::workflowTarget(item.id);
                       if (!target || !engine.workflow(target->first))
                           return;
                       workflows.run(
                           target->first, target->second, item.argument.value_or(""), {}, modifier);
                   },
               },
        m_current ? m_current->special : SearchResponse::Special(std::monostate {}));
}

// The actions list.

std::vector<LauncherAction> LauncherController::actions(const Row& row)
{
    auto& item = row.result.item;
    std::vector<LauncherAction> list;
    auto add = [&](std::string title, std::string symbol, std::optional<std::string> shortcut,
                   std::function<void()> perform) {
        list.push_back({ .id = std::to_string(list.size()) + ":" + title,
            .title = std::move(title),
            .symbol = std::move(symbol),
            .shortcut = std::move(shortcut),
            .perform = guarded(std::move(perform)) });
    };
    // "Open" is the row's own activation, found again by its id when it runs.
    auto activation = [this, id = item.id](ConnectionModifier modifier) {
        return [this, id, modifier] {
            for (std::size_t index = 0; index < m_display.rows.size(); ++index) {
                auto* candidate = std::get_if<Row>(&m_display.rows[index]);
                if (candidate && candidate->result.item.id == id) {
                    activate(static_cast<int>(index), modifier);
                    return;
                }
            }
        };
    };
    auto copy = [this](std::string text) { return [this, text] { m_operations.copyText(text); }; };
    switch (item.kind) {
    case ItemKind::application:
    case ItemKind::folder:
    case ItemKind::file:
        if (item.path && !item.path->empty()) {
            auto path = *item.path;
            add("Open", "arrow.up.forward.app", Keys::enter, activation(ConnectionModifier::none));
            add("Reveal in File Manager", "folder", Keys::ctrlEnter, [this, path] {
                hide();
                m_operations.reveal(path);
            });
            add("Preview", "eye", Keys::ctrlY, [this, path] { m_operations.preview(path); });
            add("Copy Path", "doc.on.doc", Keys::ctrlC, copy(path));
            add("Copy Name", "textformat", std::nullopt, copy(lastComponent(path)));
            add("Properties", "info.circle", Keys::ctrlI, [this, path] {
                hide();
                m_operations.showProperties(path);
            });
            if (item.kind == ItemKind::file) {
                if (auto application = m_services.desktop.defaultApplicationName(path))
                    add("Open With " + *application, "arrow.up.right.square", std::nullopt,
                        activation(ConnectionModifier::none));
                add("Move to Trash", "trash", Keys::ctrlBackspace, [this, path] {
                    m_operations.moveToTrash(path);
                    showToast("Moved to Trash");
                    refresh();
                });
            }
        }
        break;
    case ItemKind::systemSetting:
        add("Open", "arrow.up.forward.app", Keys::enter, activation(ConnectionModifier::none));
        add("Copy Title", "textformat", std::nullopt, copy(item.title));
        break;
    case ItemKind::systemCommand:
    case ItemKind::workflow:
        add("Run", "arrow.up.forward.app", Keys::enter, activation(ConnectionModifier::none));
        add("Copy Title", "textformat", std::nullopt, copy(item.title));
        break;
    case ItemKind::calculator:
        add("Copy Result", "doc.on.doc", Keys::enter, copy(item.argument.value_or(item.title)));
        add("Paste Result", "doc.on.clipboard", Keys::ctrlEnter,
            activation(ConnectionModifier::command));
        break;
    case ItemKind::webSearch:
        add("Search", "magnifyingglass", Keys::enter, activation(ConnectionModifier::none));
        if (item.argument)
            add("Copy URL", "link", Keys::ctrlC, copy(*item.argument));
        break;
    case ItemKind::snippet:
        add("Paste", "doc.on.clipboard", Keys::enter, activation(ConnectionModifier::none));
        add("Copy", "doc.on.doc", Keys::ctrlEnter, copy(item.argument.value_or("")));
        add("Edit Snippet…", "pencil", Keys::ctrlE, [this] {
            hide();
            m_services.openPreferences();
        });
        break;
    case ItemKind::clipboard:
        if (auto entry = m_describer.clipboardItem(item)) {
            bool isImage = entry->kind == ClipboardKind::image;
            add("Paste", "doc.on.clipboard", Keys::enter, activation(ConnectionModifier::none));
            add("Copy", "doc.on.doc", Keys::ctrlEnter, [this, entry = *entry] {
                hide();
                m_operations.copyClipboard(entry);
            });
            if (!isImage) {
                add("Paste as Plain Text", "textformat", Keys::shiftEnter, [this, entry = *entry] {
                    hide();
                    m_operations.pasteClipboard(entry, true);
                });
                add("Save as Snippet…", "text.badge.plus", std::nullopt, [this, entry = *entry] {
                    if (m_operations.saveAsSnippet(entry))
                        showToast("Saved to snippets");
                });
            }
            add(entry->pinned ? "Unpin" : "Pin to Top", entry->pinned ? "pin.slash" : "pin",
                Keys::ctrlP, [this, entry = *entry] {
                    m_services.model.clipboardHistory().change([&](ClipboardHistory& history) {
                        history.setPinned(entry.id, !entry.pinned);
                    });
                    showToast(entry.pinned ? "Unpinned" : "Pinned to top");
                    refresh();
                });
            add("Delete from History", "trash", Keys::ctrlBackspace, [this, id = entry->id] {
                m_services.model.removeClipboardItem(id);
                showToast("Deleted from history");
                refresh();
            });
        }
        break;
    case ItemKind::action:
        break;
    }
    auto& knowledge = m_services.model.knowledge();
    bool hasLearned = row.result.learnedBoost > 0
        || knowledge.usageScores(m_services.loop.now()).contains(item.id);
    if (!isInformational(item) && hasLearned) {
        add("Forget Learned Ranking", "brain", std::nullopt,
            [this, id = item.id, title = item.title] {
                m_services.model.knowledge().forget(id);
                showToast("Forgot how you ranked " + title);
                refresh();
            });
    }
    return list;
}

void LauncherController::showActions()
{
    auto* row = selectedRow();
    if (!row || isInformational(row->result.item) || m_actionTarget)
        return;
    auto list = actions(*row);
    if (list.empty())
        return;
    m_savedQuery = m_query;
    m_actionTarget = *row;
    m_allActions = list;
    setQuery("");
    m_display.actionsTitle = oneLine(row->result.item.title);
    m_display.actionsIcon = row->result.item.symbolName;
    m_display.selectedAction = 0;
    m_display.actions = std::move(list);
    updateChrome();
    updateFooter();
}

void LauncherController::closeActions(bool restoreQuery)
{
    if (!m_actionTarget)
        return;
    m_actionTarget.reset();
    m_allActions.clear();
    m_display.actions.reset();
    m_display.selectedAction = 0;
    if (restoreQuery)
        setQuery(m_savedQuery);
    updateChrome();
    updateDetail();
    updateFooter();
}

void LauncherController::filterActions(std::string_view text)
{
    auto wanted = foldedText(trimmedWhitespace(text));
    std::vector<LauncherAction> filtered;
    for (auto& action : m_allActions) {
        if (wanted.empty() || foldedText(action.title).find(wanted) != std::string::npos)
            filtered.push_back(action);
    }
    m_display.actions = std::move(filtered);
    m_display.selectedAction = 0;
}

void LauncherController::moveActionSelection(int delta)
{
    if (!m_display.actions || m_display.actions->empty())
        return;
    auto count = static_cast<int>(m_display.actions->size());
    m_display.selectedAction = ((m_display.selectedAction + delta) % count + count) % count;
}

void LauncherController::performSelectedAction()
{
    auto index = m_display.selectedAction;
    if (!m_display.actions || index < 0 || index >= static_cast<int>(m_display.actions->size())) {
        m_operations.beep();
        return;
    }
    auto action = (*m_display.actions)[static_cast<std::size_t>(index)];
    closeActions(true);
    action.perform();
}

void LauncherController::actionClicked(int index)
{
    m_display.selectedAction = index;
    performSelectedAction();
    publish();
}

// What surrounds the list.

void LauncherController::showToast(std::string text)
{
    m_display.toast = std::move(text);
    m_toastTimer.schedule(toastLife, [this] {
        m_display.toast.reset();
        publish();
    });
}

void LauncherController::updateChrome()
{
    if (m_actionTarget) {
        m_display.placeholder = "Search actions…";
        m_display.chip = ModeChip { oneLine(m_actionTarget->result.item.title), "bolt.fill" };
        return;
    }
    m_display.placeholder = std::string(placeholder(m_mode));
    m_display.chip = m_mode
        ? std::optional(ModeChip { std::string(title(*m_mode)), std::string(symbolName(*m_mode)) })
        : std::nullopt;
}

void LauncherController::updateDetail()
{
    if (m_actionTarget)
        return;
    auto* row = selectedRow();
    m_display.detail = row ? std::optional(m_describer.detail(*row)) : std::nullopt;
}

void LauncherController::updateFooter()
{
    if (m_actionTarget) {
        m_display.footerText.clear();
        m_display.hints = { { "Run", Keys::enter }, { "Back", Keys::escape } };
        return;
    }
    if (!m_current)
        return;
    auto* row = selectedRow();
    // A row of no kind that the rules below name when nothing is selected.
    auto kind = row ? row->result.item.kind : ItemKind::action;
    using enum LauncherMode;
    std::vector<KeyHint> fileHints { { "Open", Keys::enter }, { "Reveal", Keys::ctrlEnter },
        { "Preview", Keys::ctrlY }, { "Actions", Keys::ctrlK } };
    std::vector<KeyHint> clipboardHints { { "Paste", Keys::enter }, { "Copy", Keys::ctrlEnter },
        { "Actions", Keys::ctrlK } };
    if (m_current->navigation)
        m_display.hints = { { "Open", Keys::enter }, { "Go inside", Keys::tab },
            { "Up", Keys::ctrlUp }, { "Actions", Keys::ctrlK } };
    else if (m_mode == files || m_mode == contents)
        m_display.hints = fileHints;
    else if (m_mode == find)
        m_display.hints = { { "Reveal", Keys::enter }, { "Actions", Keys::ctrlK } };
    else if (m_mode == clipboard)
        m_display.hints = clipboardHints;
    else if (m_mode == snippets)
        m_display.hints = { { "Paste", Keys::enter }, { "Copy", Keys::ctrlEnter } };
    else if (m_mode == google)
        m_display.hints = { { "Search", Keys::enter } };
    else if (m_current->isCalculation)
        m_display.hints = { { "Copy", Keys::enter }, { "Paste", Keys::ctrlEnter } };
    else if (kind == ItemKind::file || kind == ItemKind::folder)
        m_display.hints = fileHints;
    else if (kind == ItemKind::clipboard)
        m_display.hints = clipboardHints;
    else
        m_display.hints = { { "Open", Keys::enter }, { "Autocomplete", Keys::tab },
            { "Actions", Keys::ctrlK } };

    auto& settings = m_services.model.settings().get();
    if (m_mode == clipboard && !settings.clipboard.enabled)
        m_display.footerText = "Clipboard history is off in Settings";
    else if (!m_mode && m_query.empty())
        m_display.footerText = "Type ' for files · / or ~ to browse · clip for clipboard";
    else if (!m_mode && row && row->result.learnedBoost > 0)
        m_display.footerText = row->result.item.title + " ranked up from your picks";
    else
        m_display.footerText.clear();
}

} // namespace zeph
