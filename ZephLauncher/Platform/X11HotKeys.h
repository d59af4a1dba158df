#pragma once

#include "Logic/HotKeyService.h"

#include <map>
#include <vector>

#include <QAbstractNativeEventFilter>

struct _XDisplay;
struct xcb_connection_t;

namespace zeph {

// Global hot keys on X11: a passive grab of the key on the root window, once for every state of
// Caps Lock and Num Lock, all or none. The X server answers BadAccess when another client holds
// one of them, which is how a refusal is known.
class X11HotKeys final
    : public HotKeyService
    , public QAbstractNativeEventFilter {
public:
    X11HotKeys();
    ~X11HotKeys() override;
    X11HotKeys(const X11HotKeys&) = delete;
    X11HotKeys& operator=(const X11HotKeys&) = delete;

    // False without an X11 display (Wayland, no display): then every grab is refused.
    bool isAvailable() const { return m_connection != nullptr; }

    bool grab(std::uint32_t id, const KeyCombo& combo) override;
    void release(std::uint32_t id) override;
    void setHandler(std::function<void(std::uint32_t id)> handler) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    struct Grab {
        std::uint8_t keyCode = 0;
        std::uint16_t modifiers = 0;
    };
    void ungrab(const Grab& grab);

    _XDisplay* m_display = nullptr;
    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::map<std::uint32_t, Grab> m_grabs;
    std::function<void(std::uint32_t)> m_handler;
};

} // namespace zeph
