#pragma once

#include <QGuiApplication>

struct _XDisplay;
struct xcb_connection_t;

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

} // namespace zeph
