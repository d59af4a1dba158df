#include "UI/WorkflowsPane.h"

#include "Support/UUID.h"
#include "UI/ConfirmDeletion.h"
#include "Workflows/WorkflowLibrary.h"
#include "Workflows/WorkflowTemplate.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace zeph {

namespace {

constexpr int idRole = Qt::UserRole;

// The node a run from the settings starts at: the first input node.
const WorkflowNode* firstInput(const Workflow& workflow)
{
    for (const auto& node : workflow.nodes) {
        if (node.kind.category() == NodeKind::Category::input)
            return &node;
    }
    return nullptr;
}

QString statusOf(const Workflow& workflow, std::size_t problemCount)
{
    if (workflow.pendingReview)
        return QStringLiteral("Waiting for your review");
    if (problemCount == 1)
        return QStringLiteral("1 problem");
    if (problemCount > 1)
        return QStringLiteral("%1 problems").arg(problemCount);
    return workflow.isEnabled ? QStringLiteral("Ready") : QStringLiteral("Off");
}

} // namespace

WorkflowsPane::WorkflowsPane(
    AppModel& model, WorkflowExecutor& executor, AgentReview& review, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_executor(executor)
    , m_review(review)
    , m_list(new QTreeWidget(this))
    , m_problems(new QLabel(this))
    , m_reviewBanner(new QLabel(this))
    , m_run(new QPushButton(QStringLiteral("Run"), this))
    , m_edit(new QPushButton(QStringLiteral("Edit…"), this))
    , m_approve(new QPushButton(QStringLiteral("Approve and Enable"), this))
    , m_delete(new QPushButton(QStringLiteral("Delete…"), this))
{
    m_list->setHeaderLabels({ QStringLiteral("Workflow"), QStringLiteral("Status") });
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_list->header()->setStretchLastSection(false);
    m_list->installEventFilter(this);
    m_problems->setWordWrap(true);
    m_problems->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* examples = new QPushButton(QStringLiteral("Add Example Workflows"), this);
    auto* add = new QPushButton(QStringLiteral("New Workflow"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(m_edit);
    buttons->addWidget(m_run);
    buttons->addWidget(m_approve);
    buttons->addWidget(m_delete);
    buttons->addStretch();
    buttons->addWidget(examples);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 16, 24, 24);
    auto* help = new QLabel(QStringLiteral("A workflow starts from its keyword in the launcher or "
                                           "from its hot key. Switch one off to keep it without "
                                           "its keywords and hot keys."),
        this);
    help->setWordWrap(true);
    layout->addWidget(help);
    m_reviewBanner->setWordWrap(true);
    m_reviewBanner->setStyleSheet(QStringLiteral(
        "background: palette(alternate-base); border: 1px solid palette(mid); padding: 8px;"));
    layout->addWidget(m_reviewBanner);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_problems);
    layout->addLayout(buttons);

    connect(m_list, &QTreeWidget::currentItemChanged, this, [this] { showSelection(); });
    connect(m_list, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item, int column) {
        if (m_isFilling || column != 0)
            return;
        auto id = item->data(0, idRole).toString().toStdString();
        bool isOn = item->checkState(0) == Qt::Checked;
        m_model.workflows().change([&](std::vector<Workflow>& workflows) {
            for (auto& workflow : workflows) {
                // Only the review enables what an agent made and the user has not seen.
                if (workflow.id == id && !workflow.pendingReview)
                    workflow.isEnabled = isOn;
            }
        });
    });
    connect(m_run, &QPushButton::clicked, this, [this] { runSelected(); });
    auto edit = [this] {
        if (const auto* workflow = selected(); workflow && onEdit)
            onEdit(*workflow);
    };
    connect(m_edit, &QPushButton::clicked, this, edit);
    connect(m_list, &QTreeWidget::itemDoubleClicked, this, edit);
    connect(add, &QPushButton::clicked, this, [this] {
        if (onEdit)
            onEdit(Workflow { .id = makeUUID() });
    });
    connect(m_approve, &QPushButton::clicked, this, [this] {
        if (const auto* workflow = selected())
            m_review.approve(PendingReview::Kind::workflow, workflow->id);
    });
    connect(m_delete, &QPushButton::clicked, this, [this] { deleteSelected(); });
    connect(examples, &QPushButton::clicked, this, [this] {
        m_model.workflows().change([](std::vector<Workflow>& workflows) {
            for (auto example : WorkflowTemplate::examples()) {
                // Added a second time, the copies need ids of their own.
                if (std::any_of(workflows.begin(), workflows.end(),
                        [&](const Workflow& workflow) { return workflow.id == example.id; }))
                    example.id = makeUUID();
                workflows.push_back(std::move(example));
            }
        });
    });
    m_subscription = m_model.workflows().subscribe(
        [this](const std::vector<Workflow>& workflows) { fill(workflows); });
    fill(m_model.workflows().get());
}

