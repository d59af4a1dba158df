#pragma once

#include <QObject>

#include <functional>

namespace zeph {

// The running application on the session bus, as "org.zeph.Launcher" at "/org/zeph/Launcher":
// a second start and `zeph-launcher --toggle` reach the first instance through it.
class LauncherBus final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zeph.Launcher")

public:
    static constexpr const char* service = "org.zeph.Launcher";
    static constexpr const char* path = "/org/zeph/Launcher";

    // Takes the name; false when another instance holds it, or there is no session bus.
    bool registerService();
    // Asks the instance that holds the name; false when none answers.
    static bool call(const char* method);

    std::function<void()> onToggle;
    std::function<void()> onShow;

public Q_SLOTS:
    void Toggle();
    void Show();
};

} // namespace zeph
