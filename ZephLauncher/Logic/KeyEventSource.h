#pragma once

#include "Storage/KeyCombo.h"

#include <cstdint>
#include <functional>
#include <string>

namespace zeph {

// A key going down anywhere on the desktop.
struct KeyPress {
    std::uint32_t keyCode = 0; // The virtual key code of the stored combos.
    std::string characters {}; // What it types with the present layout; empty for none.
    KeyCombo::Modifiers modifiers {};
    bool isSynthetic = false; // Made by the application's own KeyInjector.
};

// Every key press on the desktop, without taking any (XInput2 raw events on X11), for typed
// expansion. All calls on the main thread.
class KeyEventSource {
public:
    virtual ~KeyEventSource() = default;

    // Starts listening; false when the session allows none (Wayland, no display).
    virtual bool start(
        std::function<void(const KeyPress&)> onKeyDown, std::function<void()> onPointerDown)
        = 0;
    virtual void stop() = 0;
    virtual bool isListening() const = 0;
    // Another program holds the keyboard (a password prompt, a lock screen), or the focused
    // field is a password field.
    virtual bool isSecureInput() const = 0;
};

} // namespace zeph
