#pragma once

#include "Support/Text.h"
#include "Workflows/NodeKind.h"
#include "Workflows/Workflow.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace zeph {

using Seconds = std::chrono::duration<double>;

// What a script did.
struct ScriptResult {
    std::string stdout {}; // Raw bytes, as the script wrote them.
    std::string stderr {}; // Or the reason it could not be started.
    std::int32_t exitCode = 0; // The exit code or the ending signal's number; -1 when not started.
    bool timedOut = false; // Its time ran out while it was running.
    bool operator==(const ScriptResult&) const = default;

    // Invalid UTF-8 becomes U+FFFD, so these never fail.
    std::string stdoutText() const { return sanitizedUTF8(stdout); }
    std::string stderrText() const { return sanitizedUTF8(stderr); }
};

// Every user script runs through this, so that a dry run can put another runner in its place.
class ScriptRunning {
public:
    virtual ~ScriptRunning() = default;
    // Blocks until the script has exited or its timeout has had its effect; safe on any thread.
    // Never fails as a call: a script that cannot start is a result with exit code -1. The query
    // reaches the script as its first argument and as the variable "zeph_query".
    virtual ScriptResult run(ScriptLanguage language, const std::string& script,
        const std::string& query, const Variables& variables, Seconds timeout)
        = 0;
};

} // namespace zeph
