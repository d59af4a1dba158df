#include "Platform/X11KeyInjector.h"

#include "Platform/KeyTable.h"
#include "Platform/Trace.h"
#include "Platform/X11Connection.h"

#include <vector>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace zeph {

X11KeyInjector::X11KeyInjector()
    : m_display(qtX11Display())
{
}

void X11KeyInjector::tap(std::uint32_t keyCode, KeyCombo::Modifiers modifiers)
{
    auto keySym = KeyTable::x11KeySym(keyCode);
    if (!m_display || !keySym)
        return;
    // Ctrl+V (with Shift in terminals) is the paste chord of an expansion.
    if (TraceTimer::isOn() && modifiers.contains(KeyCombo::Modifiers::control)
        && keyCode == KeyCode::code("v"))
        TraceTimer::reportSinceKeyPress("an expansion, from its last key to the paste chord,");
    using Modifiers = KeyCombo::Modifiers;
    std::vector<::KeyCode> held;
    for (auto [modifier, sym] : { std::pair { Modifiers::control, XK_Control_L },
             std::pair { Modifiers::option, XK_Alt_L }, std::pair { Modifiers::shift, XK_Shift_L },
             std::pair { Modifiers::command, XK_Super_L } }) {
        if (modifiers.contains(modifier))
            held.push_back(XKeysymToKeycode(m_display, sym));
    }
    auto now = Clock::now();
    for (std::size_t press = 0; press <= held.size(); ++press)
        m_injectedPresses.push_back(now);
    for (auto code : held)
        XTestFakeKeyEvent(m_display, code, True, CurrentTime);
    auto code = XKeysymToKeycode(m_display, *keySym);
    XTestFakeKeyEvent(m_display, code, True, CurrentTime);
    XTestFakeKeyEvent(m_display, code, False, CurrentTime);
    for (auto it = held.rbegin(); it != held.rend(); ++it)
        XTestFakeKeyEvent(m_display, *it, False, CurrentTime);
    XFlush(m_display);
}

} // namespace zeph

namespace zeph {

bool X11KeyInjector::takeInjectedPress() const
{
    auto oldest = Clock::now() - std::chrono::seconds(1);
    while (!m_injectedPresses.empty() && m_injectedPresses.front() < oldest)
        m_injectedPresses.pop_front();
    if (m_injectedPresses.empty())
        return false;
    m_injectedPresses.pop_front();
    return true;
}

} // namespace zeph
