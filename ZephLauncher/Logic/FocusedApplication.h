#pragma once

#include <optional>
#include <string>

namespace zeph {

// The application that has the keyboard, as the desktop tells it.
struct ApplicationIdentity {
    // Its desktop-file id without ".desktop" where the application is known, else its window class.
    std::string id {};
    std::string name {};
    std::string windowClass {};
    bool operator==(const ApplicationIdentity&) const = default;

    // Terminals paste with Ctrl+Shift+V.
    bool isTerminal() const;
};

class FocusedApplication {
public:
    virtual ~FocusedApplication() = default;
    // Nothing when no window has the focus, or it cannot be told.
    virtual std::optional<ApplicationIdentity> current() const = 0;
};

} // namespace zeph
