#include "Agents/MCPServer.h"

#include <algorithm>
#include <exception>

namespace zeph {

namespace {

enum ErrorCode : int {
    parseError = -32700,
    invalidRequest = -32600,
    methodNotFound = -32601,
    invalidParams = -32602,
    internalError = -32603,
};

constexpr std::string_view instructions
    = "Creates and manages Zeph Launcher workflows and snippets on this computer. Call "
      "describe_zeph first. Everything you add is disabled until the user approves it in Zeph "
      "Launcher's Settings.";

Json::Value reply(const Json::Value& id, Json::Value result)
{
    return { { "jsonrpc", "2.0" }, { "id", id }, { "result", std::move(result) } };
}

Json::Value errorReply(const Json::Value& id, int code, std::string message)
{
    return { { "jsonrpc", "2.0" }, { "id", id },
        { "error", { { "code", code }, { "message", std::move(message) } } } };
}

std::string_view protocolVersion(const Json::Value& params)
{
    auto requested = params.find("protocolVersion");
    if (requested != params.end() && requested->is_string()) {
        auto& text = requested->get_ref<const std::string&>();
        for (auto version : MCPServer::supportedProtocolVersions) {
            if (version == text)
                return version;
        }
    }
    return MCPServer::supportedProtocolVersions[0];
}

const Json::Value& toolList()
{
    static const Json::Value list = [] {
        Json::Value tools = Json::Value::array();
        for (auto& tool : AgentTools::tools()) {
            tools.push_back({ { "name", tool.name }, { "description", tool.description },
                { "inputSchema", tool.inputSchema } });
        }
        return Json::Value { { "tools", std::move(tools) } };
    }();
    return list;
}

} // namespace

MCPServer::MCPServer(AgentTools& tools, std::string version)
    : m_tools(tools)
    , m_version(std::move(version))
{
}

std::optional<std::string> MCPServer::handle(std::string_view line)
{
    try {
        std::optional<Json::Value> message;
        if (!Json::nestsDeeperThan(line))
            message = Json::parse(line);
        std::optional<Json::Value> answer;
        if (!message) {
            answer = errorReply(nullptr, parseError, "Parse error");
        } else if (message->is_array()
            && std::all_of(message->begin(), message->end(),
                [](const Json::Value& element) { return element.is_object(); })) {
            Json::Value replies = Json::Value::array();
            for (auto& element : *message) {
                if (auto elementReply = handleMessage(element))
                    replies.push_back(std::move(*elementReply));
            }
            if (!replies.empty())
                answer = std::move(replies);
        } else if (message->is_object()) {
            answer = handleMessage(*message);
        } else {
            answer = errorReply(nullptr, invalidRequest, "Invalid request");
        }
        if (!answer)
            return std::nullopt;
        // Strict: a text that is not UTF-8 throws, and the line becomes the fixed error.
        return answer->dump();
    } catch (const std::exception&) {
        return std::string(internalErrorLine);
    }
}

std::optional<Json::Value> MCPServer::handleMessage(const Json::Value& message)
{
    auto id = message.find("id");
    bool hasID = id != message.end();
    auto method = message.find("method");
    if (method == message.end() || !method->is_string()) {
        if (!hasID)
            return std::nullopt;
        return errorReply(*id, invalidRequest, "Invalid request");
    }
    // A notification is accepted, and nothing is done.
    if (!hasID)
        return std::nullopt;
    auto params = message.find("params");
    static const Json::Value none = Json::Value::object();
    try {
        return dispatch(*id, method->get<std::string>(),
            params != message.end() && params->is_object() ? *params : none);
    } catch (const std::exception&) {
        return errorReply(*id, internalError, "Internal error");
    }
}

Json::Value MCPServer::dispatch(
    const Json::Value& id, const std::string& method, const Json::Value& params)
{
    if (method == "initialize") {
        return reply(id,
            {
                { "protocolVersion", protocolVersion(params) },
                { "capabilities", { { "tools", { { "listChanged", false } } } } },
                { "serverInfo",
                    { { "name", "zeph-launcher" }, { "title", "Zeph Launcher" },
                        { "version", m_version } } },
                { "instructions", instructions },
            });
    }
    if (method == "ping")
        return reply(id, Json::Value::object());
    if (method == "tools/list")
        return reply(id, toolList());
    if (method == "tools/call") {
        auto name = params.find("name");
        if (name == params.end() || !name->is_string())
            return errorReply(id, invalidParams, "tools/call needs a tool \"name\"");
        auto& toolName = name->get_ref<const std::string&>();
        if (!AgentTools::hasTool(toolName))
            return errorReply(id, invalidParams, "Unknown tool: " + toolName);
        auto arguments = params.find("arguments");
        static const Json::Value none = Json::Value::object();
        auto result = m_tools.call(
            toolName, arguments != params.end() && arguments->is_object() ? *arguments : none);
        return reply(id,
            {
                { "content",
                    Json::Value::array({ { { "type", "text" }, { "text", result.text } } }) },
                { "isError", result.isError },
            });
    }
    return errorReply(id, methodNotFound, "Method not found: " + method);
}

} // namespace zeph
