#include "Logic/Autostart.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace zeph::Autostart {

std::filesystem::path folder(const std::string& home)
{
    const auto* configHome = std::getenv("XDG_CONFIG_HOME");
    if (configHome && *configHome == '/')
        return std::filesystem::path(configHome) / "autostart";
    return std::filesystem::path(home) / ".config" / "autostart";
}

std::string entryText(const std::filesystem::path& executable)
{
    // Exec quoting of the desktop entry format: the path in double quotes, with `"`, `` ` ``, `$`
    // and `\` escaped.
    std::string quoted = "\"";
    for (char character : executable.string()) {
        if (character == '"' || character == '`' || character == '$' || character == '\\')
            quoted += '\\';
        quoted += character;
    }
    quoted += '"';
    return "[Desktop Entry]\nType=Application\nName=Zeph Launcher\n"
           "Comment=Keyboard launcher\nExec="
        + quoted + "\nIcon=zeph-launcher\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
}

std::optional<Error> apply(
    bool isEnabled, const std::filesystem::path& folder, const std::filesystem::path& executable)
{
    auto entry = folder / entryName;
    std::error_code error;
    if (!isEnabled) {
        std::filesystem::remove(entry, error);
        if (error)
            return Error { "Could not remove " + entry.string() + ": " + error.message() };
        return std::nullopt;
    }
    auto wanted = entryText(executable);
    std::ifstream existing(entry, std::ios::binary);
    std::ostringstream present;
    present << existing.rdbuf();
    if (existing && present.str() == wanted)
        return std::nullopt;
    std::filesystem::create_directories(folder, error);
    std::ofstream out(entry, std::ios::binary | std::ios::trunc);
    out << wanted;
    if (!out.flush())
        return Error { "Could not write " + entry.string() + "." };
    return std::nullopt;
}

} // namespace zeph::Autostart
