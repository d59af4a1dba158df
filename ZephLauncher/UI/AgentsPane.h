#pragma once

#include "Logic/AgentReview.h"

#include <QWidget>

class QLabel;
class QListWidget;
class QPushButton;
class QTextEdit;

namespace zeph {

// What agents made, waiting for the user: each item with what changed since the user last
// approved it, "Approve and Enable" and "Delete…"; and how to connect an agent to zeph-mcp.
class AgentsPane final : public QWidget {
public:
    AgentsPane(AgentReview& review, AppModel& model, QWidget* parent = nullptr);

    // Where zeph-mcp is: beside this program once installed, in its own folder in a build tree,
    // else on the PATH.
    static QString helperPath();

private:
    void fill();
    void showSelection();
    void approveSelected();
    void deleteSelected();

    AppModel& m_model;
    AgentReview& m_review;
    std::vector<PendingReview> m_pending;
    QListWidget* m_list;
    QTextEdit* m_changes;
    QLabel* m_empty;
    QPushButton* m_approve;
    QPushButton* m_delete;
    std::vector<Subscription> m_subscriptions;
};

} // namespace zeph