bool WorkflowsPane::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_list && event->type() == QEvent::KeyPress) {
        auto key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Delete) {
            deleteSelected();
            return true;
        }
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            runSelected();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void WorkflowsPane::fill(const std::vector<Workflow>& workflows)
{
    m_isFilling = true;
    // The same workflows in the same order are updated in place: a change may come from a switch
    // of this list, whose item must outlive the signal it is sending.
    bool isSameList = m_list->topLevelItemCount() == static_cast<int>(workflows.size());
    for (int row = 0; isSameList && row < m_list->topLevelItemCount(); ++row) {
        isSameList = m_list->topLevelItem(row)->data(0, idRole).toString().toStdString()
            == workflows[static_cast<std::size_t>(row)].id;
    }
    if (!isSameList) {
        auto current = m_list->currentItem() ? m_list->currentItem()->data(0, idRole) : QVariant {};
        m_list->clear();
        for (const auto& workflow : workflows) {
            auto* item = new QTreeWidgetItem(m_list);
            item->setData(0, idRole, QString::fromStdString(workflow.id));
            if (item->data(0, idRole) == current)
                m_list->setCurrentItem(item);
        }
    }
    for (int row = 0; row < m_list->topLevelItemCount(); ++row) {
        const auto& workflow = workflows[static_cast<std::size_t>(row)];
        auto* item = m_list->topLevelItem(row);
        item->setText(0, QString::fromStdString(workflow.name));
        item->setText(1, statusOf(workflow, WorkflowLibrary::validate(workflow, workflows).size()));
        item->setToolTip(0, QString::fromStdString(workflow.summary));
        auto flags = item->flags() | Qt::ItemIsUserCheckable;
        item->setFlags(workflow.pendingReview ? flags & ~Qt::ItemIsUserCheckable : flags);
        item->setCheckState(0, workflow.isEnabled ? Qt::Checked : Qt::Unchecked);
    }
    if (!m_list->currentItem() && m_list->topLevelItemCount() > 0)
        m_list->setCurrentItem(m_list->topLevelItem(0));
    m_isFilling = false;
    auto pending = std::count_if(workflows.begin(), workflows.end(),
        [](const Workflow& workflow) { return workflow.pendingReview; });
    m_reviewBanner->setText(pending == 1
            ? QStringLiteral("A workflow an agent made waits for your review: select it, look it "
                             "over with Edit…, and choose “Approve and Enable”.")
            : QStringLiteral("%1 workflows agents made wait for your review: select one, look it "
                             "over with Edit…, and choose “Approve and Enable”.")
                  .arg(pending));
    m_reviewBanner->setVisible(pending > 0);
    showSelection();
}

const Workflow* WorkflowsPane::selected() const
{
    auto* item = m_list->currentItem();
    if (!item)
        return nullptr;
    auto id = item->data(0, idRole).toString().toStdString();
    for (const auto& workflow : m_model.workflows().get()) {
        if (workflow.id == id)
            return &workflow;
    }
    return nullptr;
}

void WorkflowsPane::showSelection()
{
    const auto* workflow = selected();
    m_delete->setEnabled(workflow != nullptr);
    m_edit->setEnabled(workflow != nullptr);
    m_run->setEnabled(workflow && workflow->isEnabled && firstInput(*workflow));
    m_approve->setVisible(workflow && workflow->pendingReview);
    QString text;
    if (workflow) {
        for (const auto& problem : WorkflowLibrary::validate(*workflow, m_model.workflows().get()))
            text += QStringLiteral("• ") + QString::fromStdString(problem) + u'\n';
    }
    m_problems->setText(text.trimmed());
    m_problems->setVisible(!text.isEmpty());
}

void WorkflowsPane::runSelected()
{
    const auto* workflow = selected();
    if (!workflow || !workflow->isEnabled)
        return;
    if (const auto* input = firstInput(*workflow))
        m_executor.run(workflow->id, input->id, {});
}

void WorkflowsPane::deleteSelected()
{
    const auto* workflow = selected();
    if (!workflow)
        return;
    // Copied: while the question is open, an agent may change the list under the pointer.
    auto id = workflow->id;
    if (!confirmDeletion(this, QStringLiteral("Delete Workflow"),
            QStringLiteral("“%1”").arg(QString::fromStdString(workflow->name))))
        return;
    m_model.workflows().change([&](std::vector<Workflow>& workflows) {
        std::erase_if(workflows, [&](const Workflow& each) { return each.id == id; });
    });
}

} // namespace zeph
