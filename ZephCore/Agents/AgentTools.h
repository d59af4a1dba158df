#pragma once

#include "Agents/AgentStore.h"
#include "Support/Json.h"
#include "Workflows/ScriptRunning.h"

#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// What an AI agent may do to the launcher: read workflows and snippets, install new ones, change or
// delete what it made itself, and dry-run a workflow. Whatever an agent creates or changes arrives
// disabled and marked for review, and it can never touch what the user made. It knows neither the
// transport nor where things are kept.
class AgentTools {
public:
    struct Tool {
        std::string name {};
        std::string description {};
        Json::Value inputSchema {}; // A JSON schema of the arguments, an object.
        bool operator==(const Tool&) const = default;
    };

    // Every call ends in one: a failure is a sentence for the agent, with isError set.
    struct Result {
        std::string text {};
        bool isError = false;
        bool operator==(const Result&) const = default;
    };

    // How long a test run's scripts and its script filter may take.
    static constexpr Seconds testTimeout { 15 };

    AgentTools(AgentStore& store, ScriptRunning& scripts);

    // The catalogue, in the order agents are shown it.
    static const std::vector<Tool>& tools();
    static bool hasTool(std::string_view name);

    // Runs the tool `name` with `arguments` (an object; anything else counts as an empty one).
    // Blocks for as long as the tool takes, which for test_workflow is up to its script timeouts.
    Result call(std::string_view name, const Json::Value& arguments);

private:
    AgentStore& m_store;
    ScriptRunning& m_scripts;
};

} // namespace zeph
