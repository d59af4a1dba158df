#include "LauncherApplication.h"
#include "Platform/LauncherBus.h"
#include "Storage/Paths.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <QApplication>
#include <QSocketNotifier>

namespace {

int signalPipe[2] = { -1, -1 };

void onSignal(int)
{
    char byte = 1;
    [[maybe_unused]] auto written = write(signalPipe[1], &byte, 1);
}

// SIGTERM (the session ending, a user service stopping) and SIGINT quit through the event loop,
// so that every document is written out first.
void quitOnSignals()
{
    if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp, [] { QCoreApplication::quit(); });
    struct sigaction action { };
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

} // namespace

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
    }

    quitOnSignals();
    zeph::LauncherApplication launcher(zeph::Paths::supportDirectory(), bus);
    if (toggle)
        launcher.launcher().show();
    return QApplication::exec();
}
