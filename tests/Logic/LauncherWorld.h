#pragma once

#include "FakeDesktop.h"
#include "FakeFolderWatching.h"
#include "Logic/ClipboardMonitor.h"
#include "Logic/LauncherController.h"
#include "Support/StubScriptRunner.h"
#include "Support/TemporaryDirectory.h"

#include <fstream>

namespace zeph {

// The panel as the tests see it: what the controller set and showed last.
class FakeLauncherView final : public LauncherView {
public:
    void showPanel() override
    {
        isVisible = true;
        isKey = true;
    }
    void hidePanel() override
    {
        isVisible = false;
        isKey = false;
    }
    bool isPanelVisible() const override { return isVisible; }
    bool isPanelKey() const override { return isKey; }
    void setQuery(const std::string& text, QuerySelection selection) override
    {
        query = text;
        querySelection = selection;
    }
    void update(const LauncherDisplay& display) override
    {
        shown = display;
        ++updates;
    }

    bool isVisible = false;
    bool isKey = false;
    std::string query;
    QuerySelection querySelection = QuerySelection::caretAtEnd;
    LauncherDisplay shown;
    int updates = 0;
};

// The file index's searcher, answered by the test.
class FakeFileSearching final : public FileSearching {
public:
    void start(const FileSearchRequest& request, const SearchSettings&,
        std::function<void(std::vector<SearchItem>)> completion) override
    {
        requests.push_back(request);
        pending.push_back(std::move(completion));
    }
    void cancel() override { ++cancels; }
    // Answers the request `index` (the last by default), however stale it is by now.
    void answer(std::vector<SearchItem> items, std::optional<std::size_t> index = std::nullopt)
    {
        pending.at(index.value_or(pending.size() - 1))(std::move(items));
    }

    std::vector<FileSearchRequest> requests;
    std::vector<std::function<void(std::vector<SearchItem>)>> pending;
    int cancels = 0;
};

// The whole launcher over fakes of the desktop: a home folder with a few files, the model over its
// data folder (or over one given), and every object of the application.
struct LauncherWorld {
    TemporaryDirectory home;
    FakeMainLoop loop;
    FakeFolderWatching watching;
    std::vector<std::string> logLines;
    AppModel model;
    FakeHotKeyService hotkeyService;
    HotKeyCenter hotkeys { hotkeyService, loop };
    FakeDesktopServices desktop;
    FakeNotifier notifier;
    FakeClipboard clipboard;
    FakeKeyInjector keys { loop };
    FakeKeyEventSource keyEvents;
    FakeFocusedApplication focus;
    FakeFillInPrompting prompt;
    TextInserter inserter { clipboard, keys, focus, loop };
    SnippetExpander expander { model, keyEvents, keys, inserter, focus, prompt, loop, Calendar {},
        [this](const std::string& line) { logLines.push_back(line); } };
    ClipboardMonitor monitor { model, clipboard, focus, inserter, loop };
    std::shared_ptr<StubScriptRunner> scripts = std::make_shared<StubScriptRunner>();
    std::vector<std::filesystem::path> scriptFolders;
    MakeScriptRunner makeScriptRunner = [this](const std::filesystem::path& workingDirectory) {
        scriptFolders.push_back(workingDirectory);
        return scripts;
    };
    WorkflowExecutor executor { model, hotkeys,
        { desktop, notifier, clipboard, inserter, loop, [] { return true; } }, makeScriptRunner };
    FakeFileSearching files;
    FakeLauncherView view;
    int preferencesOpened = 0;
    LauncherController launcher { { model, executor, expander, inserter, desktop, clipboard, files,
        view, loop, makeScriptRunner, [this] { ++preferencesOpened; } } };

    explicit LauncherWorld(std::optional<std::filesystem::path> dataFolder = std::nullopt)
        : model(dataFolder.value_or(home / "data"), loop, watching, home.path().string())
    {
        for (auto name : { "Documents/report 2024.pdf", "Documents/Notes/todo.txt" }) {
            std::filesystem::create_directories((home / name).parent_path());
            std::ofstream(home / name) << "x";
        }
        model.engine().setApplications({
            { .id = "/usr/share/applications/safari.desktop",
                .title = "Safari",
                .kind = ItemKind::application,
                .path = "/usr/share/applications/safari.desktop",
                .argument = "safari.desktop" },
            { .id = "/usr/share/applications/firefox.desktop",
                .title = "Firefox",
                .kind = ItemKind::application,
                .path = "/usr/share/applications/firefox.desktop",
                .argument = "firefox.desktop" },
        });
    }

    // Types `text` as the field reports it: the whole text after each key.
    void type(std::string_view text)
    {
        for (char character : text) {
            view.query += character;
            launcher.queryChanged(view.query);
        }
    }
    void typeWhole(std::string text)
    {
        view.query = text;
        launcher.queryChanged(std::move(text));
    }

    using Command = LauncherController::FieldCommand;
    bool command(Command which, KeyCombo::Modifiers held = {}, SearchFieldState field = {})
    {
        return launcher.doCommand(which, held, field);
    }
    bool ctrl(std::string_view key, SearchFieldState field = {})
    {
        return launcher.keyEquivalent(0, key, KeyCombo::Modifiers::command, field);
    }
    bool ctrlKey(std::uint32_t keyCode)
    {
        return launcher.keyEquivalent(keyCode, "", KeyCombo::Modifiers::command);
    }

    // The titles of the rows shown, headers in brackets.
    std::vector<std::string> rows() const
    {
        std::vector<std::string> titles;
        for (auto& row : view.shown.rows) {
            if (auto* header = std::get_if<LauncherDisplay::Header>(&row))
                titles.push_back("[" + header->title + "]");
            else
                titles.push_back(std::get<LauncherDisplay::Row>(row).result.item.title);
        }
        return titles;
    }
    std::string selectedTitle() const
    {
        auto index = view.shown.selectedIndex;
        if (index < 0)
            return "";
        auto* row = std::get_if<LauncherDisplay::Row>(
            &view.shown.rows.at(static_cast<std::size_t>(index)));
        return row ? row->result.item.title : "";
    }
    std::vector<std::string> actionTitles() const
    {
        std::vector<std::string> titles;
        for (auto& action : view.shown.actions.value_or(std::vector<LauncherAction> {}))
            titles.push_back(action.title);
        return titles;
    }
};

} // namespace zeph
