// Arbitrary bytes as one line from an MCP client: the server answers with nothing or one line of
// JSON, whatever the line holds, and what the tools store stays a list that the store can write. No
// process starts: scripts answer with one row a test run can go on with.
#include "Agents/MCPServer.h"
#include "Support/Verify.h"
#include "Workflows/WorkflowTemplate.h"

#include <string_view>

namespace {

using namespace zeph;

class CannedScripts final : public ScriptRunning {
public:
    ScriptResult run(ScriptLanguage, const std::string&, const std::string& query, const Variables&,
        Seconds) override
    {
        return { .stdout
            = Json::Value { { "items", { { { "title", query }, { "arg", query } } } } }.dump(
                -1, ' ', false, Json::Value::error_handler_t::replace) };
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    MemoryAgentStore store({ .workflows = WorkflowTemplate::examples(),
        .snippets = { SnippetCollection::starter() } });
    CannedScripts scripts;
    AgentTools tools(store, scripts);
    MCPServer server(tools, "0.0.0");
    auto reply = server.handle({ reinterpret_cast<const char*>(data), size });
    if (reply) {
        verify(reply->find('\n') == std::string::npos);
        auto json = Json::parse(*reply);
        verify(json && (json->is_object() || (json->is_array() && !json->empty())));
    }
    // The store started with nothing of an agent's, so whatever is an agent's now awaits review.
    for (auto& workflow : store.documents().workflows) {
        if (workflow.createdByAgent)
            verify(!workflow.isEnabled && workflow.pendingReview);
    }
    for (auto& collection : store.documents().snippets) {
        for (auto& snippet : collection.snippets) {
            if (snippet.createdByAgent)
                verify(!snippet.isEnabled && snippet.pendingReview);
        }
    }
    auto text = Json::documentText(
        DocumentCoding<std::vector<Workflow>>::encode(store.documents().workflows));
    verify(text.has_value());
    return 0;
}
