#include "Search/SystemCommand.h"

#include <array>

namespace zeph {

namespace {

struct CommandText {
    std::string_view title {};
    std::string_view symbolName {};
    std::array<std::string_view, 3> keywords {};
    std::size_t keywordCount = 0;
};

// In the order of the enumeration.
constexpr CommandText commandTexts[] = {
    { "Lock Screen", "lock.fill", { "lock" }, 1 },
    { "Sleep", "moon.zzz.fill", { "sleep" }, 1 },
    { "Sleep Displays", "display", { "displaysleep", "screen off" }, 2 },
    { "Start Screen Saver", "sparkles.tv", { "screensaver" }, 1 },
    { "Empty Trash", "trash.fill", { "trash", "empty" }, 2 },
    { "Log Out", "rectangle.portrait.and.arrow.right", { "logout", "sign out" }, 2 },
    { "Restart", "arrow.clockwise", { "reboot" }, 1 },
    { "Shut Down", "power", { "shutdown", "power off" }, 2 },
    { "Eject All Disks", "eject.fill", { "eject" }, 1 },
    { "Toggle Dark Mode", "circle.lefthalf.filled", { "dark", "light", "appearance" }, 3 },
};
static_assert(std::size(commandTexts) == enumNames<SystemCommand>.size());

const CommandText& texts(SystemCommand command)
{
    return commandTexts[static_cast<std::size_t>(command)];
}

} // namespace

std::string_view title(SystemCommand command)
{
    return texts(command).title;
}

std::string_view symbolName(SystemCommand command)
{
    return texts(command).symbolName;
}

std::span<const std::string_view> keywords(SystemCommand command)
{
    auto& entry = texts(command);
    return std::span(entry.keywords).first(entry.keywordCount);
}

SearchItem item(SystemCommand command)
{
    auto words = keywords(command);
    return {
        .id = "cmd:" + std::string(toString(command)),
        .title = std::string(title(command)),
        .subtitle = "System command",
        .kind = ItemKind::systemCommand,
        .argument = std::string(toString(command)),
        .keywords = std::vector<std::string>(words.begin(), words.end()),
        .symbolName = std::string(symbolName(command)),
    };
}

} // namespace zeph
