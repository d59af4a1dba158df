#pragma once

#include "Logic/DesktopServices.h"
#include "Platform/X11StartupNotifier.h"

#include <QStringList>

struct _GAppInfo;
class QUrl;

namespace zeph {

// The desktop's side of launching on Linux: desktop entries through GIO, files and addresses
// through the desktop's handlers, the file manager and the previewer over D-Bus, the system
// commands through the session manager or their command-line tools, and notifications.
class DesktopLauncher final
    : public DesktopServices
    , public Notifier {
public:
    void launchApplication(const std::string& desktopFile) override;
    void openURL(const std::string& url) override;
    void openFile(
        const std::string& path, const std::optional<std::string>& applicationID) override;
    void reveal(const std::string& path) override;
    void preview(const std::string& path) override;
    void showProperties(const std::string& path) override;
    bool moveToTrash(const std::string& path) override;
    std::optional<std::string> defaultApplicationName(const std::string& path) override;
    void runSystemCommand(SystemCommand command) override;
    void confirm(const std::string& question, const std::string& action,
        std::function<void(bool)> answer) override;
    void beep() override;
    void showLargeType(const std::string& text) override;
    std::string selectedText() override;

    void notify(const std::string& title, const std::string& body) override;

private:
    void launch(_GAppInfo* application, const QStringList& uris);
    void openWithDefault(const QUrl& url);
    void askFileManager(const QString& method, const std::string& path);

    X11StartupNotifier m_startup;
};

} // namespace zeph
