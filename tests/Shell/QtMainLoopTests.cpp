#include "Platform/QtMainLoop.h"

#include "Shell/TestApplication.h"

#include <thread>

#include <gtest/gtest.h>

#include <QCoreApplication>

namespace {

using namespace zeph;
using namespace std::chrono_literals;

TEST(QtMainLoop, RunsPostedTasksAndTimersOnItsThreadInOrderAndNeverACancelledOne)
{
    Testing::TestApplication<QCoreApplication> application;
    QtMainLoop loop;
    std::vector<std::string> ran;
    auto mainThread = std::this_thread::get_id();
    bool allOnMain = true;
    auto note = [&](std::string what) {
        return [&, what] {
            allOnMain = allOnMain && std::this_thread::get_id() == mainThread;
            ran.push_back(what);
        };
    };
    loop.schedule(30ms, note("later"));
    loop.schedule(10ms, note("sooner"));
    auto cancelled = loop.schedule(20ms, note("cancelled"));
    loop.cancel(cancelled);
    loop.cancel(cancelled); // A second cancel does nothing.
    // A timer that cancels itself while it runs, and one that schedules another.
    MainLoop::TimerID self = 0;
    self = loop.schedule(5ms, [&] {
        loop.cancel(self);
        note("self")();
        loop.schedule(1ms, note("chained"));
    });
    std::thread([&] { loop.post(note("posted")); }).join();
    loop.runInBackground([&] { loop.post(note("from the background")); });
    auto start = loop.uptime();
    loop.schedule(80ms, [] { QCoreApplication::quit(); });
    QCoreApplication::exec();

    EXPECT_TRUE(allOnMain);
    ASSERT_EQ(ran.size(), 6u);
    EXPECT_EQ(ran[0], "posted");
    auto position = [&](const std::string& what) {
        return std::find(ran.begin(), ran.end(), what) - ran.begin();
    };
    EXPECT_LT(position("self"), position("chained"));
    EXPECT_LT(position("sooner"), position("later"));
    EXPECT_EQ(position("cancelled"), static_cast<long>(ran.size()));
    EXPECT_GE(loop.uptime() - start, 80ms);
}

} // namespace
