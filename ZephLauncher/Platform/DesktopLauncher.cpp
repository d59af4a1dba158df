#include "Platform/DesktopLauncher.h"

#include <cstdio>
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <QApplication>
#include <QClipboard>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QMimeDatabase>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QUrl>

namespace zeph {

namespace {

QString fileURI(const std::string& path)
{
    return QUrl::fromLocalFile(QString::fromStdString(path)).toString();
}

bool hasBusName(const QString& name)
{
    auto* bus = QDBusConnection::sessionBus().interface();
    return bus && bus->isServiceRegistered(name).value();
}

// A call whose answer nobody waits for; false when the service is not on the bus.
bool callSession(const QString& service, const QString& path, const QString& interface,
    const QString& method, const QVariantList& arguments)
{
    if (!hasBusName(service))
        return false;
    auto message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().send(message);
}

void runDetached(const QString& program, const QStringList& arguments)
{
    if (!QProcess::startDetached(program, arguments))
        std::fprintf(stderr, "Zeph Launcher: could not run %s\n", program.toUtf8().constData());
}

void toggleDarkMode()
{
    static constexpr const char* schema = "org.gnome.desktop.interface";
    auto* source = g_settings_schema_source_get_default();
    auto* found = source ? g_settings_schema_source_lookup(source, schema, TRUE) : nullptr;
    // GSettings aborts on a schema that is not installed, so it is looked up first.
    if (!found || !g_settings_schema_has_key(found, "color-scheme")) {
        if (found)
            g_settings_schema_unref(found);
        return;
    }
    g_settings_schema_unref(found);
    auto* settings = g_settings_new(schema);
    auto* scheme = g_settings_get_string(settings, "color-scheme");
    bool isDark = g_strcmp0(scheme, "prefer-dark") == 0;
    g_settings_set_string(settings, "color-scheme", isDark ? "default" : "prefer-dark");
    g_settings_sync();
    g_free(scheme);
    g_object_unref(settings);
}

void ejectAll()
{
    auto* monitor = g_volume_monitor_get();
    auto* mounts = g_volume_monitor_get_mounts(monitor);
    for (auto* item = mounts; item; item = item->next) {
        auto* mount = G_MOUNT(item->data);
        if (g_mount_can_eject(mount))
            g_mount_eject_with_operation(
                mount, G_MOUNT_UNMOUNT_NONE, nullptr, nullptr, nullptr, nullptr);
    }
    g_list_free_full(mounts, g_object_unref);
    g_object_unref(monitor);
}

// Log out, restart and shut down ask the session manager, so that applications may save first.
void endSession(SystemCommand command)
{
    const char* gnome = command == SystemCommand::logOut ? "Logout"
        : command == SystemCommand::restart              ? "Reboot"
                                                         : "Shutdown";
    QVariantList gnomeArguments;
    if (command == SystemCommand::logOut)
        gnomeArguments << QVariant::fromValue(1u); // No second confirmation: ours was the one.
    if (callSession(QStringLiteral("org.gnome.SessionManager"),
            QStringLiteral("/org/gnome/SessionManager"), QStringLiteral("org.gnome.SessionManager"),
            QString::fromLatin1(gnome), gnomeArguments))
        return;
    const char* kde = command == SystemCommand::logOut ? "logout"
        : command == SystemCommand::restart            ? "logoutAndReboot"
                                                       : "logoutAndShutdown";
    if (callSession(QStringLiteral("org.kde.Shutdown"), QStringLiteral("/Shutdown"),
            QStringLiteral("org.kde.Shutdown"), QString::fromLatin1(kde), {}))
        return;
    if (command == SystemCommand::logOut)
        runDetached(QStringLiteral("loginctl"),
            { QStringLiteral("terminate-session"), qEnvironmentVariable("XDG_SESSION_ID") });
    else
        runDetached(QStringLiteral("systemctl"),
            { command == SystemCommand::restart ? QStringLiteral("reboot")
                                                : QStringLiteral("poweroff") });
}

// Large type: the text across the screen, until a key or a click.
class LargeType final : public QLabel {
public:
    explicit LargeType(const QString& text)
        : QLabel(text, nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    {
        setAttribute(Qt::WA_DeleteOnClose);
        setWordWrap(true);
        setAlignment(Qt::AlignCenter);
        setStyleSheet(QStringLiteral("QLabel { background: rgba(0,0,0,200); color: white; padding: "
                                     "40px; border-radius: 24px; }"));
        auto font = this->font();
        font.setPixelSize(text.size() < 30 ? 96 : 48);
        setFont(font);
        auto* screen = QGuiApplication::screenAt(QCursor::pos());
        auto area = (screen ? screen : QGuiApplication::primaryScreen())->availableGeometry();
        setMaximumWidth(area.width() * 9 / 10);
        adjustSize();
        move(area.center() - rect().center());
    }

protected:
    void keyPressEvent(QKeyEvent*) override { close(); }
    void mousePressEvent(QMouseEvent*) override { close(); }
    void focusOutEvent(QFocusEvent*) override { close(); }
};

} // namespace

void DesktopLauncher::launch(GAppInfo* application, const QStringList& uris)
{
    GList* list = nullptr;
    for (const auto& uri : uris)
        list = g_list_append(list, g_strdup(uri.toUtf8().constData()));
    GError* error = nullptr;
    auto* context = m_startup.newContext();
    if (!g_app_info_launch_uris(application, list, context, &error)) {
        std::fprintf(stderr, "Zeph Launcher: could not start %s: %s\n",
            g_app_info_get_name(application), error ? error->message : "unknown error");
        g_clear_error(&error);
    }
    g_object_unref(context);
    g_list_free_full(list, g_free);
}

void DesktopLauncher::openWithDefault(const QUrl& url)
{
    // GIO's handler lookup launches with startup notification; Qt's, through xdg-open, without.
    auto* context = m_startup.newContext();
    bool opened = g_app_info_launch_default_for_uri(
        url.toString(QUrl::FullyEncoded).toUtf8().constData(), context, nullptr);
    g_object_unref(context);
    if (!opened)
        QDesktopServices::openUrl(url);
}

void DesktopLauncher::askFileManager(const QString& method, const std::string& path)
{
    // Without the file manager's interface, the folder that holds the file opens.
    if (!callSession(QStringLiteral("org.freedesktop.FileManager1"),
            QStringLiteral("/org/freedesktop/FileManager1"),
            QStringLiteral("org.freedesktop.FileManager1"), method,
            { QStringList { fileURI(path) }, QString() }))
        openWithDefault(
            QUrl::fromLocalFile(QFileInfo(QString::fromStdString(path)).absolutePath()));
}

void DesktopLauncher::launchApplication(const std::string& desktopFile)
{
    auto* application = g_desktop_app_info_new_from_filename(desktopFile.c_str());
    if (!application) {
        // A desktop-file id rather than a path, as system settings carry.
        application = g_desktop_app_info_new(desktopFile.c_str());
    }
    if (!application) {
        std::fprintf(stderr, "Zeph Launcher: no application in %s\n", desktopFile.c_str());
        return;
    }
    launch(G_APP_INFO(application), {});
    g_object_unref(application);
}

void DesktopLauncher::openURL(const std::string& url)
{
    auto text = QString::fromStdString(url);
    openWithDefault(text.startsWith(u'/') ? QUrl::fromLocalFile(text) : QUrl(text));
}

void DesktopLauncher::openFile(
    const std::string& path, const std::optional<std::string>& applicationID)
{
    if (applicationID) {
        auto id = *applicationID + ".desktop";
        if (auto* application = g_desktop_app_info_new(id.c_str())) {
            launch(G_APP_INFO(application), { fileURI(path) });
            g_object_unref(application);
            return;
        }
    }
    openWithDefault(QUrl::fromLocalFile(QString::fromStdString(path)));
}

void DesktopLauncher::reveal(const std::string& path)
{
    askFileManager(QStringLiteral("ShowItems"), path);
}

void DesktopLauncher::preview(const std::string& path)
{
    if (callSession(QStringLiteral("org.gnome.NautilusPreviewer"),
            QStringLiteral("/org/gnome/NautilusPreviewer"),
            QStringLiteral("org.gnome.NautilusPreviewer"), QStringLiteral("ShowFile"),
            { fileURI(path), 0, false }))
        return;
    openFile(path, std::nullopt);
}

void DesktopLauncher::showProperties(const std::string& path)
{
    askFileManager(QStringLiteral("ShowItemProperties"), path);
}

bool DesktopLauncher::moveToTrash(const std::string& path)
{
    return QFile::moveToTrash(QString::fromStdString(path));
}

std::optional<std::string> DesktopLauncher::defaultApplicationName(const std::string& path)
{
    static const QMimeDatabase database;
    auto type = database.mimeTypeForFile(QString::fromStdString(path)).name().toUtf8();
    auto* application = g_app_info_get_default_for_type(type.constData(), FALSE);
    if (!application)
        return std::nullopt;
    std::string name = g_app_info_get_name(application);
    g_object_unref(application);
    return name;
}

void DesktopLauncher::runSystemCommand(SystemCommand command)
{
    switch (command) {
    case SystemCommand::lock:
        runDetached(QStringLiteral("loginctl"), { QStringLiteral("lock-session") });
        break;
    case SystemCommand::sleep:
        runDetached(QStringLiteral("systemctl"), { QStringLiteral("suspend") });
        break;
    case SystemCommand::sleepDisplays:
        runDetached(QStringLiteral("xset"),
            { QStringLiteral("dpms"), QStringLiteral("force"), QStringLiteral("off") });
        break;
    case SystemCommand::screenSaver:
        runDetached(QStringLiteral("xdg-screensaver"), { QStringLiteral("activate") });
        break;
    case SystemCommand::emptyTrash:
        runDetached(QStringLiteral("gio"), { QStringLiteral("trash"), QStringLiteral("--empty") });
        break;
    case SystemCommand::logOut:
    case SystemCommand::restart:
    case SystemCommand::shutDown:
        endSession(command);
        break;
    case SystemCommand::ejectAll:
        ejectAll();
        break;
    case SystemCommand::toggleDarkMode:
        toggleDarkMode();
        break;
    }
}

void DesktopLauncher::confirm(
    const std::string& question, const std::string& action, std::function<void(bool)> answer)
{
    auto* box = new QMessageBox(
        QMessageBox::Question, QStringLiteral("Zeph Launcher"), QString::fromStdString(question));
    box->setAttribute(Qt::WA_DeleteOnClose);
    auto* go = box->addButton(QString::fromStdString(action), QMessageBox::AcceptRole);
    box->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(go);
    QObject::connect(box, &QMessageBox::finished, box,
        [box, go, answer = std::move(answer)](int) { answer(box->clickedButton() == go); });
    box->open();
    box->raise();
    box->activateWindow();
}

void DesktopLauncher::beep()
{
    QApplication::beep();
}

void DesktopLauncher::showLargeType(const std::string& text)
{
    auto* window = new LargeType(QString::fromStdString(text));
    window->show();
    window->activateWindow();
}

std::string DesktopLauncher::selectedText()
{
    return QGuiApplication::clipboard()->text(QClipboard::Selection).toStdString();
}

void DesktopLauncher::notify(const std::string& title, const std::string& body)
{
    if (callSession(QStringLiteral("org.freedesktop.Notifications"),
            QStringLiteral("/org/freedesktop/Notifications"),
            QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"),
            { QStringLiteral("Zeph Launcher"), 0u, QStringLiteral("zeph-launcher"),
                QString::fromStdString(title), QString::fromStdString(body), QStringList(),
                QVariantMap(), -1 }))
        return;
    std::fprintf(stderr, "Zeph Launcher: %s: %s\n", title.c_str(), body.c_str());
}

} // namespace zeph
