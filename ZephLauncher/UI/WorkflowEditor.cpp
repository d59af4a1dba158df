#include "UI/WorkflowEditor.h"

#include "Platform/KeyTable.h"
#include "Storage/Paths.h"
#include "Support/UUID.h"
#include "UI/HotKeyRecorder.h"
#include "UI/WorkflowWords.h"
#include "Workflows/WorkflowLibrary.h"
#include "Workflows/WorkflowTestRun.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace zeph {

namespace {

using WorkflowWords::choicesFor;
using WorkflowWords::heldKey;
using WorkflowWords::nodeLabel;

QString text(std::string_view value)
{
    return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
}

QString labelFor(std::string_view key)
{
    static const std::pair<std::string_view, const char*> labels[] = { { "keyword", "Keyword:" },
        { "title", "Title:" }, { "subtitle", "Subtitle:" }, { "argument", "Argument:" },
        { "combo", "Shortcut:" }, { "input", "Input:" }, { "language", "Language:" },
        { "script", "Script:" }, { "items", "Items:" }, { "url", "Address:" }, { "path", "Path:" },
        { "appBundleID", "Application id:" }, { "text", "Text:" },
        { "paste", "Paste after copying" }, { "body", "Body:" }, { "name", "Name:" },
        { "value", "Value:" }, { "op", "Operator:" }, { "compareTo", "Compare to:" } };
    for (auto [name, label] : labels) {
        if (name == key)
            return QString::fromUtf8(label);
    }
    return text(key) + u':';
}

} // namespace

