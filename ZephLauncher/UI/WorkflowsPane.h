#pragma once

#include "Logic/AgentReview.h"
#include "Logic/AppModel.h"
#include "Logic/WorkflowExecutor.h"

#include <QWidget>

class QLabel;
class QPushButton;
class QTreeWidget;

namespace zeph {

// The user's workflows: each with its switch and what is wrong with it, and the buttons to make,
// edit, run or delete one, to approve one an agent made, and to add the example workflows.
class WorkflowsPane final : public QWidget {
public:
    WorkflowsPane(AppModel& model, WorkflowExecutor& executor, AgentReview& review,
        QWidget* parent = nullptr);

    // Opens the editor on a workflow of the list, or on a new one.
    std::function<void(Workflow)> onEdit;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fill(const std::vector<Workflow>& workflows);
    void showSelection();
    const Workflow* selected() const;
    void runSelected();
    void deleteSelected();

    AppModel& m_model;
    WorkflowExecutor& m_executor;
    AgentReview& m_review;
    QTreeWidget* m_list;
    QLabel* m_problems;
    QLabel* m_reviewBanner;
    QPushButton* m_run;
    QPushButton* m_edit;
    QPushButton* m_approve;
    QPushButton* m_delete;
    Subscription m_subscription;
    bool m_isFilling = false;
};

} // namespace zeph
