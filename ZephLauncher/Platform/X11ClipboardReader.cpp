#include "Platform/X11ClipboardReader.h"

#include "Platform/X11Connection.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <poll.h>
#include <vector>

#include <xcb/xcb.h>

namespace zeph {

namespace {

using Clock = std::chrono::steady_clock;

// An owner that has not answered by then is left to Qt, which waits longer.
constexpr auto answerTimeout = std::chrono::seconds(1);
// Larger offers come in pieces (INCR), which Qt reads.
constexpr std::uint32_t largestProperty = 16 * 1024 * 1024;

} // namespace

X11ClipboardReader::~X11ClipboardReader()
{
    disconnect();
}

bool X11ClipboardReader::connect()
{
    auto* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return false;
    }
    m_connection = connection;
    auto* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    m_window = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, m_window, screen->root, 0, 0, 1, 1, 0,
        XCB_WINDOW_CLASS_INPUT_ONLY, screen->root_visual, 0, nullptr);
    m_clipboard = internAtom(connection, "CLIPBOARD");
    m_targets = internAtom(connection, "TARGETS");
    m_utf8 = internAtom(connection, "UTF8_STRING");
    m_text = internAtom(connection, "TEXT");
    m_incr = internAtom(connection, "INCR");
    m_typesProperty = internAtom(connection, "ZEPH_CLIPBOARD_TYPES");
    m_textProperty = internAtom(connection, "ZEPH_CLIPBOARD_TEXT");
    return !xcb_connection_has_error(connection);
}

void X11ClipboardReader::disconnect()
{
    if (m_connection)
        xcb_disconnect(m_connection);
    m_connection = nullptr;
}

std::optional<ClipboardOffer> X11ClipboardReader::read()
{
    if (!m_connection && !connect()) {
        disconnect();
        return std::nullopt;
    }
    // Nothing queued may pass for an answer to this read.
    while (auto* event = xcb_poll_for_event(m_connection))
        std::free(event);
    xcb_convert_selection(
        m_connection, m_window, m_clipboard, m_targets, m_typesProperty, XCB_CURRENT_TIME);
    xcb_convert_selection(
        m_connection, m_window, m_clipboard, m_utf8, m_textProperty, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
    auto types = Answer::pending;
    auto text = Answer::pending;
    if (!awaitAnswers(types, text)) {
        // A late answer would land on this connection's window, so a fresh one is used next.
        disconnect();
        return std::nullopt;
    }
    // No owner, or one that names no types: nothing is on the clipboard.
    if (types == Answer::refused)
        return ClipboardOffer {};
    auto typesAsked = askProperty(m_typesProperty);
    auto textAsked = askProperty(m_textProperty);
    auto atomsBytes = takeProperty(typesAsked, 32);
    auto textBytes = takeProperty(textAsked, 8);
    if (!atomsBytes || text != Answer::given || !textBytes)
        return std::nullopt;
    std::vector<std::uint32_t> atoms(atomsBytes->size() / sizeof(std::uint32_t));
    std::copy_n(atomsBytes->data(), atoms.size() * sizeof(std::uint32_t),
        reinterpret_cast<char*>(atoms.data()));
    if (std::find(atoms.begin(), atoms.end(), m_utf8) == atoms.end())
        return std::nullopt;

    // Every name not known yet, asked for at once.
    std::vector<std::pair<std::uint32_t, xcb_get_atom_name_cookie_t>> asked;
    for (auto atom : atoms) {
        if (atom != XCB_ATOM_NONE && !m_typeNames.contains(atom)
            && std::none_of(
                asked.begin(), asked.end(), [&](const auto& pair) { return pair.first == atom; }))
            asked.emplace_back(atom, xcb_get_atom_name(m_connection, atom));
    }
    bool isNamed = true;
    for (const auto& [atom, cookie] : asked) {
        XcbReply<xcb_get_atom_name_reply_t> reply(
            xcb_get_atom_name_reply(m_connection, cookie, nullptr));
        isNamed = isNamed && reply;
        if (reply) {
            m_typeNames.emplace(atom,
                std::string(xcb_get_atom_name_name(reply.get()),
                    static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))));
        }
    }
    if (!isNamed)
        return std::nullopt;
    ClipboardOffer offer;
    for (auto atom : atoms) {
        if (atom == XCB_ATOM_NONE)
            continue;
        auto name = typeName(atom);
        if (name.starts_with("image/"))
            return std::nullopt;
        if (std::find(offer.types.begin(), offer.types.end(), name) == offer.types.end())
            offer.types.push_back(std::move(name));
    }
    offer.text = std::move(textBytes);
    return offer;
}

bool X11ClipboardReader::awaitAnswers(Answer& types, Answer& text)
{
    auto deadline = Clock::now() + answerTimeout;
    while (types == Answer::pending || text == Answer::pending) {
        auto* event = xcb_poll_for_event(m_connection);
        if (!event) {
            auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (xcb_connection_has_error(m_connection) || left.count() <= 0)
                return false;
            pollfd socket { xcb_get_file_descriptor(m_connection), POLLIN, 0 };
            ::poll(&socket, 1, static_cast<int>(left.count()));
            continue;
        }
        if ((event->response_type & ~0x80) == XCB_SELECTION_NOTIFY) {
            const auto* notify = reinterpret_cast<xcb_selection_notify_event_t*>(event);
            auto answer = notify->property == XCB_ATOM_NONE ? Answer::refused : Answer::given;
            if (notify->requestor == m_window && notify->selection == m_clipboard) {
                if (notify->target == m_targets)
                    types = answer;
                else if (notify->target == m_utf8)
                    text = answer;
            }
        }
        std::free(event);
    }
    return true;
}

xcb_get_property_cookie_t X11ClipboardReader::askProperty(std::uint32_t property)
{
    // Deleted on the way, as owners expect of a requestor that has read it.
    return xcb_get_property(
        m_connection, 1, m_window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, largestProperty / 4);
}

// The property's bytes when they are whole and of the format expected; nothing for an offer in
// pieces or none at all.
std::optional<std::string> X11ClipboardReader::takeProperty(
    xcb_get_property_cookie_t asked, std::uint8_t format)
{
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, asked, nullptr));
    if (!reply || reply->type == m_incr || reply->format != format || reply->bytes_after > 0)
        return std::nullopt;
    return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
        static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
}

// As Qt's clipboard names the type, so that the monitor's rules see the same names on both paths.
std::string X11ClipboardReader::typeName(std::uint32_t atom)
{
    if (atom == XCB_ATOM_STRING || atom == m_utf8 || atom == m_text)
        return "text/plain";
    if (atom == XCB_ATOM_PIXMAP)
        return "image/ppm";
    const auto& name = m_typeNames.at(atom);
    return name == "text/x-moz-url" ? "text/uri-list" : name;
}

} // namespace zeph
