#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// Where the per-user documents live.
namespace zeph::Paths {

inline constexpr std::string_view folderName = "Zeph Launcher";

inline constexpr std::string_view settingsFile = "settings.json";
inline constexpr std::string_view themesFile = "themes.json";
inline constexpr std::string_view snippetsFile = "snippets.json";
inline constexpr std::string_view workflowsFile = "workflows.json";
inline constexpr std::string_view knowledgeFile = "knowledge.json";
inline constexpr std::string_view clipboardFile = "clipboard.json";
inline constexpr std::string_view clipboardImagesFolder = "Clipboard";
inline constexpr std::string_view reviewFile = "review.json";
inline constexpr std::string_view fileIndexFile = "files.sqlite";
inline constexpr std::string_view workflowsFolder = "Workflows";
// Every process that changes a document from outside the application holds this lock meanwhile.
inline constexpr std::string_view agentLockFile = ".agent.lock";
inline constexpr std::string_view corruptExtension = ".corrupt";

// The documents the running application keeps in memory and writes itself: while it runs, other
// programs change them through it (the session bus), not in the file.
constexpr bool isApplicationDocument(std::string_view fileName)
{
    return fileName == settingsFile || fileName == themesFile || fileName == knowledgeFile
        || fileName == clipboardFile;
}

// What decides the data folder: the process environment, or what a test or the command line sets.
struct Environment {
    std::optional<std::string> dataDirectory {}; // ZEPH_DATA_DIR, or the command line's --data-dir.
    std::optional<std::string> xdgDataHome {};
    std::optional<std::string> home {};
    std::optional<std::string> temporaryDirectory {}; // TMPDIR.
    bool operator==(const Environment&) const = default;

    // Reads ZEPH_DATA_DIR, XDG_DATA_HOME, HOME (else the password database) and TMPDIR.
    static Environment current();
};

// The data folder, created with its parents if missing. An explicit data directory is used as it
// is. Otherwise "$XDG_DATA_HOME/Zeph Launcher" when that variable is an absolute path, else
// "~/.local/share/Zeph Launcher"; when neither can be made, "Zeph Launcher" in the temporary
// folder. Never fails: a folder that cannot be created is returned all the same, and the first
// write into it reports the problem.
std::filesystem::path supportDirectory(const Environment& environment = Environment::current());

// "Workflows/<id>" in the data folder, where a workflow's scripts run; created if missing, and a
// failure to create it is left to the first script that starts there. An id that is no plain
// folder name ("..", "a/b", empty, or with "%") has its "%", "/" and "." escaped, so that no id
// leads out and no two ids share a folder.
std::filesystem::path workflowDirectory(
    const std::filesystem::path& dataFolder, std::string_view workflowID);

} // namespace zeph::Paths
