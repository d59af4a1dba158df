#pragma once

#include "Logic/KeyInjector.h"

struct _XDisplay;

namespace zeph {

// Keys typed into the focused window through XTest.
class X11KeyInjector final : public KeyInjector {
public:
    X11KeyInjector();
    void tap(std::uint32_t keyCode, KeyCombo::Modifiers modifiers = {}) override;

private:
    _XDisplay* m_display = nullptr;
};

} // namespace zeph
