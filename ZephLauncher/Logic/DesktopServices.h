#pragma once

#include "Search/SystemCommand.h"

#include <functional>
#include <optional>
#include <string>

namespace zeph {

// What the launcher asks of the desktop: launching, opening, revealing, the system commands, a
// question, a beep. Each call returns at once; what the desktop does with it is its own. All on the
// main thread.
class DesktopServices {
public:
    virtual ~DesktopServices() = default;

    // The application of a desktop entry, given by its file's path.
    virtual void launchApplication(const std::string& desktopFile) = 0;
    // A URL through the desktop's handlers; a file path opens with its default application.
    virtual void openURL(const std::string& url) = 0;
    // With an application id, with that application when it is installed, else the default one.
    virtual void openFile(const std::string& path, const std::optional<std::string>& applicationID)
        = 0;
    virtual void reveal(const std::string& path) = 0;
    // A quick preview of the file, or the file itself where there is no previewer.
    virtual void preview(const std::string& path) = 0;
    virtual void showProperties(const std::string& path) = 0;
    // False when the file could not be moved.
    virtual bool moveToTrash(const std::string& path) = 0;
    // The name of the application that opens the file, when one is known.
    virtual std::optional<std::string> defaultApplicationName(const std::string& path) = 0;
    virtual void runSystemCommand(SystemCommand command) = 0;
    // Asks the user, with "Cancel" and the action's own button; `answer` hears true for go.
    virtual void confirm(
        const std::string& question, const std::string& action, std::function<void(bool)> answer)
        = 0;
    virtual void beep() = 0;
    virtual void showLargeType(const std::string& text) = 0;
    // The text selected in the focused application (the primary selection on X11), or empty text.
    virtual std::string selectedText() = 0;
};

// Desktop notifications.
class Notifier {
public:
    virtual ~Notifier() = default;
    virtual void notify(const std::string& title, const std::string& body) = 0;
};

} // namespace zeph
