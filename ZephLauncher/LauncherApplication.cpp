#include "LauncherApplication.h"

#include "Logic/Autostart.h"
#include "Logic/PanelPlacement.h"
#include "Platform/KeyTable.h"
#include "Platform/PortalHotKeys.h"
#include "Platform/X11Connection.h"
#include "Storage/Paths.h"
#include "Workflows/ProcessScriptRunner.h"

#include <cstdio>

#include <xcb/xcb.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QGuiApplication>

namespace zeph {

namespace {

std::string homeFolder()
{
    return Paths::Environment::current().home.value_or("/");
}

MakeScriptRunner processScripts()
{
    return [](const std::filesystem::path& folder) {
        return std::make_shared<ProcessScriptRunner>(folder);
    };
}

// The desktop's colour scheme from the settings portal: 1 is "prefer dark".
bool desktopPrefersDark()
{
    auto message = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
        QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
    message << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme");
    auto reply = QDBusConnection::sessionBus().call(message, QDBus::Block, 200);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return false;
    auto value = reply.arguments().first().value<QDBusVariant>().variant();
    // The portal wraps the value once more in older versions of its interface.
    if (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value.toUInt() == 1;
}

// A compositing manager owns the _NET_WM_CM_S<screen> selection.
bool compositorRuns()
{
    auto* connection = qtX11Connection();
    if (!connection)
        return true; // Wayland compositors always composite.
    auto atom = internAtom(connection, "_NET_WM_CM_S0", true);
    if (atom == XCB_ATOM_NONE)
        return false;
    auto* owner = xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, atom), nullptr);
    bool owned = owner && owner->owner != XCB_NONE;
    std::free(owner);
    return owned;
}

bool isWaylandSession()
{
    return qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// Under Wayland an X11 grab sees only keys typed into X11 windows: the portal serves there where
// it offers global shortcuts.
std::unique_ptr<HotKeyService> makeHotKeyService()
{
    if (isWaylandSession()) {
        auto portal = std::make_unique<PortalHotKeys>();
        if (portal->isAvailable())
            return portal;
    }
    return std::make_unique<X11HotKeys>();
}

} // namespace

LauncherApplication::LauncherApplication(std::filesystem::path dataFolder, LauncherBus& bus)
    : m_model(dataFolder, m_loop, m_watching, homeFolder())
    , m_hotkeyService(makeHotKeyService())
    , m_hotkeys(*m_hotkeyService, m_loop)
    , m_clipboard(isWaylandSession() ? QtClipboard::Watching::wlPaste : QtClipboard::Watching::qt)
    , m_inserter(m_clipboard, m_keys, m_focus, m_loop)
    , m_workflows(m_model, m_hotkeys,
          { m_desktop, m_desktop, m_clipboard, m_inserter, m_loop,
              [this] { return m_model.settings().get().snippets.restoreClipboard; } },
          processScripts())
    , m_snippets(m_model, m_keyEvents, m_keys, m_inserter, m_focus, m_prompt, m_loop,
          Calendar::current(),
          [](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); })
    , m_clipboardMonitor(m_model, m_clipboard, m_focus, m_inserter, m_loop)
    , m_files(dataFolder / Paths::fileIndexFile, homeFolder(), m_loop)
    , m_panel(dataFolder)
    , m_launcher({ m_model, m_workflows, m_snippets, m_inserter, m_desktop, m_clipboard, m_files,
          m_panel, m_loop, processScripts(), [this] { showSettings(); } })
    , m_indexer([this](ApplicationIndex index) {
        m_loop.post([this, index = std::move(index)]() mutable {
            m_model.indexedApplicationCount().set(static_cast<int>(index.applications.size()));
            m_model.engine().setApplications(std::move(index.applications));
            m_model.engine().setSystemSettings(std::move(index.systemSettings));
        });
    })
{
    // Key presses of other programs can be heard (and typed into) on X11 only: under XWayland,
    // only the few X11 programs would be seen.
    bool isX11 = qtX11Connection() && !isWaylandSession();
    m_model.accessibilityTrusted().set(isX11);
    if (!isX11)
        std::fprintf(stderr,
            "Zeph Launcher: snippets expand as they are typed only in an X11 session; here they "
            "are inserted from the launcher.\n");
    m_clipboardMonitor.start();
    m_panel.setController(&m_launcher);
    m_snippets.isLauncherKey = [this] { return m_panel.isPanelKey(); };
    applyTheme();

    const auto& settings = m_model.settings();
    m_subscriptions.push_back(
        m_model.settings().subscribe([this, last = settings.get()](const AppSettings& now) mutable {
            auto before = std::exchange(last, now);
            if (now.hotkey != before.hotkey)
                registerLauncherHotkey();
            if (now.showMenuBarIcon != before.showMenuBarIcon)
                rebuildTray();
            if (now.launchAtLogin != before.launchAtLogin)
                applyAutostart();
            if (now.search.applicationFolders != before.search.applicationFolders)
                m_indexer.setFolders(now.search.applicationFolders);
            if (now.themeID != before.themeID || now.verticalPosition != before.verticalPosition)
                applyTheme();
            m_workflowHotkeys.schedule(
                std::chrono::milliseconds(300), [this] { m_workflows.refreshHotkeys(); });
        }));
    m_subscriptions.push_back(
        m_model.customThemes().subscribe([this](const auto&) { applyTheme(); }));
    m_indexer.setFolders(settings.get().search.applicationFolders);
    applyAutostart();
    registerLauncherHotkey();
    m_workflows.refreshHotkeys();
    rebuildTray();

    bus.onToggle = [this] { m_launcher.toggle(); };
    bus.onShow = [this] { m_launcher.show(); };
    bus.onShowSettings = [this] { showSettings(); };
    bus.onGetDocument
        = [this](const std::string& folder,
              const std::string& name) -> std::optional<std::pair<std::string, std::uint64_t>> {
        auto document = m_documents.get(folder, name);
        if (!document)
            return std::nullopt;
        return std::pair { std::move(document->text), document->version };
    };
    bus.onSetDocument
        = [this](const std::string& folder, const std::string& name, const std::string& text,
              std::uint64_t version) { return m_documents.set(folder, name, text, version); };
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, [this] { m_model.saveAll(); });

    if (!m_model.settings().get().hasCompletedOnboarding) {
        m_firstRun = std::make_unique<FirstRunWindow>(
            m_model.settings(), m_hotkeys,
            FirstRunWindow::Session { .isWayland = isWaylandSession(),
                .hasGlobalShortcuts = !isWaylandSession()
                    || dynamic_cast<PortalHotKeys*>(m_hotkeyService.get()) != nullptr,
                .typesSnippets = isX11,
                .keepsEveryCopy = m_clipboard.hearsEveryChange(),
                .hasTray = QSystemTrayIcon::isSystemTrayAvailable() },
            [this] { return m_launcherHotkeyID.has_value(); }, [this] { showSettings(); });
        m_firstRun->show();
    }
}

