#pragma once

#include "Logic/KeyEventSource.h"

#include <array>
#include <cstdint>
#include <memory>

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;
struct xkb_compose_state;
class QSocketNotifier;

namespace zeph {

class AccessibleFocus;
class X11KeyInjector;

// Every key press on the X11 desktop, without a grab: XInput2 raw events on a connection of its
// own, which announces XInput 2.0, so that nothing arrives while another client grabs the keyboard
// (a password prompt, a lock screen). Key codes become text through xkbcommon with the present
// layout, its modifiers from XKB's own state, and dead keys through the locale's compose table. A
// password field that the accessibility bus reports as focused is secure input too.
class X11KeyEvents final : public KeyEventSource {
public:
    // `injector` tells which XTest presses are the application's own.
    X11KeyEvents(const X11KeyInjector& injector, const AccessibleFocus& accessibleFocus);
    ~X11KeyEvents() override;
    X11KeyEvents(const X11KeyEvents&) = delete;
    X11KeyEvents& operator=(const X11KeyEvents&) = delete;

    bool start(std::function<void(const KeyPress&)> onKeyDown,
        std::function<void()> onPointerDown) override;
    void stop() override;
    bool isListening() const override { return m_isListening; }
    bool isSecureInput() const override;

private:
    bool connect();
    void loadKeymap();
    void readEvents();
    void keyPressed(std::uint32_t keyCode, std::uint16_t sourceDevice);
    void select(bool isOn);

    const X11KeyInjector& m_injector;
    const AccessibleFocus& m_accessibleFocus;
    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::uint8_t m_inputOpcode = 0;
    std::uint8_t m_xkbEvent = 0;
    std::int32_t m_keyboard = -1;
    std::uint16_t m_xtestKeyboard = 0;
    xkb_context* m_context = nullptr;
    xkb_keymap* m_keymap = nullptr;
    xkb_state* m_state = nullptr;
    xkb_compose_state* m_compose = nullptr;
    // The index in the keymap of each modifier a press reports, found once rather than by name at
    // every press.
    std::array<std::uint32_t, 4> m_modifierIndices {};
    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_isListening = false;
    std::function<void(const KeyPress&)> m_onKeyDown;
    std::function<void()> m_onPointerDown;
};

} // namespace zeph
