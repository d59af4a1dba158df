#include "Platform/X11HotKeys.h"

#include "Platform/KeyTable.h"
#include "Platform/X11Connection.h"

#include <array>
#include <cstdlib>

#include <xcb/xcb.h>

#include <QGuiApplication>

#include <X11/Xlib.h>

namespace zeph {

namespace {

// Caps Lock and Num Lock change the state a key arrives with, so each grab is taken with both on
// and off.
constexpr auto lockVariants = std::to_array<std::uint16_t>(
    { 0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2, XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2 });

std::uint16_t x11Modifiers(KeyCombo::Modifiers modifiers)
{
    using Modifiers = KeyCombo::Modifiers;
    std::uint16_t mask = 0;
    if (modifiers.contains(Modifiers::control))
        mask |= XCB_MOD_MASK_CONTROL;
    if (modifiers.contains(Modifiers::option))
        mask |= XCB_MOD_MASK_1;
    if (modifiers.contains(Modifiers::shift))
        mask |= XCB_MOD_MASK_SHIFT;
    if (modifiers.contains(Modifiers::command))
        mask |= XCB_MOD_MASK_4;
    return mask;
}

} // namespace

X11HotKeys::X11HotKeys()
{
    m_connection = qtX11Connection();
    if (!m_connection)
        return;
    m_display = qtX11Display();
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    qGuiApp->installNativeEventFilter(this);
}

X11HotKeys::~X11HotKeys()
{
    for (auto& [id, grab] : m_grabs)
        ungrab(grab);
    if (m_connection)
        xcb_flush(m_connection);
}

bool X11HotKeys::grab(std::uint32_t id, const KeyCombo& combo)
{
    release(id);
    auto keySym = KeyTable::x11KeySym(combo.keyCode);
    if (!m_connection || !keySym)
        return false;
    auto keyCode = XKeysymToKeycode(m_display, *keySym);
    if (keyCode == 0)
        return false;
    Grab grab { .keyCode = static_cast<std::uint8_t>(keyCode),
        .modifiers = x11Modifiers(combo.modifiers) };
    std::array<xcb_void_cookie_t, lockVariants.size()> cookies {};
    for (std::size_t index = 0; index < lockVariants.size(); ++index)
        cookies[index]
            = xcb_grab_key_checked(m_connection, 1, m_root, grab.modifiers | lockVariants[index],
                grab.keyCode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    bool refused = false;
    for (auto cookie : cookies) {
        if (auto* error = xcb_request_check(m_connection, cookie)) {
            refused = true;
            std::free(error);
        }
    }
    if (refused) {
        ungrab(grab);
        xcb_flush(m_connection);
        return false;
    }
    m_grabs.emplace(id, grab);
    return true;
}

void X11HotKeys::release(std::uint32_t id)
{
    auto found = m_grabs.find(id);
    if (found == m_grabs.end())
        return;
    ungrab(found->second);
    m_grabs.erase(found);
    xcb_flush(m_connection);
}

void X11HotKeys::ungrab(const Grab& grab)
{
    // Ungrabbing a variant that another client holds does nothing to that client's grab.
    for (auto variant : lockVariants)
        xcb_ungrab_key(m_connection, grab.keyCode, m_root, grab.modifiers | variant);
}

void X11HotKeys::setHandler(std::function<void(std::uint32_t)> handler)
{
    m_handler = std::move(handler);
}

bool X11HotKeys::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    auto* event = static_cast<xcb_generic_event_t*>(message);
    if ((event->response_type & ~0x80) != XCB_KEY_PRESS)
        return false;
    auto* press = reinterpret_cast<xcb_key_press_event_t*>(event);
    if (press->event != m_root)
        return false;
    auto state
        = static_cast<std::uint16_t>(press->state & ~(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2) & 0xff);
    for (auto& [id, grab] : m_grabs) {
        if (grab.keyCode == press->detail && grab.modifiers == state) {
            if (m_handler)
                m_handler(id);
            return true;
        }
    }
    return false;
}

} // namespace zeph
