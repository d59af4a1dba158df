#pragma once

#include <QtGlobal>

namespace zeph::Testing {

// The command line Qt is made with, which it reads for as long as the application lives, and the
// offscreen platform, so that windows need no display.
struct TestArguments {
    TestArguments() { qputenv("QT_QPA_PLATFORM", "offscreen"); }

    int argc = 1;
    char name[6] = "tests";
    char* argv[2] = { name, nullptr };
};

// A QCoreApplication or QApplication for one test.
template <typename Application> struct TestApplication : TestArguments {
    Application application { argc, argv };
};

} // namespace zeph::Testing
