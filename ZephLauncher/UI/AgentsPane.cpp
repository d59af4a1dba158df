#include "UI/AgentsPane.h"

#include "UI/ConfirmDeletion.h"
#include "UI/WorkflowWords.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStandardPaths>
#include <QTextEdit>
#include <QVBoxLayout>

namespace zeph {

namespace {

QString label(const PendingReview& item)
{
    if (item.kind == PendingReview::Kind::workflow)
        return QStringLiteral("Workflow: %1").arg(QString::fromStdString(item.name));
    return QStringLiteral("Snippet: %1 (%2)")
        .arg(QString::fromStdString(item.name), QString::fromStdString(item.collectionName));
}

QString problemsHTML(const PendingReview& item)
{
    QString html;
    for (const auto& problem : item.problems)
        html += QStringLiteral("<p style=\"color:#b35900\">⚠ %1</p>")
                    .arg(QString::fromStdString(problem).toHtmlEscaped());
    return html;
}

// The changed lines, and three lines around each change.
QString changesHTML(const PendingReview& item)
{
    constexpr std::size_t context = 3;
    const auto& lines = item.changes;
    std::vector<bool> shown(lines.size(), false);
    for (std::size_t index = 0; index < lines.size(); ++index) {
        if (lines[index].kind == ChangedLine::Kind::kept)
            continue;
        auto first = index >= context ? index - context : 0;
        for (auto near = first; near < std::min(lines.size(), index + context + 1); ++near)
            shown[near] = true;
    }
    auto html = problemsHTML(item) + QStringLiteral("<pre style=\"margin:0\">");
    bool skipped = false;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        if (!shown[index]) {
            if (!skipped)
                html += QStringLiteral("<span style=\"color:gray\">  …</span>\n");
            skipped = true;
            continue;
        }
        skipped = false;
        auto text = QString::fromStdString(lines[index].text).toHtmlEscaped();
        switch (lines[index].kind) {
        case ChangedLine::Kind::kept:
            html += QStringLiteral("  ") + text + u'\n';
            break;
        case ChangedLine::Kind::added:
            html += QStringLiteral("<span style=\"background:#d8f5d8;color:#0a5a0a\">+ %1</span>\n")
                        .arg(text);
            break;
        case ChangedLine::Kind::removed:
            html += QStringLiteral("<span style=\"background:#f8dcdc;color:#8a1010\">- %1</span>\n")
                        .arg(text);
            break;
        }
    }
    return html + QStringLiteral("</pre>");
}

// An item never approved: the workflow as a whole, or the snippet with its trigger and text.
QString newItemHTML(const PendingReview& item, AppModel& model)
{
    auto html = QStringLiteral("<p><i>New: you have not approved it before.</i></p>")
        + problemsHTML(item);
    if (item.kind == PendingReview::Kind::workflow) {
        for (const auto& workflow : model.workflows().get()) {
            if (workflow.id == item.id)
                return html + WorkflowWords::summaryHTML(workflow);
        }
        return html;
    }
    for (const auto& collection : model.snippetCollections().get()) {
        for (const auto& snippet : collection.snippets) {
            if (snippet.id != item.id)
                continue;
            auto trigger = collection.triggerText(snippet);
            return html
                + QStringLiteral("<h3>%1</h3><p>Trigger: %2</p><pre>%3</pre>")
                      .arg(QString::fromStdString(snippet.name).toHtmlEscaped(),
                          trigger ? QString::fromStdString(*trigger).toHtmlEscaped()
                                  : QStringLiteral("none (only in the launcher)"),
                          QString::fromStdString(snippet.content).toHtmlEscaped());
        }
    }
    return html;
}

// What the user never approved reads as a whole; what changed since an approval, as the changed
// lines with three lines around each.
QString reviewHTML(const PendingReview& item, AppModel& model)
{
    bool isNew = std::none_of(item.changes.begin(), item.changes.end(),
        [](const ChangedLine& line) { return line.kind != ChangedLine::Kind::added; });
    if (isNew)
        return newItemHTML(item, model);
    return changesHTML(item);
}

// A read-only text with a button that copies it.
QWidget* copyableText(const QString& title, const QString& text, QWidget* parent)
{
    auto* box = new QGroupBox(title, parent);
    auto* field = new QPlainTextEdit(text, box);
    field->setReadOnly(true);
    field->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    field->setFixedHeight(field->fontMetrics().lineSpacing() * (text.count(u'\n') + 1) + 16);
    auto* copy = new QPushButton(QStringLiteral("Copy"), box);
    QObject::connect(
        copy, &QPushButton::clicked, box, [text] { QGuiApplication::clipboard()->setText(text); });
    auto* layout = new QHBoxLayout(box);
    layout->addWidget(field, 1);
    layout->addWidget(copy, 0, Qt::AlignTop);
    return box;
}

QString quoted(const QString& path)
{
    return u'"'
        + QString(path).replace(u'\\', QStringLiteral("\\\\")).replace(u'"', QStringLiteral("\\\""))
        + u'"';
}

} // namespace

