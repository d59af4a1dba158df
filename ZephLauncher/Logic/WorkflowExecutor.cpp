#include "Logic/WorkflowExecutor.h"

#include "Storage/Paths.h"
#include "Workflows/WorkflowLibrary.h"

namespace zeph {

namespace {

using namespace std::chrono_literals;

// Saving a workflow in the editor may come as several changes; the keys follow the last.
constexpr auto refreshDelay = 300ms;

} // namespace

WorkflowExecutor::WorkflowExecutor(AppModel& model, HotKeyCenter& hotkeys,
    DesktopWorkflowEnvironment::Services services, MakeScriptRunner makeScriptRunner)
    : m_model(model)
    , m_hotkeys(hotkeys)
    , m_services(std::move(services))
    , m_makeScriptRunner(std::move(makeScriptRunner))
    , m_refresh(m_services.loop)
{
    m_workflowsChanged = m_model.workflows().subscribe(
        [this](const auto&) { m_refresh.schedule(refreshDelay, [this] { refreshHotkeys(); }); });
}

WorkflowExecutor::~WorkflowExecutor()
{
    m_hotkeys.unregister(m_hotkeyIDs);
}

void WorkflowExecutor::run(const std::string& workflowID, const std::string& nodeID,
    std::string query, Variables variables, ConnectionModifier modifier)
{
    auto& workflows = m_model.workflows().get();
    auto found = std::find_if(workflows.begin(), workflows.end(),
        [&](const Workflow& workflow) { return workflow.id == workflowID; });
    if (found == workflows.end())
        return;
    start(*found, nodeID, std::move(query), std::move(variables), modifier, {});
}

void WorkflowExecutor::test(Workflow workflow, const std::string& nodeID, std::string query,
    std::function<void(WorkflowRunLog)> completion)
{
    start(std::move(workflow), nodeID, std::move(query), {}, ConnectionModifier::none,
        std::move(completion));
}

void WorkflowExecutor::start(Workflow workflow, const std::string& nodeID, std::string query,
    Variables variables, ConnectionModifier modifier,
    std::function<void(WorkflowRunLog)> completion)
{
    auto folder = Paths::workflowDirectory(m_model.dataFolder(), workflow.id);
    auto scripts = m_makeScriptRunner(folder);
    // A hot key start reads the selection or the clipboard: read here, on the main thread.
    std::string clipboardText;
    std::string selectedText;
    auto start = std::find_if(workflow.nodes.begin(), workflow.nodes.end(),
        [&](const WorkflowNode& node) { return node.id == nodeID; });
    if (start != workflow.nodes.end()) {
        if (auto* hotkey = std::get_if<NodeKind::Hotkey>(&start->kind.payload)) {
            if (hotkey->input == HotkeyInput::clipboard)
                clipboardText = m_services.clipboard.text().value_or("");
            else if (hotkey->input == HotkeyInput::selectedText)
                selectedText = m_services.desktop.selectedText();
        }
    }
    auto environment = std::make_shared<DesktopWorkflowEnvironment>(
        m_services, std::move(clipboardText), std::move(selectedText));
    m_services.loop.runInBackground(
        [&loop = m_services.loop, environment, scripts, workflow = std::move(workflow), nodeID,
            query = std::move(query), variables = std::move(variables), modifier,
            completion = std::move(completion)]() mutable {
            WorkflowRunner runner(*environment, *scripts, scriptTimeout);
            auto log = runner.run(workflow, nodeID, std::move(query), variables, modifier);
            if (completion)
                loop.post([completion = std::move(completion), log = std::move(log)]() mutable {
                    completion(std::move(log));
                });
        });
}

void WorkflowExecutor::refreshHotkeys()
{
    m_hotkeys.unregister(m_hotkeyIDs);
    m_hotkeyIDs.clear();
    for (auto& binding : WorkflowLibrary::hotkeyBindings(m_model.workflows().get())) {
        auto id = m_hotkeys.register_(
            binding.combo, [this, workflowID = binding.workflowID, nodeID = binding.nodeID] {
                run(workflowID, nodeID, "");
            });
        // A combination that cannot be had is skipped; the rest go on.
        if (id)
            m_hotkeyIDs.push_back(*id);
    }
}

} // namespace zeph