WorkflowEditor::WorkflowEditor(Services services, Workflow workflow, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_services(std::move(services))
    , m_workflow(std::move(workflow))
    , m_saved(m_workflow)
    , m_name(new QLineEdit(this))
    , m_summary(new QLineEdit(this))
    , m_enabled(new QCheckBox(QStringLiteral("On"), this))
    , m_nodes(new QListWidget(this))
    , m_nodeForm(new QWidget(this))
    , m_nodeFields(new QFormLayout(m_nodeForm))
    , m_nodeError(new QLabel(this))
    , m_connections(new QTreeWidget(this))
    , m_connectFrom(new QComboBox(this))
    , m_connectTo(new QComboBox(this))
    , m_connectModifier(new QComboBox(this))
    , m_problems(new QLabel(this))
    , m_testStart(new QComboBox(this))
    , m_testQuery(new QLineEdit(this))
    , m_testReport(new QPlainTextEdit(this))
    , m_save(new QPushButton(QStringLiteral("Save"), this))
{
    setWindowTitle(QStringLiteral("Workflow — %1").arg(text(m_workflow.name)));
    resize(1040, 720);

    auto* header = new QFormLayout;
    header->addRow(QStringLiteral("Name:"), m_name);
    header->addRow(QStringLiteral("Summary:"), m_summary);
    header->addRow(QString {}, m_enabled);
    m_name->setText(text(m_workflow.name));
    m_summary->setText(text(m_workflow.summary));
    m_enabled->setChecked(m_workflow.isEnabled);
    // Only the review enables what an agent made and the user has not seen.
    m_enabled->setEnabled(!m_workflow.pendingReview);

    auto* addNode = new QPushButton(QStringLiteral("Add Node"), this);
    auto* palette = new QMenu(addNode);
    for (auto category :
        { NodeKind::Category::input, NodeKind::Category::action, NodeKind::Category::utility }) {
        palette->addSection(text(sectionTitle(category)));
        for (const auto& kind : NodeKind::nodeTemplates()) {
            if (kind.category() == category)
                connect(palette->addAction(text(kind.displayName())), &QAction::triggered, this,
                    [this, kind] { this->addNode(kind); });
        }
    }
    addNode->setMenu(palette);
    auto* removeNode = new QPushButton(QStringLiteral("Remove Node"), this);
    auto* nodeButtons = new QHBoxLayout;
    nodeButtons->addWidget(addNode);
    nodeButtons->addWidget(removeNode);
    auto* nodeColumn = new QWidget(this);
    auto* nodeLayout = new QVBoxLayout(nodeColumn);
    nodeLayout->setContentsMargins(0, 0, 0, 0);
    nodeLayout->addWidget(new QLabel(QStringLiteral("Nodes"), this));
    nodeLayout->addWidget(m_nodes, 1);
    nodeLayout->addLayout(nodeButtons);

    m_nodeError->setWordWrap(true);
    m_nodeError->setStyleSheet(QStringLiteral("color: #b00020"));
    auto* formColumn = new QWidget(this);
    auto* formLayout = new QVBoxLayout(formColumn);
    formLayout->setContentsMargins(0, 0, 0, 0);
    formLayout->addWidget(m_nodeForm);
    formLayout->addWidget(m_nodeError);
    formLayout->addStretch();

    m_connections->setHeaderLabels({ QStringLiteral("From"), QStringLiteral("Port"),
        QStringLiteral("To"), QStringLiteral("Key held") });
    m_connections->setRootIsDecorated(false);
    m_connections->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    for (const auto& [modifier, name] : enumNames<ConnectionModifier>)
        m_connectModifier->addItem(heldKey(modifier), static_cast<int>(modifier));
    auto* connectButton = new QPushButton(QStringLiteral("Connect"), this);
    auto* disconnectButton = new QPushButton(QStringLiteral("Remove Connection"), this);
    auto* connectRow = new QHBoxLayout;
    connectRow->addWidget(m_connectFrom, 2);
    connectRow->addWidget(new QLabel(QStringLiteral("→"), this));
    connectRow->addWidget(m_connectTo, 2);
    connectRow->addWidget(m_connectModifier);
    connectRow->addWidget(connectButton);
    connectRow->addWidget(disconnectButton);

    m_problems->setWordWrap(true);
    m_testReport->setReadOnly(true);
    m_testReport->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_testReport->setPlaceholderText(QStringLiteral(
        "A test run performs nothing: it says which steps would run and what they would do."));
    m_testQuery->setPlaceholderText(QStringLiteral("Query"));
    auto* testButton = new QPushButton(QStringLiteral("Test"), this);
    auto* testRow = new QHBoxLayout;
    testRow->addWidget(new QLabel(QStringLiteral("Test from"), this));
    testRow->addWidget(m_testStart);
    testRow->addWidget(m_testQuery, 1);
    testRow->addWidget(testButton);

    auto* columns = new QSplitter(this);
    columns->addWidget(nodeColumn);
    columns->addWidget(formColumn);
    columns->setStretchFactor(1, 2);
    auto* close = new QPushButton(QStringLiteral("Close"), this);
    m_save->setDefault(true);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(close);
    buttons->addWidget(m_save);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addWidget(columns, 3);
    layout->addWidget(new QLabel(QStringLiteral("Connections"), this));
    layout->addWidget(m_connections, 1);
    layout->addLayout(connectRow);
    layout->addWidget(m_problems);
    layout->addLayout(testRow);
    layout->addWidget(m_testReport, 1);
    layout->addLayout(buttons);

    connect(m_name, &QLineEdit::textEdited, this, [this](const QString& value) {
        m_workflow.name = value.toStdString();
        setWindowTitle(QStringLiteral("Workflow — %1").arg(value));
        changed();
    });
    connect(m_summary, &QLineEdit::textEdited, this, [this](const QString& value) {
        m_workflow.summary = value.toStdString();
        changed();
    });
    connect(m_enabled, &QCheckBox::toggled, this, [this](bool isOn) {
        m_workflow.isEnabled = isOn;
        changed();
    });
    connect(m_nodes, &QListWidget::currentRowChanged, this, [this] { showNode(); });
    connect(removeNode, &QPushButton::clicked, this, [this] { this->removeNode(); });
    connect(connectButton, &QPushButton::clicked, this, [this] { addConnection(); });
    connect(disconnectButton, &QPushButton::clicked, this, [this] {
        if (auto* item = m_connections->currentItem()) {
            m_workflow.removeConnection(item->data(0, Qt::UserRole).toString().toStdString());
            changed();
        }
    });
    connect(testButton, &QPushButton::clicked, this,
        [this] { test(m_testQuery->text().toStdString()); });
    connect(m_testQuery, &QLineEdit::returnPressed, testButton, &QPushButton::click);
    connect(m_save, &QPushButton::clicked, this, [this] { save(); });
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    connect(
        new QShortcut(QKeySequence::Save, this), &QShortcut::activated, this, [this] { save(); });
    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);

    fillNodes();
    changed();
    if (m_nodes->count() > 0)
        m_nodes->setCurrentRow(0);
}

