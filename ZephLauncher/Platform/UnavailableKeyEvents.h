#pragma once

#include "Logic/KeyEventSource.h"

namespace zeph {

// A session whose key presses the application cannot hear: nothing expands as the user types,
// and snippets are still inserted from the launcher.
class UnavailableKeyEvents final : public KeyEventSource {
public:
    bool start(std::function<void(const KeyPress&)>, std::function<void()>) override
    {
        return false;
    }
    void stop() override { }
    bool isListening() const override { return false; }
    bool isSecureInput() const override { return false; }
};

} // namespace zeph
