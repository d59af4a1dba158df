#pragma once

#include "Search/SearchItem.h"
#include "Support/EnumTable.h"

#include <span>
#include <string_view>

namespace zeph {

// The machine actions the launcher offers as items. The application carries them out; the raw
// value is what an item's argument holds.
enum class SystemCommand {
    lock,
    sleep,
    sleepDisplays,
    screenSaver,
    emptyTrash,
    logOut,
    restart,
    shutDown,
    ejectAll,
    toggleDarkMode,
};

template <>
inline constexpr auto
    enumNames<SystemCommand> = std::to_array<std::pair<SystemCommand, std::string_view>>({
        { SystemCommand::lock, "lock" },
        { SystemCommand::sleep, "sleep" },
        { SystemCommand::sleepDisplays, "sleepDisplays" },
        { SystemCommand::screenSaver, "screenSaver" },
        { SystemCommand::emptyTrash, "emptyTrash" },
        { SystemCommand::logOut, "logOut" },
        { SystemCommand::restart, "restart" },
        { SystemCommand::shutDown, "shutDown" },
        { SystemCommand::ejectAll, "ejectAll" },
        { SystemCommand::toggleDarkMode, "toggleDarkMode" },
    });
static_assert(isCompleteEnumTable<SystemCommand>());

std::string_view title(SystemCommand command);
// A symbol name, kept as the icon key of the item.
std::string_view symbolName(SystemCommand command);
// Further words that find the command.
std::span<const std::string_view> keywords(SystemCommand command);
SearchItem item(SystemCommand command);

} // namespace zeph
