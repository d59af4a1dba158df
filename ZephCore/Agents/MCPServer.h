#pragma once

#include "Agents/AgentTools.h"

#include <optional>
#include <string>
#include <string_view>

namespace zeph {

// The JSON-RPC 2.0 layer of the Model Context Protocol over which agents reach the tools: one line
// of text in, at most one line out. It knows nothing of files, processes or the launcher.
class MCPServer {
public:
    // Newest first; what an unknown or missing version is answered with comes first.
    static constexpr std::string_view supportedProtocolVersions[]
        = { "2025-06-18", "2025-03-26", "2024-11-05" };

    // What a reply that cannot be serialised becomes.
    static constexpr std::string_view internalErrorLine
        = R"({"jsonrpc":"2.0","id":null,"error":{"code":-32603,"message":"Internal error"}})";

    MCPServer(AgentTools& tools, std::string version);

    // The reply to one line (a request, a notification or a batch of them), as one line of JSON
    // without its newline, or nothing when no reply is due. Never fails: whatever the line holds
    // is answered with a JSON-RPC error. Blocks for as long as a tool runs.
    std::optional<std::string> handle(std::string_view line);

private:
    std::optional<Json::Value> handleMessage(const Json::Value& message);
    Json::Value dispatch(
        const Json::Value& id, const std::string& method, const Json::Value& params);

    AgentTools& m_tools;
    std::string m_version;
};

} // namespace zeph