LauncherApplication::~LauncherApplication() = default;

void LauncherApplication::applyTheme()
{
    const auto& settings = m_model.settings().get();
    const auto& theme = m_model.customThemes().get().theme(settings.themeID);
    m_panel.setStyle(PanelStyle::make(theme, desktopPrefersDark(), compositorRuns()));
    m_panel.setVerticalPosition(settings.verticalPosition);
}

void LauncherApplication::showSettings()
{
    if (!m_settingsWindow) {
        m_settingsWindow = std::make_unique<SettingsWindow>(SettingsWindow::Services {
            m_model, m_hotkeys, m_workflows, m_loop, processScripts(), [](const Theme& theme) {
                return PanelStyle::make(theme, desktopPrefersDark(), compositorRuns());
            } });
    }
    m_settingsWindow->present();
}

void LauncherApplication::registerLauncherHotkey()
{
    if (m_launcherHotkeyID)
        m_hotkeys.unregister(*m_launcherHotkeyID);
    const auto& combo = m_model.settings().get().hotkey;
    m_launcherHotkeyID = m_hotkeys.register_(combo, [this] {
        m_panel.traceFrom("hot key");
        m_launcher.toggle();
    });
    if (!m_launcherHotkeyID)
        std::fprintf(stderr, "Zeph Launcher: hotkey %s is unavailable\n",
            KeyTable::displayText(combo).c_str());
    rebuildTray();
}

void LauncherApplication::applyAutostart()
{
    auto executable = QCoreApplication::applicationFilePath().toStdString();
    if (auto error = Autostart::apply(
            m_model.settings().get().launchAtLogin, Autostart::folder(homeFolder()), executable))
        std::fprintf(stderr, "Zeph Launcher: %s\n", error->message.c_str());
}

void LauncherApplication::rebuildTray()
{
    const auto& settings = m_model.settings().get();
    if (!settings.showMenuBarIcon) {
        m_tray.reset();
        m_menu.reset();
        return;
    }
    auto shortcut = "Shortcut: " + KeyTable::displayText(settings.hotkey)
        + (m_launcherHotkeyID ? "" : " (unavailable)");
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        // Without a tray, what its menu would show of the hot key comes as a notification, once.
        if (!m_launcherHotkeyID && !m_hasToldTrayless) {
            m_hasToldTrayless = true;
            m_desktop.notify("Zeph Launcher",
                shortcut + ". Bind `zeph-launcher --toggle` in the keyboard settings.");
        }
        return;
    }
    auto menu = std::make_unique<QMenu>();
    QObject::connect(menu->addAction(QStringLiteral("Open Zeph Launcher")), &QAction::triggered,
        [this] { m_launcher.show(); });
    menu->addAction(QString::fromStdString(shortcut))->setEnabled(false);
    menu->addSeparator();
    auto* preferences = menu->addAction(QStringLiteral("Settings…"));
    preferences->setShortcut(QKeySequence(QStringLiteral("Ctrl+,")));
    QObject::connect(preferences, &QAction::triggered, [this] { showSettings(); });
    QObject::connect(menu->addAction(QStringLiteral("Reset Launcher Position")),
        &QAction::triggered, [this] { PanelPlacement::forgetPosition(m_model.dataFolder()); });
    QObject::connect(menu->addAction(QStringLiteral("Rebuild App Index")), &QAction::triggered,
        [this] { m_indexer.rescan(); });
    menu->addSeparator();
    auto* quit = menu->addAction(QStringLiteral("Quit Zeph Launcher"));
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    QObject::connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit);
    if (!m_tray) {
        m_tray = std::make_unique<QSystemTrayIcon>(QIcon::fromTheme(
            QStringLiteral("zeph-launcher"), QIcon::fromTheme(QStringLiteral("system-search"))));
        m_tray->setToolTip(QStringLiteral("Zeph Launcher"));
        QObject::connect(m_tray.get(), &QSystemTrayIcon::activated,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger)
                    m_launcher.toggle();
            });
    }
    m_tray->setContextMenu(menu.get());
    m_menu = std::move(menu);
    m_tray->show();
}

} // namespace zeph
