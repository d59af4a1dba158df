#include "Platform/X11Focus.h"

#include "Platform/X11Connection.h"
#include "Support/Text.h"

#include <cstdlib>
#include <cstring>

#include <xcb/xcb.h>

#include <QSocketNotifier>

namespace zeph {

namespace {

// A property's bytes; empty when the window has none.
std::string property(xcb_connection_t* connection, std::uint32_t window, std::uint32_t name,
    std::uint32_t type, std::uint32_t length)
{
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, name, type, 0, length), nullptr));
    if (!reply)
        return {};
    return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
        static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
}

} // namespace

X11Focus::X11Focus()
{
    auto* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return;
    }
    m_connection = connection;
    m_root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    m_activeAtom = internAtom(connection, "_NET_ACTIVE_WINDOW");
    m_nameAtom = internAtom(connection, "_NET_WM_NAME");
    m_utf8Atom = internAtom(connection, "UTF8_STRING");
    std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection, m_root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection);
    m_notifier = std::make_unique<QSocketNotifier>(
        xcb_get_file_descriptor(connection), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { readEvents(); });
}

X11Focus::~X11Focus()
{
    m_notifier.reset();
    if (m_connection)
        xcb_disconnect(m_connection);
}

void X11Focus::readEvents()
{
    while (auto* event = xcb_poll_for_event(m_connection)) {
        if ((event->response_type & ~0x80) == XCB_PROPERTY_NOTIFY) {
            auto* change = reinterpret_cast<xcb_property_notify_event_t*>(event);
            // Only the properties read count: a toolkit sets the window's _NET_WM_USER_TIME on
            // every key press, which would make every key press ask the server again.
            if ((change->window == m_root && change->atom == m_activeAtom)
                || (change->window == m_window
                    && (change->atom == XCB_ATOM_WM_CLASS || change->atom == m_nameAtom)))
                m_isCurrent = false;
        }
        std::free(event);
    }
}

std::optional<ApplicationIdentity> X11Focus::current() const
{
    if (!m_connection)
        return std::nullopt;
    if (!m_isCurrent) {
        m_identity = read();
        m_isCurrent = true;
    }
    return m_identity;
}

std::optional<ApplicationIdentity> X11Focus::read() const
{
    auto active = property(m_connection, m_root, m_activeAtom, XCB_GET_PROPERTY_TYPE_ANY, 1);
    std::uint32_t window = 0;
    if (active.size() == sizeof window)
        std::memcpy(&window, active.data(), sizeof window);
    if (window != m_window && window != 0) {
        // Its own name changes are heard too, until another window has the focus.
        std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(m_connection);
    }
    m_window = window;
    if (window == 0)
        return std::nullopt;
    ApplicationIdentity identity;
    // WM_CLASS: the instance and the class, each ended by a NUL.
    auto classes = property(m_connection, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 256);
    auto split = classes.find('\0');
    identity.id = lowercasedText(classes.substr(0, split));
    if (split != std::string::npos)
        identity.windowClass = classes.substr(split + 1, classes.find('\0', split + 1) - split - 1);
    identity.name = property(m_connection, window, m_nameAtom, m_utf8Atom, 256);
    if (identity.id.empty())
        identity.id = lowercasedText(identity.windowClass);
    return identity;
}

} // namespace zeph
