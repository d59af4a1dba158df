#include "App/LauncherApplication.h"
#include "App/LauncherBus.h"
#include "Storage/Paths.h"

#include <QApplication>

#include <cstdio>
#include <cstring>

// zeph-launcher [--toggle]: the launcher application, one per session. A second start shows the
// panel of the first and exits; --toggle shows or hides it, for binding in the desktop's keyboard
// settings.
int main(int argc, char** argv)
{
    bool toggle = false;
    for (int index = 1; index < argc; ++index) {
        if (std::strcmp(argv[index], "--toggle") == 0) {
            toggle = true;
        } else {
            std::fprintf(stderr, "usage: zeph-launcher [--toggle]\n");
            return 2;
        }
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Zeph Launcher"));
    QApplication::setDesktopFileName(QStringLiteral("zeph-launcher"));
    QApplication::setQuitOnLastWindowClosed(false);

    zeph::LauncherBus bus;
    if (!bus.registerService()) {
        if (zeph::LauncherBus::call(toggle ? "Toggle" : "Show"))
            return 0;
        if (toggle) {
            std::fprintf(stderr, "zeph-launcher: Zeph Launcher is not running\n");
            return 1;
        }
        std::fprintf(stderr, "Zeph Launcher: no session bus; going on without one\n");
    } else if (toggle) {
        // Nothing ran: this start is the application, and the panel opens.
    }

    zeph::LauncherApplication launcher(zeph::Paths::supportDirectory(), bus);
    if (toggle)
        launcher.launcher().show();
    return QApplication::exec();
}