WorkflowEditor::~WorkflowEditor()
{
    *m_isAlive = false;
}

bool WorkflowEditor::hasChanges() const
{
    return m_workflow != m_saved;
}

void WorkflowEditor::save()
{
    m_services.model.workflows().change([&](std::vector<Workflow>& workflows) {
        auto found = std::find_if(workflows.begin(), workflows.end(),
            [&](const Workflow& each) { return each.id == m_workflow.id; });
        if (found != workflows.end())
            *found = m_workflow;
        else
            workflows.push_back(m_workflow);
    });
    m_saved = m_workflow;
    changed();
}

void WorkflowEditor::test(
    const std::string& query, std::function<void(std::vector<std::string>)> done)
{
    auto startID = m_testStart->currentData().toString().toStdString();
    const auto* start = m_workflow.nodeWithID(startID);
    if (!start) {
        m_testReport->setPlainText(QStringLiteral("The workflow has no input node to start from."));
        return;
    }
    m_testReport->setPlainText(QStringLiteral("Testing…"));
    auto scripts = m_services.makeScriptRunner(
        Paths::workflowDirectory(m_services.model.dataFolder(), m_workflow.id));
    auto& loop = m_services.loop;
    // Scripts may take seconds: the run goes on beside the interface, and its report comes back
    // only to an editor that is still open.
    loop.runInBackground([&loop, workflow = m_workflow, node = *start, query, scripts,
                             isAlive = std::weak_ptr<bool>(m_isAlive), this, done] {
        auto lines = WorkflowTestRun::report(
            workflow, node, query, *scripts, WorkflowExecutor::scriptTimeout);
        loop.post([isAlive, this, lines = std::move(lines), done] {
            if (isAlive.expired())
                return;
            QString report;
            for (const auto& line : lines)
                report += text(line) + u'\n';
            m_testReport->setPlainText(report.trimmed());
            if (done)
                done(lines);
        });
    });
}

