#pragma once

#include "Logic/AppModel.h"
#include "Logic/HotKeyCenter.h"
#include "Logic/MainLoop.h"
#include "Logic/WorkflowExecutor.h"

#include <memory>

#include <QWidget>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;

namespace zeph {

// One workflow, edited on a copy until Save: its name and summary; its nodes, each with the
// settings of its kind as a form; its connections as a list; what is wrong with it, as it changes;
// and a test run with a query that performs nothing and reports what would have happened.
class WorkflowEditor final : public QWidget {
public:
    struct Services {
        AppModel& model;
        HotKeyCenter& hotkeys;
        MainLoop& loop;
        MakeScriptRunner makeScriptRunner;
    };

    // A workflow of the model, or a new one when `workflow` has an id the model does not know.
    WorkflowEditor(Services services, Workflow workflow, QWidget* parent = nullptr);
    ~WorkflowEditor() override;

    const Workflow& workflow() const { return m_workflow; }
    bool hasChanges() const;
    // Writes the copy into the model, in place of the workflow with its id or at the end.
    void save();
    // Starts a test run from the chosen input node; `done` hears the report on the main thread.
    void test(const std::string& query, std::function<void(std::vector<std::string>)> done = {});

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void changed();
    void fillNodes();
    void fillConnections();
    void showNode();
    void applyNodeForm();
    void addNode(const NodeKind& kind);
    void removeNode();
    void addConnection();

    Services m_services;
    Workflow m_workflow;
    Workflow m_saved;
    std::shared_ptr<bool> m_isAlive = std::make_shared<bool>(true);
    QLineEdit* m_name;
    QLineEdit* m_summary;
    QCheckBox* m_enabled;
    QListWidget* m_nodes;
    QWidget* m_nodeForm;
    QFormLayout* m_nodeFields;
    QLabel* m_nodeError;
    QTreeWidget* m_connections;
    QComboBox* m_connectFrom;
    QComboBox* m_connectTo;
    QComboBox* m_connectModifier;
    QLabel* m_problems;
    QComboBox* m_testStart;
    QLineEdit* m_testQuery;
    QPlainTextEdit* m_testReport;
    QPushButton* m_save;
    // The form's controls for the selected node, by field key, read back on every edit.
    std::vector<std::pair<std::string, std::function<Json::Value()>>> m_fieldReaders;
    bool m_isFilling = false;
};

} // namespace zeph
