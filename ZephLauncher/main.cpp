#include "LauncherApplication.h"
#include "Platform/LauncherBus.h"
#include "Storage/Paths.h"
#include "Support/Allocator.h"

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

// zeph-launcher [--toggle | --settings]: the launcher application, one per session. A second start
// shows the panel of the first and exits; --toggle shows or hides it, for binding in the desktop's
// keyboard settings; --settings opens the settings window.
int main(int argc, char** argv)
{
    zeph::tuneAllocatorForDocuments();
    const char* method = "Show";
    if (argc == 2 && std::strcmp(argv[1], "--toggle") == 0) {
        method = "Toggle";
    } else if (argc == 2 && std::strcmp(argv[1], "--settings") == 0) {
        method = "ShowSettings";
    } else if (argc > 1) {
        std::fprintf(stderr, "usage: zeph-launcher [--toggle | --settings]\n");
        return 2;
    }
    bool isAsked = argc > 1;
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Zeph Launcher"));
    QApplication::setDesktopFileName(QStringLiteral("zeph-launcher"));
    QApplication::setQuitOnLastWindowClosed(false);

    zeph::LauncherBus bus;
    if (!bus.registerService()) {
        if (zeph::LauncherBus::call(method))
            return 0;
        if (isAsked && std::strcmp(method, "Toggle") == 0) {
            std::fprintf(stderr, "zeph-launcher: Zeph Launcher is not running\n");
            return 1;
        }
        std::fprintf(stderr, "Zeph Launcher: no session bus; going on without one\n");
    }

    quitOnSignals();
    zeph::LauncherApplication launcher(zeph::Paths::supportDirectory(), bus);
    if (std::strcmp(method, "Toggle") == 0)
        launcher.launcher().show();
    else if (std::strcmp(method, "ShowSettings") == 0)
        launcher.showSettings();
    return QApplication::exec();
}