void WorkflowEditor::closeEvent(QCloseEvent* event)
{
    if (hasChanges()) {
        auto answer = QMessageBox::question(this, QStringLiteral("Save Changes"),
            QStringLiteral("Save the changes to “%1”?").arg(text(m_workflow.name)),
            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
        if (answer == QMessageBox::Cancel) {
            event->ignore();
            return;
        }
        if (answer == QMessageBox::Save)
            save();
    }
    QWidget::closeEvent(event);
}

void WorkflowEditor::changed()
{
    m_save->setEnabled(hasChanges());
    // The saved version of this workflow in the list is passed over by its id.
    QString problems;
    for (const auto& problem :
        WorkflowLibrary::validate(m_workflow, m_services.model.workflows().get()))
        problems += QStringLiteral("⚠ ") + text(problem) + u'\n';
    m_problems->setText(problems.trimmed());
    m_problems->setVisible(!problems.isEmpty());
    fillConnections();
}

void WorkflowEditor::fillNodes()
{
    m_isFilling = true;
    auto row = m_nodes->currentRow();
    m_nodes->clear();
    for (const auto& node : m_workflow.nodes)
        m_nodes->addItem(nodeLabel(node));
    if (m_nodes->count() > 0)
        m_nodes->setCurrentRow(std::clamp(row, 0, m_nodes->count() - 1));
    m_isFilling = false;
    showNode();
}

void WorkflowEditor::fillConnections()
{
    m_connections->clear();
    for (const auto& connection : m_workflow.connections) {
        auto* item = new QTreeWidgetItem(m_connections,
            { nodeLabel(m_workflow, connection.from), text(connection.fromPort),
                nodeLabel(m_workflow, connection.to),
                connection.modifier == ConnectionModifier::none ? QString {}
                                                                : heldKey(connection.modifier) });
        item->setData(0, Qt::UserRole, text(connection.id));
    }
    auto refill = [](QComboBox* box, auto&& add) {
        auto current = box->currentData();
        box->clear();
        add(box);
        if (auto index = box->findData(current); index >= 0)
            box->setCurrentIndex(index);
    };
    refill(m_connectFrom, [&](QComboBox* box) {
        for (const auto& node : m_workflow.nodes) {
            for (auto port : node.kind.outputPorts()) {
                auto label = nodeLabel(node);
                if (node.kind.outputPorts().size() > 1)
                    label += QStringLiteral(" (%1)").arg(text(port));
                box->addItem(label, text(node.id) + u'\n' + text(port));
            }
        }
    });
    refill(m_connectTo, [&](QComboBox* box) {
        for (const auto& node : m_workflow.nodes) {
            if (node.kind.category() != NodeKind::Category::input)
                box->addItem(nodeLabel(node), text(node.id));
        }
    });
    refill(m_testStart, [&](QComboBox* box) {
        for (const auto* node : m_workflow.inputNodes())
            box->addItem(nodeLabel(*node), text(node->id));
    });
}

void WorkflowEditor::showNode()
{
    if (m_isFilling)
        return;
    while (m_nodeFields->rowCount() > 0)
        m_nodeFields->removeRow(0);
    m_fieldReaders.clear();
    m_nodeError->clear();
    auto row = m_nodes->currentRow();
    if (row < 0 || static_cast<std::size_t>(row) >= m_workflow.nodes.size())
        return;
    const auto& node = m_workflow.nodes[static_cast<std::size_t>(row)];
    auto* kindLabel = new QLabel(QStringLiteral("<b>%1</b>").arg(text(node.kind.displayName())));
    m_nodeFields->addRow(kindLabel);
    auto document = toJSON(node.kind);
    const auto& fields = document.begin().value();
    auto onEdit = [this] { applyNodeForm(); };
    for (const auto& [key, value] : fields.items()) {
        auto choices = choicesFor(key);
        if (!choices.empty()) {
            auto* box = new QComboBox;
            for (auto choice : choices)
                box->addItem(text(choice));
            box->setCurrentText(text(value.is_string() ? value.get<std::string>() : ""));
            connect(box, &QComboBox::currentIndexChanged, this, onEdit);
            m_nodeFields->addRow(labelFor(key), box);
            m_fieldReaders.emplace_back(
                key, [box] { return Json::Value(box->currentText().toStdString()); });
        } else if (key == "combo") {
            auto* recorder = new HotKeyRecorder(m_services.hotkeys);
            if (auto decoded = keyComboFromJSON(value))
                recorder->setCombo(*decoded);
            recorder->onRecorded = [onEdit](const KeyCombo&) { onEdit(); };
            m_nodeFields->addRow(labelFor(key), recorder);
            m_fieldReaders.emplace_back(key, [recorder] {
                return recorder->combo() ? toJSON(*recorder->combo()) : Json::Value(nullptr);
            });
        } else if (value.is_boolean()) {
            auto* box = new QCheckBox(labelFor(key));
            box->setChecked(value.get<bool>());
            connect(box, &QCheckBox::toggled, this, onEdit);
            m_nodeFields->addRow(QString {}, box);
            m_fieldReaders.emplace_back(key, [box] { return Json::Value(box->isChecked()); });
        } else if (value.is_string() && key != "script") {
            auto* field = new QLineEdit(text(value.get<std::string>()));
            connect(field, &QLineEdit::textEdited, this, onEdit);
            m_nodeFields->addRow(labelFor(key), field);
            m_fieldReaders.emplace_back(
                key, [field] { return Json::Value(field->text().toStdString()); });
        } else {
            // Scripts as text; anything structured (a list filter's items) as its JSON.
            auto* field = new QPlainTextEdit(
                text(value.is_string() ? value.get<std::string>()
                                       : Json::documentText(value).value_or("")));
            field->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
            field->setMinimumHeight(160);
            connect(field, &QPlainTextEdit::textChanged, this, onEdit);
            m_nodeFields->addRow(labelFor(key), field);
            bool isText = value.is_string();
            m_fieldReaders.emplace_back(key, [field, isText] {
                auto content = field->toPlainText().toStdString();
                if (isText)
                    return Json::Value(content);
                // Text that is not JSON is kept as text, which the kind's reader then refuses
                // with a sentence that names the field.
                return Json::parse(content).value_or(Json::Value(content));
            });
        }
    }
    auto* note = new QLineEdit(text(node.note));
    note->setPlaceholderText(QStringLiteral("What this node is for"));
    connect(note, &QLineEdit::textEdited, this, [this, row](const QString& value) {
        auto& edited = m_workflow.nodes[static_cast<std::size_t>(row)];
        edited.note = value.toStdString();
        m_nodes->item(row)->setText(nodeLabel(edited));
        changed();
    });
    m_nodeFields->addRow(QStringLiteral("Note:"), note);
}

void WorkflowEditor::applyNodeForm()
{
    auto row = m_nodes->currentRow();
    if (row < 0 || static_cast<std::size_t>(row) >= m_workflow.nodes.size())
        return;
    auto& node = m_workflow.nodes[static_cast<std::size_t>(row)];
    auto fields = Json::Value::object();
    for (const auto& [key, read] : m_fieldReaders)
        fields[key] = read();
    auto decoded = nodeKindFromJSON(Json::Value { { std::string(node.kind.typeKey()), fields } });
    if (!decoded) {
        m_nodeError->setText(text(decoded.error().message));
        return;
    }
    m_nodeError->clear();
    node.kind = std::move(*decoded);
    m_nodes->item(row)->setText(nodeLabel(node));
    changed();
}

void WorkflowEditor::addNode(const NodeKind& kind)
{
    // New nodes step down the canvas, so that a later canvas does not stack them.
    auto count = static_cast<double>(m_workflow.nodes.size());
    m_workflow.nodes.push_back({ .id = makeUUID(),
        .position = { .x = 80 + 40 * count, .y = 80 + 60 * count },
        .kind = kind });
    fillNodes();
    m_nodes->setCurrentRow(m_nodes->count() - 1);
    changed();
}

void WorkflowEditor::removeNode()
{
    auto row = m_nodes->currentRow();
    if (row < 0 || static_cast<std::size_t>(row) >= m_workflow.nodes.size())
        return;
    m_workflow.removeNode(m_workflow.nodes[static_cast<std::size_t>(row)].id);
    fillNodes();
    changed();
}

void WorkflowEditor::addConnection()
{
    auto from = m_connectFrom->currentData().toString().split(u'\n');
    auto to = m_connectTo->currentData().toString().toStdString();
    if (from.size() != 2 || to.empty())
        return;
    auto modifier = static_cast<ConnectionModifier>(m_connectModifier->currentData().toInt());
    if (!m_workflow.addConnection(from[0].toStdString(), from[1].toStdString(), to, modifier)) {
        m_problems->setText(QStringLiteral(
            "⚠ That connection cannot be made: a node cannot lead to itself, to an input or back "
            "to a node before it, and each connection is made once."));
        m_problems->setVisible(true);
        return;
    }
    changed();
}

} // namespace zeph
