#include "Platform/X11Focus.h"

#include <algorithm>

#include <QGuiApplication>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace zeph {

namespace {

std::string lowercased(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
    return text;
}

} // namespace

X11Focus::X11Focus()
{
    if (auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        m_display = x11->display();
}

std::optional<ApplicationIdentity> X11Focus::current() const
{
    if (!m_display)
        return std::nullopt;
    auto root = DefaultRootWindow(m_display);
    auto activeAtom = XInternAtom(m_display, "_NET_ACTIVE_WINDOW", True);
    if (activeAtom == None)
        return std::nullopt;
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(m_display, root, activeAtom, 0, 1, False, XA_WINDOW, &type, &format,
            &count, &after, &data)
            != Success
        || !data || count == 0) {
        if (data)
            XFree(data);
        return std::nullopt;
    }
    Window window = *reinterpret_cast<Window*>(data);
    XFree(data);
    if (window == None)
        return std::nullopt;
    ApplicationIdentity identity;
    XClassHint hint {};
    if (XGetClassHint(m_display, window, &hint)) {
        identity.id = lowercased(hint.res_name ? hint.res_name : "");
        identity.windowClass = hint.res_class ? hint.res_class : "";
        if (hint.res_name)
            XFree(hint.res_name);
        if (hint.res_class)
            XFree(hint.res_class);
    }
    auto nameAtom = XInternAtom(m_display, "_NET_WM_NAME", True);
    auto utf8 = XInternAtom(m_display, "UTF8_STRING", True);
    if (nameAtom != None
        && XGetWindowProperty(m_display, window, nameAtom, 0, 256, False, utf8, &type, &format,
               &count, &after, &data)
            == Success
        && data) {
        identity.name.assign(reinterpret_cast<char*>(data), count);
        XFree(data);
    }
    if (identity.id.empty())
        identity.id = lowercased(identity.windowClass);
    return identity;
}

} // namespace zeph