AgentsPane::AgentsPane(AgentReview& review, AppModel& model, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_review(review)
    , m_list(new QListWidget(this))
    , m_changes(new QTextEdit(this))
    , m_empty(new QLabel(QStringLiteral("Nothing waits for your review."), this))
    , m_approve(new QPushButton(QStringLiteral("Approve and Enable"), this))
    , m_delete(new QPushButton(QStringLiteral("Delete…"), this))
{
    m_changes->setReadOnly(true);
    m_changes->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    auto* intro = new QLabel(QStringLiteral("Workflows and snippets that agents create or change "
                                            "stay off until you approve them. Agents can never "
                                            "change what you made."),
        this);
    intro->setWordWrap(true);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_approve);
    buttons->addWidget(m_delete);
    buttons->addStretch();
    auto* columns = new QHBoxLayout;
    columns->addWidget(m_list, 2);
    columns->addWidget(m_changes, 3);

    auto path = helperPath();
    auto json = QStringLiteral("{\n  \"mcpServers\": {\n    \"zeph-launcher\": {\n      "
                               "\"command\": %1\n    }\n  }\n}")
                    .arg(quoted(path));
    auto command = QStringLiteral("claude mcp add --scope user zeph-launcher -- ") + quoted(path);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 16, 24, 24);
    layout->addWidget(intro);
    layout->addWidget(m_empty);
    layout->addLayout(columns, 1);
    layout->addLayout(buttons);
    layout->addSpacing(12);
    layout->addWidget(copyableText(QStringLiteral("Claude Desktop "
                                                  "(~/.config/Claude/claude_desktop_config.json) "
                                                  "or Cursor (~/.cursor/mcp.json): merge in"),
        json, this));
    layout->addWidget(copyableText(QStringLiteral("Claude Code"), command, this));

    connect(m_list, &QListWidget::currentRowChanged, this, [this] { showSelection(); });
    connect(m_approve, &QPushButton::clicked, this, [this] { approveSelected(); });
    connect(m_delete, &QPushButton::clicked, this, [this] { deleteSelected(); });
    m_subscriptions.push_back(model.workflows().subscribe([this](const auto&) { fill(); }));
    m_subscriptions.push_back(
        model.snippetCollections().subscribe([this](const auto&) { fill(); }));
    fill();
}

QString AgentsPane::helperPath()
{
    auto folder = QDir(QCoreApplication::applicationDirPath());
    for (const auto& candidate : { folder.filePath(QStringLiteral("zeph-mcp")),
             folder.filePath(QStringLiteral("../zeph-mcp/zeph-mcp")) }) {
        QFileInfo file(candidate);
        if (file.isExecutable())
            return file.canonicalFilePath();
    }
    auto found = QStandardPaths::findExecutable(QStringLiteral("zeph-mcp"));
    return found.isEmpty() ? QStringLiteral("/usr/local/bin/zeph-mcp") : found;
}

void AgentsPane::fill()
{
    auto row = m_list->currentRow();
    m_pending = m_review.pending();
    m_list->clear();
    for (const auto& item : m_pending)
        m_list->addItem(label(item));
    bool hasAny = !m_pending.empty();
    m_empty->setVisible(!hasAny);
    m_list->setVisible(hasAny);
    m_changes->setVisible(hasAny);
    if (hasAny)
        m_list->setCurrentRow(std::clamp(row, 0, m_list->count() - 1));
    showSelection();
}

void AgentsPane::showSelection()
{
    auto row = m_list->currentRow();
    bool isValid = row >= 0 && static_cast<std::size_t>(row) < m_pending.size();
    m_approve->setEnabled(isValid);
    m_delete->setEnabled(isValid);
    m_approve->setVisible(!m_pending.empty());
    m_delete->setVisible(!m_pending.empty());
    m_changes->setHtml(
        isValid ? reviewHTML(m_pending[static_cast<std::size_t>(row)], m_model) : QString {});
}

void AgentsPane::approveSelected()
{
    auto row = m_list->currentRow();
    if (row < 0 || static_cast<std::size_t>(row) >= m_pending.size())
        return;
    auto item = m_pending[static_cast<std::size_t>(row)];
    m_review.approve(item.kind, item.id);
}

void AgentsPane::deleteSelected()
{
    auto row = m_list->currentRow();
    if (row < 0 || static_cast<std::size_t>(row) >= m_pending.size())
        return;
    auto item = m_pending[static_cast<std::size_t>(row)];
    if (confirmDeletion(this, QStringLiteral("Delete"), label(item)))
        m_review.remove(item.kind, item.id);
}

} // namespace zeph
