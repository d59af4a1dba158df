#include "Storage/Paths.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace zeph::Paths {

namespace {

std::optional<std::string> variable(const char* name)
{
    auto* value = std::getenv(name);
    if (!value || !*value)
        return std::nullopt;
    return std::string(value);
}

std::optional<std::string> homeFromPasswordDatabase()
{
    std::vector<char> buffer(16384);
    passwd entry {};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found
        || !found->pw_dir || !*found->pw_dir)
        return std::nullopt;
    return std::string(found->pw_dir);
}

bool isAbsolute(const std::optional<std::string>& path)
{
    return path && !path->empty() && path->front() == '/';
}

bool makeDirectory(const std::filesystem::path& path)
{
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return std::filesystem::is_directory(path, error);
}

} // namespace

Environment Environment::current()
{
    auto home = variable("HOME");
    return Environment {
        .dataDirectory = variable("ZEPH_DATA_DIR"),
        .xdgDataHome = variable("XDG_DATA_HOME"),
        .home = home ? home : homeFromPasswordDatabase(),
        .temporaryDirectory = variable("TMPDIR"),
    };
}

std::filesystem::path supportDirectory(const Environment& environment)
{
    if (environment.dataDirectory && !environment.dataDirectory->empty()) {
        std::error_code error;
        auto path = std::filesystem::absolute(*environment.dataDirectory, error);
        if (error)
            path = *environment.dataDirectory;
        makeDirectory(path);
        return path;
    }
    std::vector<std::filesystem::path> candidates;
    if (isAbsolute(environment.xdgDataHome))
        candidates.push_back(std::filesystem::path(*environment.xdgDataHome) / folderName);
    if (isAbsolute(environment.home))
        candidates.push_back(
            std::filesystem::path(*environment.home) / ".local" / "share" / folderName);
    for (auto& candidate : candidates) {
        if (makeDirectory(candidate))
            return candidate;
    }
    auto temporary
        = isAbsolute(environment.temporaryDirectory) ? *environment.temporaryDirectory : "/tmp";
    auto fallback = std::filesystem::path(temporary) / folderName;
    makeDirectory(fallback);
    return fallback;
}

std::filesystem::path workflowDirectory(
    const std::filesystem::path& dataFolder, std::string_view workflowID)
{
    std::string name(workflowID);
    bool isPlain = !name.empty() && name != "." && name != ".."
        && name.find_first_of(std::string_view("%/\0", 3)) == std::string::npos;
    if (!isPlain) {
        name.clear();
        for (char character : workflowID) {
            switch (character) {
            case '%':
                name += "%25";
                break;
            case '/':
                name += "%2F";
                break;
            case '.':
                name += "%2E";
                break;
            case '\0':
                name += "%00";
                break;
            default:
                name += character;
            }
        }
        if (name.empty())
            name.push_back('%');
    }
    auto folder = dataFolder / workflowsFolder / name;
    makeDirectory(folder);
    return folder;
}

} // namespace zeph::Paths
