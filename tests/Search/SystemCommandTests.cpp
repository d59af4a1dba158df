#include "Search/SystemCommand.h"

#include <gtest/gtest.h>

using namespace zeph;

TEST(SystemCommand, EachCaseIsAnItemWithItsTitleSymbolAndKeywords)
{
    struct Row {
        const char* rawValue;
        const char* title;
        const char* symbolName;
        std::vector<std::string> keywords;
    };
    // In the order of allCases, which is the order the launcher lists them in.
    const Row rows[] = {
        { "lock", "Lock Screen", "lock.fill", { "lock" } },
        { "sleep", "Sleep", "moon.zzz.fill", { "sleep" } },
        { "sleepDisplays", "Sleep Displays", "display", { "displaysleep", "screen off" } },
        { "screenSaver", "Start Screen Saver", "sparkles.tv", { "screensaver" } },
        { "emptyTrash", "Empty Trash", "trash.fill", { "trash", "empty" } },
        { "logOut", "Log Out", "rectangle.portrait.and.arrow.right", { "logout", "sign out" } },
        { "restart", "Restart", "arrow.clockwise", { "reboot" } },
        { "shutDown", "Shut Down", "power", { "shutdown", "power off" } },
        { "ejectAll", "Eject All Disks", "eject.fill", { "eject" } },
        { "toggleDarkMode", "Toggle Dark Mode", "circle.lefthalf.filled",
            { "dark", "light", "appearance" } },
    };
    auto commands = allCases<SystemCommand>();
    ASSERT_EQ(commands.size(), std::size(rows));
    for (std::size_t index = 0; index < commands.size(); ++index) {
        auto& row = rows[index];
        SCOPED_TRACE(row.rawValue);
        EXPECT_EQ(item(commands[index]),
            (SearchItem {
                .id = std::string("cmd:") + row.rawValue,
                .title = row.title,
                .subtitle = "System command",
                .kind = ItemKind::systemCommand,
                .argument = row.rawValue,
                .keywords = row.keywords,
                .symbolName = row.symbolName,
            }));
        // The argument is what the application reads back to run the command.
        EXPECT_EQ(fromString<SystemCommand>(*item(commands[index]).argument), commands[index]);
    }
}
