// Arbitrary bytes as "workflows.json" (or as one workflow): whatever decodes must encode and decode
// back to itself, and the library's answers and the graph operations must keep their promises on
// it, however the hand-edited graph looks.
#include "Support/Verify.h"
#include "Workflows/WorkflowLibrary.h"

#include <algorithm>
#include <string_view>

namespace {

using namespace zeph;

using Coding = DocumentCoding<std::vector<Workflow>>;

void checkGraphOperations(const Workflow& workflow)
{
    // Enough pairs to meet every rule without a quadratic cost on a large document.
    auto count = std::min<std::size_t>(workflow.nodes.size(), 6);
    for (std::size_t from = 0; from < count; ++from) {
        for (std::size_t to = 0; to < count; ++to) {
            auto& source = workflow.nodes[from];
            auto& target = workflow.nodes[to];
            for (auto port : { "out", "true" }) {
                auto changed = workflow;
                bool wasReachable = workflow.reaches(target.id, source.id);
                if (!changed.addConnection(source.id, port, target.id, ConnectionModifier::none)) {
                    verify(changed == workflow);
                    continue;
                }
                verify(!wasReachable && source.id != target.id);
                verify(changed.nodeWithID(target.id)->kind.category() != NodeKind::Category::input);
                verify(changed.connections.size() == workflow.connections.size() + 1);
                verify(changed.reaches(source.id, target.id));
                auto outgoing = changed.outgoing(source.id, port, ConnectionModifier::none);
                verify(std::any_of(outgoing.begin(), outgoing.end(), [&](auto* connection) {
                    return connection->id == changed.connections.back().id;
                }));
            }
        }
        auto removed = workflow;
        removed.removeNode(workflow.nodes[from].id);
        verify(!removed.nodeWithID(workflow.nodes[from].id));
        verify(std::none_of(
            removed.connections.begin(), removed.connections.end(), [&](auto& connection) {
                return connection.from == workflow.nodes[from].id
                    || connection.to == workflow.nodes[from].id;
            }));
    }
}

void checkLibrary(const std::vector<Workflow>& workflows)
{
    for (auto& entry : WorkflowLibrary::entries(workflows)) {
        verify(!entry.keyword.empty());
        verify(entry.itemID() == "wf:" + entry.workflowID + ":" + entry.nodeID);
    }
    for (auto& binding : WorkflowLibrary::hotkeyBindings(workflows))
        verify(binding.combo.isValid());
    auto checked = std::min<std::size_t>(workflows.size(), 8);
    for (std::size_t index = 0; index < checked; ++index) {
        auto& workflow = workflows[index];
        for (auto& problem : WorkflowLibrary::validate(workflow, workflows))
            verify(problem.ends_with("."));
        checkGraphOperations(workflow);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto json = Json::parse({ reinterpret_cast<const char*>(data), size });
    if (!json)
        return 0;
    auto workflows = Coding::decode(*json);
    if (!workflows) {
        verify(!workflows.error().message.empty());
        auto one = workflowFromJSON(*json);
        if (!one)
            return 0;
        workflows = std::vector<Workflow> { std::move(*one) };
    }
    // Through the text, as the store writes and reads it back.
    auto text = Json::documentText(Coding::encode(*workflows));
    verify(text.has_value());
    auto again = Coding::decode(Json::parse(*text).value());
    verify(again.has_value() && *again == *workflows);
    checkLibrary(*workflows);
    return 0;
}
