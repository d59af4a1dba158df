#include "Logic/HotKeyCenter.h"

#include "FakeDesktop.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;

const KeyCombo altSpace { .keyCode = 49, .modifiers = KeyCombo::Modifiers::option };
const KeyCombo ctrlK { .keyCode = 40, .modifiers = KeyCombo::Modifiers::control };

TEST(HotKeyCenter, RegistersCallsAndRefuses)
{
    FakeMainLoop loop;
    FakeHotKeyService service;
    HotKeyCenter center(service, loop);
    int launcher = 0;
    auto first = center.register_(altSpace, [&] { ++launcher; });
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, 1u);
    // The same combination twice: the desktop would not say no, the center does; the first stays.
    EXPECT_FALSE(center.register_(altSpace, [] {}));
    EXPECT_TRUE(center.isLive(*first));
    // A bare letter never; a bare F5 can be.
    EXPECT_FALSE(center.register_({ .keyCode = 0 }, [] {}));
    EXPECT_TRUE(center.register_({ .keyCode = 96 }, [] {}));
    // Another program holds it.
    service.takenElsewhere.insert(40);
    EXPECT_FALSE(center.register_(ctrlK, [] {}));
    // Every attempt with a valid combination used its number up.
    service.takenElsewhere.clear();
    EXPECT_EQ(center.register_(ctrlK, [] {}), 5u);

    // A press runs on the main loop, not on the thread that heard it.
    service.press(*first);
    EXPECT_EQ(launcher, 0);
    loop.runPosted();
    EXPECT_EQ(launcher, 1);
    // An unknown id does nothing; unregistering releases.
    service.press(99);
    loop.runPosted();
    center.unregister(*first);
    EXPECT_FALSE(service.held.contains(*first));
    center.unregister(*first);
    service.press(*first);
    loop.runPosted();
    EXPECT_EQ(launcher, 1);
}

TEST(HotKeyCenter, SuspensionReleasesEverythingAndResumeTakesItBack)
{
    FakeMainLoop loop;
    FakeHotKeyService service;
    HotKeyCenter center(service, loop);
    int presses = 0;
    auto launcher = center.register_(altSpace, [&] { ++presses; });
    center.setSuspended(true);
    EXPECT_TRUE(service.held.empty());
    // While suspended a registration succeeds without the desktop.
    auto grabs = service.grabs;
    auto workflow = center.register_(ctrlK, [&] { ++presses; });
    ASSERT_TRUE(workflow);
    EXPECT_EQ(service.grabs, grabs);
    EXPECT_FALSE(center.isLive(*workflow));
    // A press heard before suspending and run after it calls nothing.
    service.press(*launcher);
    loop.runPosted();
    EXPECT_EQ(presses, 0);
    // Unregistering while suspended asks nothing of the desktop.
    auto spare = center.register_({ .keyCode = 97 }, [] {});
    center.unregister(*spare);

    // Resuming takes both back, except what another program took meanwhile.
    service.takenElsewhere.insert(40);
    center.setSuspended(false);
    EXPECT_TRUE(center.isLive(*launcher));
    EXPECT_FALSE(center.isLive(*workflow));
    EXPECT_EQ(service.held.size(), 1u);
    service.press(*launcher);
    loop.runPosted();
    EXPECT_EQ(presses, 1);
}

} // namespace
