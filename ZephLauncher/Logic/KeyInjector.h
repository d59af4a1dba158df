#pragma once

#include "Storage/KeyCombo.h"

#include <cstdint>

namespace zeph {

// Types keys into whatever has the focus (XTest on X11). Every key it makes is marked, so that the
// application's own key listener knows it and ignores it.
class KeyInjector {
public:
    virtual ~KeyInjector() = default;
    // A press and release of the key with the virtual key code of the stored combos (51 Delete,
    // 9 V, 123 Left…), with the modifiers held.
    virtual void tap(std::uint32_t keyCode, KeyCombo::Modifiers modifiers = {}) = 0;
};

} // namespace zeph
