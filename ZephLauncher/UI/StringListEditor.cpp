#include "UI/StringListEditor.h"

#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace zeph {

namespace {

// Paths under the home folder are kept with "~", as the defaults are, so that they survive a
// change of home.
QString withTilde(const QString& path)
{
    auto home = QDir::homePath();
    if (path == home)
        return QStringLiteral("~");
    if (path.startsWith(home + u'/'))
        return u'~' + path.mid(home.size());
    return path;
}

QString withoutTilde(const QString& path)
{
    if (path == u'~' || path.startsWith(QStringLiteral("~/")))
        return QDir::homePath() + path.mid(1);
    return path;
}

} // namespace

StringListEditor::StringListEditor(Entry entry, QWidget* parent)
    : QWidget(parent)
    , m_entry(entry)
    , m_list(new QListWidget(this))
    , m_remove(new QPushButton(QStringLiteral("Remove"), this))
{
    m_list->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    m_list->setMinimumHeight(96);
    m_list->setMaximumHeight(150);
    m_list->installEventFilter(this);
    auto* add = new QPushButton(
        entry == Entry::folder ? QStringLiteral("Add Folder…") : QStringLiteral("Add"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(m_remove);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_list);
    layout->addLayout(buttons);
    m_remove->setEnabled(false);
    connect(add, &QPushButton::clicked, this, [this] { this->add(); });
    connect(m_remove, &QPushButton::clicked, this, [this] { removeSelected(); });
    connect(m_list, &QListWidget::currentRowChanged, this,
        [this](int row) { m_remove->setEnabled(row >= 0); });
    connect(m_list, &QListWidget::itemChanged, this, [this] {
        if (!m_isFilling)
            report();
    });
}

void StringListEditor::setValues(const std::vector<std::string>& values)
{
    if (values == this->values())
        return;
    m_isFilling = true;
    m_list->clear();
    for (const auto& value : values) {
        auto* item = new QListWidgetItem(QString::fromStdString(value), m_list);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
    }
    m_isFilling = false;
    m_remove->setEnabled(m_list->currentRow() >= 0);
}

std::vector<std::string> StringListEditor::values() const
{
    std::vector<std::string> values;
    for (int row = 0; row < m_list->count(); ++row) {
        auto text = m_list->item(row)->text().trimmed();
        if (!text.isEmpty())
            values.push_back(text.toStdString());
    }
    return values;
}

bool StringListEditor::eventFilter(QObject* watched, QEvent* event)
{
    // While an entry is edited, its keys go to the editor, not to the list.
    if (watched == m_list && event->type() == QEvent::KeyPress) {
        auto key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Delete || key == Qt::Key_Backspace) {
            removeSelected();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void StringListEditor::add()
{
    if (m_entry == Entry::folder) {
        auto start = m_list->currentItem() ? withoutTilde(m_list->currentItem()->text())
                                           : QDir::homePath();
        auto folder
            = QFileDialog::getExistingDirectory(this, QStringLiteral("Choose a Folder"), start);
        if (folder.isEmpty())
            return;
        auto text = withTilde(folder);
        if (!m_list->findItems(text, Qt::MatchExactly).isEmpty())
            return;
        m_isFilling = true;
        auto* item = new QListWidgetItem(text, m_list);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        m_isFilling = false;
        m_list->setCurrentItem(item);
        report();
        return;
    }
    // A text entry starts empty and in the editor; it counts once it holds something.
    m_isFilling = true;
    auto* item = new QListWidgetItem(m_list);
    item->setFlags(item->flags() | Qt::ItemIsEditable);
    m_isFilling = false;
    m_list->setCurrentItem(item);
    m_list->editItem(item);
}

void StringListEditor::removeSelected()
{
    auto row = m_list->currentRow();
    if (row < 0)
        return;
    delete m_list->takeItem(row);
    report();
}

void StringListEditor::report()
{
    if (onChange)
        onChange(values());
}

} // namespace zeph
