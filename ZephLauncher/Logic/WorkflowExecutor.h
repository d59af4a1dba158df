#pragma once

#include "Logic/AppModel.h"
#include "Logic/DesktopWorkflowEnvironment.h"
#include "Logic/HotKeyCenter.h"
#include "Workflows/WorkflowRunner.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace zeph {

// The script runner of a workflow, working in its folder.
using MakeScriptRunner
    = std::function<std::shared_ptr<ScriptRunning>(const std::filesystem::path& workingDirectory)>;

// The application's side of workflows: starts runs from the launcher and from hot keys, each on a
// thread of its own so that the interface stays free, and keeps the global hot keys in step with
// the enabled workflows. Main thread only.
class WorkflowExecutor {
public:
    static constexpr Seconds scriptTimeout { 30 };

    WorkflowExecutor(AppModel& model, HotKeyCenter& hotkeys,
        DesktopWorkflowEnvironment::Services services, MakeScriptRunner makeScriptRunner);
    ~WorkflowExecutor();
    WorkflowExecutor(const WorkflowExecutor&) = delete;
    WorkflowExecutor& operator=(const WorkflowExecutor&) = delete;

    // Runs the model's workflow from `nodeID`; a workflow that is gone does nothing.
    void run(const std::string& workflowID, const std::string& nodeID, std::string query,
        Variables variables = {}, ConnectionModifier modifier = ConnectionModifier::none);
    // Runs a workflow as the editor holds it, for its test button; `completion` hears the log on
    // the main thread.
    void test(Workflow workflow, const std::string& nodeID, std::string query,
        std::function<void(WorkflowRunLog)> completion);
    // Registers the hot keys of the enabled workflows anew; runs by itself when they change.
    void refreshHotkeys();

    const std::vector<std::uint32_t>& hotkeyIDs() const { return m_hotkeyIDs; }

private:
    void start(Workflow workflow, const std::string& nodeID, std::string query, Variables variables,
        ConnectionModifier modifier, std::function<void(WorkflowRunLog)> completion);

    AppModel& m_model;
    HotKeyCenter& m_hotkeys;
    DesktopWorkflowEnvironment::Services m_services;
    MakeScriptRunner m_makeScriptRunner;
    std::vector<std::uint32_t> m_hotkeyIDs;
    Subscription m_workflowsChanged;
    DelayedTask m_refresh;
};

} // namespace zeph
