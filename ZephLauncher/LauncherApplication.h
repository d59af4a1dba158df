#pragma once

#include "Logic/AppModel.h"
#include "Logic/ClipboardMonitor.h"
#include "Logic/DocumentExchange.h"
#include "Logic/HotKeyCenter.h"
#include "Logic/LauncherController.h"
#include "Logic/SnippetExpander.h"
#include "Logic/TextInserter.h"
#include "Logic/WorkflowExecutor.h"
#include "Platform/AccessibleFocus.h"
#include "Platform/DesktopLauncher.h"
#include "Platform/IndexedFileSearching.h"
#include "Platform/LauncherBus.h"
#include "Platform/QtClipboard.h"
#include "Platform/QtFolderWatching.h"
#include "Platform/QtMainLoop.h"
#include "Platform/X11Focus.h"
#include "Platform/X11HotKeys.h"
#include "Platform/X11KeyEvents.h"
#include "Platform/X11KeyInjector.h"
#include "Search/AppIndexer.h"
#include "UI/FillInDialog.h"
#include "UI/FirstRunWindow.h"
#include "UI/LauncherPanel.h"
#include "UI/SettingsWindow.h"

#include <memory>

#include <QMenu>
#include <QSystemTrayIcon>

namespace zeph {

// The application: every long-lived object, made in a fixed order, the launcher's hot key, the
// tray icon and its menu, and everything written out at the end.
class LauncherApplication {
public:
    LauncherApplication(std::filesystem::path dataFolder, LauncherBus& bus);
    ~LauncherApplication();
    LauncherApplication(const LauncherApplication&) = delete;
    LauncherApplication& operator=(const LauncherApplication&) = delete;

    LauncherController& launcher() { return m_launcher; }
    LauncherPanel& panel() { return m_panel; }
    // The settings window, made on first use and kept.
    void showSettings();

private:
    void registerLauncherHotkey();
    void rebuildTray();
    void applyAutostart();
    void applyTheme();

    QtMainLoop m_loop;
    QtFolderWatching m_watching;
    AppModel m_model;
    std::unique_ptr<HotKeyService> m_hotkeyService;
    HotKeyCenter m_hotkeys;
    DesktopLauncher m_desktop;
    QtClipboard m_clipboard;
    X11KeyInjector m_keys;
    AccessibleFocus m_accessibleFocus;
    X11KeyEvents m_keyEvents { m_keys, m_accessibleFocus };
    X11Focus m_focus;
    FillInDialog m_prompt;
    TextInserter m_inserter;
    WorkflowExecutor m_workflows;
    SnippetExpander m_snippets;
    ClipboardMonitor m_clipboardMonitor;
    IndexedFileSearching m_files;
    LauncherPanel m_panel;
    LauncherController m_launcher;
    AppIndexer m_indexer;
    DocumentExchange m_documents { m_model };
    std::unique_ptr<QSystemTrayIcon> m_tray;
    std::unique_ptr<SettingsWindow> m_settingsWindow;
    std::unique_ptr<FirstRunWindow> m_firstRun;
    std::unique_ptr<QMenu> m_menu;
    std::optional<std::uint32_t> m_launcherHotkeyID;
    bool m_hasToldTrayless = false;
    std::vector<Subscription> m_subscriptions;
    DelayedTask m_workflowHotkeys { m_loop };
};

} // namespace zeph
