#pragma once

#include "Storage/KeyCombo.h"

#include <cstdint>
#include <functional>

namespace zeph {

// The desktop's global shortcuts: on X11 a grab of the key on the root window, on Wayland the
// GlobalShortcuts portal.
class HotKeyService {
public:
    virtual ~HotKeyService() = default;

    // Takes the combination for `id`; false when another program holds it, and then nothing is
    // held.
    virtual bool grab(std::uint32_t id, const KeyCombo& combo) = 0;
    virtual void release(std::uint32_t id) = 0;
    // Where presses go, with the id of the combination, from whatever thread hears them.
    virtual void setHandler(std::function<void(std::uint32_t id)> handler) = 0;
};

} // namespace zeph
