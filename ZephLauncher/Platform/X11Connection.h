#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <xcb/xcb.h>

#include <QGuiApplication>

struct _XDisplay;

namespace zeph {

// Qt's own connection to the X server, or nothing: other platforms (Wayland, offscreen) may offer
// the X11 interface without a connection behind it.
inline xcb_connection_t* qtX11Connection()
{
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

inline _XDisplay* qtX11Display()
{
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 && x11->connection() ? x11->display() : nullptr;
}

// A reply of xcb, which the caller frees.
struct XcbFree {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply> using XcbReply = std::unique_ptr<Reply, XcbFree>;

// The atom of a name; with onlyIfExists, XCB_ATOM_NONE when no client made it yet.
inline std::uint32_t internAtom(
    xcb_connection_t* connection, std::string_view name, bool onlyIfExists = false)
{
    XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection,
        xcb_intern_atom(
            connection, onlyIfExists, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    if (!reply)
        return XCB_ATOM_NONE;
    return reply->atom;
}

} // namespace zeph
