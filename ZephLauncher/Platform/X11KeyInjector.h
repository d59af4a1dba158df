#pragma once

#include "Logic/KeyInjector.h"

#include <chrono>
#include <deque>

struct _XDisplay;

namespace zeph {

// Keys typed into the focused window through XTest.
class X11KeyInjector final : public KeyInjector {
public:
    X11KeyInjector();
    void tap(std::uint32_t keyCode, KeyCombo::Modifiers modifiers = {}) override;

    // True, once for each, for the presses this injector made in the last second: XTest presses
    // of other programs come from the same device and are the user's typing.
    bool takeInjectedPress() const;

private:
    using Clock = std::chrono::steady_clock;
    _XDisplay* m_display = nullptr;
    mutable std::deque<Clock::time_point> m_injectedPresses;
};

} // namespace zeph
