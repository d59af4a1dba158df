#include "Logic/PanelPlacement.h"

#include "Support/TemporaryDirectory.h"

#include <fstream>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using namespace zeph::PanelPlacement;

// A laptop screen with a top bar, and a larger screen to its right.
const Screen laptop {
    .frame = { 0, 0, 1440, 900 }, .available = { 0, 32, 1440, 868 }, .isPrimary = true
};
const Screen monitor { .frame = { 1440, 0, 2560, 1440 }, .available = { 1440, 0, 2560, 1400 } };

TEST(PanelPlacement, CentresOnTheScreenUnderThePointer)
{
    EXPECT_EQ(position({ laptop, monitor }, { 2000, 700 }, 700, 0.22, std::nullopt),
        (Rect { 1440 + 1280 - 380, 1440 * 0.22, 760, 538 }));
    // Outside every screen: the primary one.
    EXPECT_EQ(position({ monitor, laptop }, { -50, -50 }, 800, 0.22, std::nullopt),
        (Rect { 720 - 400, 900 * 0.22, 800, 538 }));
    EXPECT_EQ(position({}, { 0, 0 }, 800, 0.22, std::nullopt), std::nullopt);
    // Kept inside the available area: below the top bar, above the bottom.
    EXPECT_EQ(position({ laptop }, { 10, 10 }, 800, 0, std::nullopt)->y, 32);
    EXPECT_EQ(position({ laptop }, { 10, 10 }, 800, 0.9, std::nullopt)->y, 900 - 538);
}

TEST(PanelPlacement, AStoredPlaceWinsWhenItsScreenHoldsIt)
{
    EXPECT_EQ(position({ laptop, monitor }, { 100, 100 }, 760, 0.22, Point { 50, 100 }),
        (Rect { 50, 100, 760, 538 }));
    // Kept in, on the right.
    EXPECT_EQ(position({ laptop }, { 100, 100 }, 760, 0.22, Point { 1300, 100 })->x, 1440 - 760);
    // A place on another screen than the pointer's: the default.
    EXPECT_EQ(position({ laptop, monitor }, { 100, 100 }, 760, 0.22, Point { 2000, 100 })->x, 340);
}

TEST(PanelPlacement, KeepsThePlaceInTheDataFolder)
{
    TemporaryDirectory folder;
    EXPECT_EQ(storedPosition(folder.path()), std::nullopt);
    EXPECT_FALSE(storePosition(folder.path(), { 12.5, 40 }));
    EXPECT_EQ(storedPosition(folder.path()), (Point { 12.5, 40 }));
    std::ofstream(folder / positionFile) << "[1, \"two\"]";
    EXPECT_EQ(storedPosition(folder.path()), std::nullopt);
    forgetPosition(folder.path());
    EXPECT_FALSE(std::filesystem::exists(folder / positionFile));
}

} // namespace
