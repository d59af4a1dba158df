#pragma once

#include "Logic/FocusedApplication.h"

#include <memory>

struct xcb_connection_t;
class QSocketNotifier;

namespace zeph {

// The focused window as the window manager announces it (_NET_ACTIVE_WINDOW), named by its
// WM_CLASS and _NET_WM_NAME. Asked on every key press that types, so the answer is kept until the
// root's or that window's properties change, which a connection of its own hears.
class X11Focus final : public FocusedApplication {
public:
    X11Focus();
    ~X11Focus() override;
    X11Focus(const X11Focus&) = delete;
    X11Focus& operator=(const X11Focus&) = delete;

    std::optional<ApplicationIdentity> current() const override;

private:
    std::optional<ApplicationIdentity> read() const;
    void readEvents();

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::uint32_t m_activeAtom = 0;
    std::uint32_t m_nameAtom = 0;
    std::uint32_t m_utf8Atom = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    mutable bool m_isCurrent = false;
    mutable std::uint32_t m_window = 0;
    mutable std::optional<ApplicationIdentity> m_identity;
};

} // namespace zeph
