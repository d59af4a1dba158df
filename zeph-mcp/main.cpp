// The agent helper: the Model Context Protocol over standard input and output, one JSON message a
// line, for an MCP client that starts it as a child process. Standard output carries replies and
// nothing else; diagnostics go to standard error.
#include "Agents/FileAgentStore.h"
#include "Agents/MCPServer.h"
#include "Support/Allocator.h"
#include "Workflows/ProcessScriptRunner.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace {

bool isBlank(std::string_view line)
{
    return line.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

} // namespace

int main()
{
    zeph::tuneAllocatorForDocuments();
    // A client that has gone away is noticed as a failed write, not as a signal.
    std::signal(SIGPIPE, SIG_IGN);
    zeph::FileAgentStore store(std::nullopt, [](const std::string& message) {
        std::fprintf(stderr, "Zeph Launcher: %s\n", message.c_str());
    });
    zeph::ProcessScriptRunner scripts;
    zeph::AgentTools tools(store, scripts);
    zeph::MCPServer server(tools, ZEPH_VERSION);
    // The documents are read once while the client is still starting up, so that the agent's
    // first change does not wait for them to be decoded: the store decodes them again only when
    // another process has changed them since.
    std::thread warmUp([&store] { store.read(); });

    // getline grows its buffer to any line, so a message of many megabytes is read whole.
    char* buffer = nullptr;
    std::size_t capacity = 0;
    for (ssize_t length; (length = getline(&buffer, &capacity, stdin)) >= 0;) {
        std::string_view line(buffer, static_cast<std::size_t>(length));
        if (isBlank(line))
            continue;
        auto reply = server.handle(line);
        if (!reply)
            continue;
        reply->push_back('\n');
        if (std::fwrite(reply->data(), 1, reply->size(), stdout) != reply->size()
            || std::fflush(stdout) != 0)
            break;
    }
    std::free(buffer);
    warmUp.join();
    return 0;
}
