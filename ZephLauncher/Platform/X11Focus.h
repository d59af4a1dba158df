#pragma once

#include "Logic/FocusedApplication.h"

struct _XDisplay;

namespace zeph {

// The focused window as the window manager announces it (_NET_ACTIVE_WINDOW), named by its
// WM_CLASS and _NET_WM_NAME.
class X11Focus final : public FocusedApplication {
public:
    X11Focus();
    std::optional<ApplicationIdentity> current() const override;

private:
    _XDisplay* m_display = nullptr;
};

} // namespace zeph
