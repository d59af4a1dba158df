#include "Platform/X11StartupNotifier.h"

#include "Platform/X11Connection.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QInputEvent>
#include <QTimer>

namespace zeph {

namespace {

// Window managers end a launch whose window never comes; this ends it for those that do not.
constexpr int launchTimeoutMs = 30'000;

const char* const notifierKey = "zeph-startup-notifier";

std::string string(const char* text)
{
    return text ? text : "";
}

// The notifier that made the context, which answers for it.
X11StartupNotifier* notifierOf(GAppLaunchContext* context)
{
    return static_cast<X11StartupNotifier*>(g_object_get_data(G_OBJECT(context), notifierKey));
}

// The GIO launch context whose startup ids come from the notifier set on it.
char* startupID(GAppLaunchContext* context, GAppInfo* application, GList*)
{
    auto* notifier = notifierOf(context);
    if (!notifier)
        return nullptr;
    std::string icon;
    if (auto* themed = g_app_info_get_icon(application); themed && G_IS_THEMED_ICON(themed)) {
        auto* names = g_themed_icon_get_names(G_THEMED_ICON(themed));
        icon = names && names[0] ? names[0] : "";
    }
    std::string windowClass, desktopFile;
    if (G_IS_DESKTOP_APP_INFO(application)) {
        auto* entry = G_DESKTOP_APP_INFO(application);
        windowClass = string(g_desktop_app_info_get_startup_wm_class(entry));
        desktopFile = string(g_desktop_app_info_get_filename(entry));
    }
    auto id = notifier->begin(string(g_app_info_get_name(application)),
        string(g_app_info_get_executable(application)), icon, windowClass, desktopFile);
    return g_strdup(id.c_str());
}

void launchFailed(GAppLaunchContext* context, const char* id)
{
    if (auto* notifier = notifierOf(context))
        notifier->end(string(id));
}

void initialiseClass(gpointer typeClass, gpointer)
{
    auto* contextClass = static_cast<GAppLaunchContextClass*>(typeClass);
    contextClass->get_startup_notify_id = startupID;
    contextClass->launch_failed = launchFailed;
}

GType launchContextType()
{
    static GType type = g_type_register_static_simple(G_TYPE_APP_LAUNCH_CONTEXT,
        "ZephLaunchContext", sizeof(GAppLaunchContextClass), initialiseClass,
        sizeof(GAppLaunchContext), nullptr, GTypeFlags {});
    return type;
}

std::string hostName()
{
    std::array<char, 256> name {};
    if (gethostname(name.data(), name.size() - 1) != 0)
        return "localhost";
    return name.data();
}

} // namespace

std::string startupMessage(
    std::string_view kind, const std::vector<std::pair<std::string, std::string>>& values)
{
    std::string message(kind);
    message += ':';
    for (const auto& [key, value] : values) {
        if (value.empty())
            continue;
        message += ' ';
        message += key;
        message += "=\"";
        for (char character : value) {
            if (character == '"' || character == '\\')
                message += '\\';
            message += character;
        }
        message += '"';
    }
    return message;
}

X11StartupNotifier::X11StartupNotifier()
{
    m_connection = qtX11Connection();
    if (!m_connection)
        return;
    auto* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    m_root = screen->root;
    // The messages come from a window of their own, as receivers expect a sender window.
    m_window = xcb_generate_id(m_connection);
    std::uint32_t overrideRedirect = 1;
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, m_root, -100, -100, 1, 1, 0,
        XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
        &overrideRedirect);
    m_beginAtom = internAtom(m_connection, "_NET_STARTUP_INFO_BEGIN");
    m_moreAtom = internAtom(m_connection, "_NET_STARTUP_INFO");
    QCoreApplication::instance()->installEventFilter(this);
}

X11StartupNotifier::~X11StartupNotifier()
{
    if (!m_connection)
        return;
    xcb_destroy_window(m_connection, m_window);
    xcb_flush(m_connection);
}

bool X11StartupNotifier::eventFilter(QObject* watched, QEvent* event)
{
    // On X11 an input event's time stamp is the server's time, which the window manager compares
    // with the time of the last input to other windows.
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress:
        if (auto time = static_cast<QInputEvent*>(event)->timestamp(); time != 0)
            m_userTime = time;
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

GAppLaunchContext* X11StartupNotifier::newContext()
{
    if (!m_connection)
        return g_app_launch_context_new();
    auto* context = G_APP_LAUNCH_CONTEXT(g_object_new(launchContextType(), nullptr));
    g_object_set_data(G_OBJECT(context), notifierKey, this);
    return context;
}

std::string X11StartupNotifier::begin(const std::string& name, const std::string& executable,
    const std::string& icon, const std::string& windowClass, const std::string& desktopFile)
{
    auto id = "zeph-launcher-" + std::to_string(getpid()) + '-' + hostName() + '-'
        + std::to_string(++m_sequence) + "_TIME" + std::to_string(m_userTime);
    send(startupMessage("new",
        { { "ID", id }, { "NAME", name }, { "SCREEN", "0" }, { "BIN", executable },
            { "ICON", icon }, { "DESCRIPTION", "Starting " + name }, { "WMCLASS", windowClass },
            { "APPLICATION_ID", desktopFile }, { "TIMESTAMP", std::to_string(m_userTime) } }));
    m_pending.push_back(id);
    QTimer::singleShot(launchTimeoutMs, this, [this, id] { end(id); });
    return id;
}

void X11StartupNotifier::end(const std::string& id)
{
    auto found = std::find(m_pending.begin(), m_pending.end(), id);
    if (found == m_pending.end())
        return;
    m_pending.erase(found);
    send(startupMessage("remove", { { "ID", id } }));
}

void X11StartupNotifier::send(const std::string& message)
{
    // The message goes out in 20-byte pieces, the first marked as the beginning, and ends with
    // its terminating zero.
    constexpr std::size_t pieceSize = 20;
    auto length = message.size() + 1;
    for (std::size_t offset = 0; offset < length; offset += pieceSize) {
        xcb_client_message_event_t event {};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 8;
        event.window = m_window;
        event.type = offset == 0 ? m_beginAtom : m_moreAtom;
        std::memcpy(
            event.data.data8, message.c_str() + offset, std::min(pieceSize, length - offset));
        xcb_send_event(m_connection, 0, m_root, XCB_EVENT_MASK_PROPERTY_CHANGE,
            reinterpret_cast<const char*>(&event));
    }
    xcb_flush(m_connection);
}

} // namespace zeph
