#pragma once

#include "Logic/AgentReview.h"
#include "Logic/AppModel.h"
#include "Logic/HotKeyCenter.h"
#include "Logic/WorkflowExecutor.h"
#include "UI/PanelStyle.h"
#include "UI/WorkflowEditor.h"

#include <functional>
#include <map>

#include <QPointer>
#include <QWidget>

class QListWidget;
class QStackedWidget;

namespace zeph {

// "Zeph Launcher Settings": a list of panes on the left (General, Search, Snippets, Clipboard,
// Workflows, Agents) and the chosen one on the right. Every control writes its change at once;
// there is nothing to apply or save. Made on first use and kept.
class SettingsWindow final : public QWidget {
public:
    enum class Pane { general, search, snippets, clipboard, workflows, agents };

    struct Services {
        AppModel& model;
        HotKeyCenter& hotkeys;
        WorkflowExecutor& workflows;
        MainLoop& loop;
        MakeScriptRunner makeScriptRunner;
        // How the panel would paint a theme on this desktop, for the preview.
        std::function<PanelStyle(const Theme&)> styleOf;
    };

    SettingsWindow(Services services, QWidget* parent = nullptr);
    ~SettingsWindow() override;

    void showPane(Pane pane);
    // Shows the window in front, on its last pane.
    void present();
    // The editor of that workflow, one for each, made when first asked for.
    WorkflowEditor& editWorkflow(Workflow workflow);

private:
    QWidget* makeGeneralPane();
    QWidget* makeSearchPane();
    QWidget* makeSnippetsPane();
    QWidget* makeClipboardPane();

    Services m_services;
    AgentReview m_review;
    QListWidget* m_panes;
    QStackedWidget* m_stack;
    std::vector<Subscription> m_subscriptions;
    // Each editor goes when it is closed.
    std::map<std::string, QPointer<WorkflowEditor>> m_editors;
};

} // namespace zeph
