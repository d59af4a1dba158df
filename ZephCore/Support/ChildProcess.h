#pragma once

#include <chrono>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace zeph {

using Seconds = std::chrono::duration<double>;

// One child process run to its end with posix_spawn: what it writes is collected whole, it is asked
// to stop (SIGTERM, once) when its time is up, and it is always reaped. Blocking, and safe to call
// from any number of threads at once: every run owns its descriptors, which are all close-on-exec.
namespace ChildProcess {

struct Request {
    std::string executable {};
    // After the program's own name, which is `executable`.
    std::vector<std::string> arguments {};
    // The whole environment of the child, "NAME=value" entries.
    std::vector<std::string> environment {};
    // None: the caller's folder.
    std::optional<std::filesystem::path> workingDirectory {};
    // Infinite for none; zero or less asks the child to stop at once.
    Seconds timeout = Seconds(std::numeric_limits<double>::infinity());
    // A name without a slash is looked for in the caller's PATH.
    bool searchesPath = false;
    // Written whole and then closed; none gives the null device, so that a read sees end of file.
    std::optional<std::string> standardInput {};
    // False sends both outputs to the null device, for helpers that leave a daemon behind.
    bool collectsOutput = true;
};

struct Outcome {
    std::string out {};
    std::string err {};
    // The exit code, or the number of the signal that ended the child.
    int status = -1;
    bool timedOut = false;
    // The errno of a launch that failed; zero when the child ran.
    int launchError = 0;
    bool operator==(const Outcome&) const = default;
};

Outcome run(const Request& request);

// This process's environment as "NAME=value" entries, in its order.
std::vector<std::string> currentEnvironment();

} // namespace ChildProcess

} // namespace zeph
