#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <QObject>

struct _GAppLaunchContext;
struct xcb_connection_t;

namespace zeph {

// One startup-notification message: the kind ("new", "remove") and its key-value pairs, every
// value quoted so that spaces and quotes in names and paths survive.
std::string startupMessage(
    std::string_view kind, const std::vector<std::pair<std::string, std::string>>& values);

// Startup notification on X11: each launch gets an id that carries the time of the user's last
// key press or click, so that the window manager gives the new window the focus and shows a busy
// cursor until it maps. The id reaches the program as DESKTOP_STARTUP_ID (GIO sets it for
// entries with StartupNotify=true), and the window manager hears of it on the root window.
class X11StartupNotifier final : public QObject {
public:
    X11StartupNotifier();
    ~X11StartupNotifier() override;
    X11StartupNotifier(const X11StartupNotifier&) = delete;
    X11StartupNotifier& operator=(const X11StartupNotifier&) = delete;

    // A launch context for one launch; the caller unrefs it. Off X11 it is GIO's plain one.
    _GAppLaunchContext* newContext();

    // Announces a launch and returns its id.
    std::string begin(const std::string& name, const std::string& executable,
        const std::string& icon, const std::string& windowClass, const std::string& desktopFile);
    // Ends a launch that failed, or that no window answered in time.
    void end(const std::string& id);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void send(const std::string& message);

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::uint32_t m_window = 0;
    std::uint32_t m_beginAtom = 0;
    std::uint32_t m_moreAtom = 0;
    unsigned long m_userTime = 0;
    unsigned m_sequence = 0;
    std::vector<std::string> m_pending;
};

} // namespace zeph
