#include "UI/SnippetsPane.h"

#include "Snippets/AlfredSnippetImporter.h"
#include "Snippets/SnippetTemplate.h"
#include "Support/UUID.h"
#include "UI/ConfirmDeletion.h"
#include "UI/StringListEditor.h"

#include <QCheckBox>
#include <QClipboard>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace zeph {

namespace {

constexpr int collectionRole = Qt::UserRole;
constexpr int snippetRole = Qt::UserRole + 1;
constexpr int noSnippet = -1;

QString text(const std::string& value)
{
    return QString::fromStdString(value);
}

QString snippetTitle(const Snippet& snippet)
{
    auto name = snippet.name.empty() ? QStringLiteral("Untitled") : text(snippet.name);
    return snippet.pendingReview ? name + QStringLiteral(" — waiting for your review") : name;
}

// Sets a field's text without hearing it as an edit, and leaves a field the user is typing in.
void showText(QLineEdit* field, const std::string& value)
{
    if (field->text() == text(value))
        return;
    QSignalBlocker block(field);
    field->setText(text(value));
}

} // namespace

SnippetsPane::SnippetsPane(AppModel& model, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_tree(new QTreeWidget(this))
    , m_forms(new QStackedWidget(this))
    , m_collectionName(new QLineEdit)
    , m_prefix(new QLineEdit)
    , m_suffix(new QLineEdit)
    , m_excluded(new StringListEditor(StringListEditor::Entry::text))
    , m_snippetName(new QLineEdit)
    , m_keyword(new QLineEdit)
    , m_trigger(new QLabel)
    , m_content(new QPlainTextEdit)
    , m_autoExpands(new QCheckBox(QStringLiteral("Expand as I type")))
    , m_preview(new QLabel)
    , m_review(new QLabel)
    , m_importErrors(new QLabel(this))
    , m_newSnippet(new QPushButton(QStringLiteral("New Snippet"), this))
    , m_delete(new QPushButton(QStringLiteral("Delete…"), this))
{
    m_tree->setHeaderHidden(true);
    m_tree->setMinimumWidth(260);
    m_tree->installEventFilter(this);

    auto* collectionForm = new QWidget;
    auto* collectionLayout = new QFormLayout(collectionForm);
    collectionLayout->addRow(QStringLiteral("Name:"), m_collectionName);
    collectionLayout->addRow(QStringLiteral("Prefix:"), m_prefix);
    collectionLayout->addRow(QStringLiteral("Suffix:"), m_suffix);
    collectionLayout->addRow(QStringLiteral("Never expand in:"), m_excluded);
    auto* collectionHelp = new QLabel(QStringLiteral(
        "A snippet's trigger is the prefix, its keyword and the suffix: with the prefix “;”, "
        "typing “;sig” expands the snippet with the keyword “sig”."));
    collectionHelp->setWordWrap(true);
    collectionLayout->addRow(QString {}, collectionHelp);

    auto* snippetForm = new QWidget;
    auto* snippetLayout = new QFormLayout(snippetForm);
    m_review->setWordWrap(true);
    m_review->setText(QStringLiteral("An agent made or changed this snippet. It stays off until "
                                     "you approve it in the Agents pane."));
    snippetLayout->addRow(m_review);
    snippetLayout->addRow(QStringLiteral("Name:"), m_snippetName);
    snippetLayout->addRow(QStringLiteral("Keyword:"), m_keyword);
    snippetLayout->addRow(QStringLiteral("Trigger:"), m_trigger);
    m_content->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_content->setMinimumHeight(140);
    snippetLayout->addRow(QStringLiteral("Text:"), m_content);
    auto* placeholders = new QLabel(QStringLiteral(
        "Placeholders: {date}, {time}, {datetime}, {isodate}, {weekday}, {month}, {year}, "
        "{date:yyyy-MM-dd}, {clipboard}, {cursor}, {uuid}, {fill:Name}, {fill:Name:default}."));
    placeholders->setWordWrap(true);
    placeholders->setForegroundRole(QPalette::PlaceholderText);
    snippetLayout->addRow(QString {}, placeholders);
    snippetLayout->addRow(QString {}, m_autoExpands);
    m_preview->setWordWrap(true);
    m_preview->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_preview->setFrameShape(QFrame::StyledPanel);
    m_preview->setMargin(8);
    m_preview->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    m_preview->setMinimumHeight(60);
    snippetLayout->addRow(QStringLiteral("Inserts:"), m_preview);

    m_forms->addWidget(new QWidget);
    m_forms->addWidget(collectionForm);
    m_forms->addWidget(snippetForm);

    auto* newCollection = new QPushButton(QStringLiteral("New Collection"), this);
    auto* import
        = new QPushButton(QStringLiteral("Import Alfred Snippets… (.alfredsnippets)"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(newCollection);
    buttons->addWidget(m_newSnippet);
    buttons->addWidget(m_delete);
    buttons->addStretch();
    buttons->addWidget(import);
    auto* columns = new QHBoxLayout;
    columns->addWidget(m_tree, 2);
    columns->addWidget(m_forms, 3);
    m_importErrors->setWordWrap(true);
    m_importErrors->hide();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(columns, 1);
    layout->addWidget(m_importErrors);
    layout->addLayout(buttons);

    connect(m_tree, &QTreeWidget::currentItemChanged, this, [this] { showSelection(); });
    connect(m_tree, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item) {
        if (m_isFilling)
            return;
        bool isOn = item->checkState(0) == Qt::Checked;
        auto collection = item->data(0, collectionRole).toULongLong();
        auto snippet = item->data(0, snippetRole).toInt();
        m_model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
            if (collection >= collections.size())
                return;
            auto& owner = collections[collection];
            if (snippet == noSnippet) {
                owner.isEnabled = isOn;
            } else if (static_cast<std::size_t>(snippet) < owner.snippets.size()
                && !owner.snippets[static_cast<std::size_t>(snippet)].pendingReview) {
                // Only the review enables what an agent made.
                owner.snippets[static_cast<std::size_t>(snippet)].isEnabled = isOn;
            }
        });
    });
    auto onEdit = [this](auto* field, auto apply) {
        connect(field, &QLineEdit::textEdited, this, [this, apply](const QString& value) {
            edit([&](SnippetCollection& collection, Snippet* snippet) {
                apply(collection, snippet, value.toStdString());
            });
        });
    };
    onEdit(m_collectionName,
        [](SnippetCollection& c, Snippet*, std::string v) { c.name = std::move(v); });
    onEdit(
        m_prefix, [](SnippetCollection& c, Snippet*, std::string v) { c.prefix = std::move(v); });
    onEdit(
        m_suffix, [](SnippetCollection& c, Snippet*, std::string v) { c.suffix = std::move(v); });
    onEdit(m_snippetName, [](SnippetCollection&, Snippet* s, std::string v) {
        if (s)
            s->name = std::move(v);
    });
    onEdit(m_keyword, [](SnippetCollection&, Snippet* s, std::string v) {
        if (s)
            s->keyword = std::move(v);
    });
    connect(m_content, &QPlainTextEdit::textChanged, this, [this] {
        if (m_isFilling)
            return;
        auto content = m_content->toPlainText().toStdString();
        edit([&](SnippetCollection&, Snippet* snippet) {
            if (snippet)
                snippet->content = content;
        });
    });
    connect(m_autoExpands, &QCheckBox::toggled, this, [this](bool isOn) {
        edit([&](SnippetCollection&, Snippet* snippet) {
            if (snippet)
                snippet->autoExpands = isOn;
        });
    });
    m_excluded->onChange = [this](std::vector<std::string> ids) {
        edit([&](SnippetCollection& collection, Snippet*) {
            collection.excludedBundleIDs = std::move(ids);
        });
    };
    connect(newCollection, &QPushButton::clicked, this, [this] { addCollection(); });
    connect(m_newSnippet, &QPushButton::clicked, this, [this] { addSnippet(); });
    connect(m_delete, &QPushButton::clicked, this, [this] { deleteSelected(); });
    connect(import, &QPushButton::clicked, this, [this] {
        auto files = QFileDialog::getOpenFileNames(this, QStringLiteral("Import Snippets"),
            QString {}, QStringLiteral("Snippet packs (*.alfredsnippets)"));
        if (!files.isEmpty())
            importPacks(files);
    });

    m_subscription = m_model.snippetCollections().subscribe(
        [this](const std::vector<SnippetCollection>& collections) { fill(collections); });
    fill(m_model.snippetCollections().get());
}

bool SnippetsPane::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_tree && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        deleteSelected();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void SnippetsPane::fill(const std::vector<SnippetCollection>& collections)
{
    m_isFilling = true;
    // The same shape is updated in place: the change may come from a switch of this tree, or from
    // the form, whose selection must stay.
    bool isSameShape = m_tree->topLevelItemCount() == static_cast<int>(collections.size());
    for (int index = 0; isSameShape && index < m_tree->topLevelItemCount(); ++index) {
        isSameShape = m_tree->topLevelItem(index)->childCount()
            == static_cast<int>(collections[static_cast<std::size_t>(index)].snippets.size());
    }
    if (!isSameShape) {
        auto current = selection();
        m_tree->clear();
        for (std::size_t index = 0; index < collections.size(); ++index) {
            auto* top = new QTreeWidgetItem(m_tree);
            top->setData(0, collectionRole, static_cast<qulonglong>(index));
            top->setData(0, snippetRole, noSnippet);
            for (std::size_t child = 0; child < collections[index].snippets.size(); ++child) {
                auto* item = new QTreeWidgetItem(top);
                item->setData(0, collectionRole, static_cast<qulonglong>(index));
                item->setData(0, snippetRole, static_cast<int>(child));
            }
            top->setExpanded(true);
        }
        if (current && current->collection < collections.size()) {
            auto* top = m_tree->topLevelItem(static_cast<int>(current->collection));
            auto* item = current->snippet && static_cast<int>(*current->snippet) < top->childCount()
                ? top->child(static_cast<int>(*current->snippet))
                : top;
            m_tree->setCurrentItem(item);
        }
    }
    for (int index = 0; index < m_tree->topLevelItemCount(); ++index) {
        const auto& collection = collections[static_cast<std::size_t>(index)];
        auto* top = m_tree->topLevelItem(index);
        top->setText(0, text(collection.name));
        top->setFlags(top->flags() | Qt::ItemIsUserCheckable);
        top->setCheckState(0, collection.isEnabled ? Qt::Checked : Qt::Unchecked);
        for (int child = 0; child < top->childCount(); ++child) {
            const auto& snippet = collection.snippets[static_cast<std::size_t>(child)];
            auto* item = top->child(child);
            auto trigger = collection.triggerText(snippet);
            item->setText(0, snippetTitle(snippet));
            item->setToolTip(0, trigger ? text(*trigger) : QString {});
            auto flags = item->flags() | Qt::ItemIsUserCheckable;
            item->setFlags(snippet.pendingReview ? flags & ~Qt::ItemIsUserCheckable : flags);
            item->setCheckState(0, snippet.isEnabled ? Qt::Checked : Qt::Unchecked);
        }
    }
    if (!m_tree->currentItem() && m_tree->topLevelItemCount() > 0)
        m_tree->setCurrentItem(m_tree->topLevelItem(0));
    m_isFilling = false;
    showSelection();
}

std::optional<SnippetsPane::Selection> SnippetsPane::selection() const
{
    auto* item = m_tree->currentItem();
    if (!item)
        return std::nullopt;
    Selection selected { .collection = item->data(0, collectionRole).toULongLong() };
    if (auto snippet = item->data(0, snippetRole).toInt(); snippet != noSnippet)
        selected.snippet = static_cast<std::size_t>(snippet);
    const auto& collections = m_model.snippetCollections().get();
    if (selected.collection >= collections.size()
        || (selected.snippet
            && *selected.snippet >= collections[selected.collection].snippets.size()))
        return std::nullopt;
    return selected;
}

void SnippetsPane::showSelection()
{
    auto selected = selection();
    m_delete->setEnabled(selected.has_value());
    m_newSnippet->setEnabled(selected.has_value());
    if (!selected) {
        m_forms->setCurrentIndex(0);
        return;
    }
    const auto& collection = m_model.snippetCollections().get()[selected->collection];
    bool wasFilling = std::exchange(m_isFilling, true);
    if (!selected->snippet) {
        m_forms->setCurrentIndex(1);
        showText(m_collectionName, collection.name);
        showText(m_prefix, collection.prefix);
        showText(m_suffix, collection.suffix);
        m_excluded->setValues(collection.excludedBundleIDs);
    } else {
        const auto& snippet = collection.snippets[*selected->snippet];
        m_forms->setCurrentIndex(2);
        m_review->setVisible(snippet.pendingReview);
        showText(m_snippetName, snippet.name);
        showText(m_keyword, snippet.keyword);
        auto trigger = collection.triggerText(snippet);
        m_trigger->setText(trigger ? text(*trigger) : QStringLiteral("none: only in the launcher"));
        if (m_content->toPlainText() != text(snippet.content))
            m_content->setPlainText(text(snippet.content));
        QSignalBlocker block(m_autoExpands);
        m_autoExpands->setChecked(snippet.autoExpands);
        showPreview();
    }
    m_isFilling = wasFilling;
}

void SnippetsPane::showPreview()
{
    auto content = m_content->toPlainText().toStdString();
    // The clipboard is another program's to answer, so it is asked only when the text shows it.
    auto tokens = SnippetTemplate::tokens(content);
    bool showsClipboard = std::any_of(tokens.begin(), tokens.end(), [](const auto& token) {
        return std::holds_alternative<SnippetTemplate::Clipboard>(token);
    });
    auto rendered = SnippetTemplate::render(content,
        { .date = currentDate(),
            .clipboard
            = showsClipboard ? QGuiApplication::clipboard()->text().toStdString() : std::string {},
            .locale = m_calendar.locale,
            .timeZone = m_calendar.timeZone });
    auto shown = text(rendered.text);
    // The caret's place, where {cursor} leaves it.
    if (rendered.cursorOffsetFromEnd) {
        auto caret = shown.size() - static_cast<qsizetype>(*rendered.cursorOffsetFromEnd);
        shown.insert(std::clamp<qsizetype>(caret, 0, shown.size()), u'│');
    }
    m_preview->setText(shown);
}

void SnippetsPane::edit(const std::function<void(SnippetCollection&, Snippet*)>& change)
{
    if (m_isFilling)
        return;
    auto selected = selection();
    if (!selected)
        return;
    m_model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
        auto& collection = collections[selected->collection];
        change(collection, selected->snippet ? &collection.snippets[*selected->snippet] : nullptr);
    });
}

void SnippetsPane::addCollection()
{
    m_model.snippetCollections().change([](std::vector<SnippetCollection>& collections) {
        collections.push_back({ .id = makeUUID(), .name = "New Collection" });
    });
    auto* added = m_tree->topLevelItem(m_tree->topLevelItemCount() - 1);
    m_tree->setCurrentItem(added);
    m_collectionName->setFocus();
    m_collectionName->selectAll();
}

void SnippetsPane::addSnippet()
{
    auto selected = selection();
    if (!selected)
        return;
    m_model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
        collections[selected->collection].snippets.push_back(
            { .id = makeUUID(), .name = "New Snippet" });
    });
    auto* top = m_tree->topLevelItem(static_cast<int>(selected->collection));
    m_tree->setCurrentItem(top->child(top->childCount() - 1));
    m_snippetName->setFocus();
    m_snippetName->selectAll();
}

void SnippetsPane::deleteSelected()
{
    auto selected = selection();
    if (!selected)
        return;
    const auto& collection = m_model.snippetCollections().get()[selected->collection];
    auto collectionID = collection.id;
    auto snippetID
        = selected->snippet ? collection.snippets[*selected->snippet].id : std::string {};
    auto what = selected->snippet
        ? QStringLiteral("the snippet “%1”").arg(text(collection.snippets[*selected->snippet].name))
        : QStringLiteral("the collection “%1” and its %2 snippets")
              .arg(text(collection.name))
              .arg(collection.snippets.size());
    if (!confirmDeletion(this, QStringLiteral("Delete"), what))
        return;
    // By id: while the question was open, an agent may have changed the collections.
    m_model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
        if (snippetID.empty()) {
            std::erase_if(collections, [&](const auto& each) { return each.id == collectionID; });
            return;
        }
        for (auto& owner : collections)
            std::erase_if(owner.snippets, [&](const auto& each) { return each.id == snippetID; });
    });
}

void SnippetsPane::importPacks(const QStringList& files)
{
    std::vector<std::filesystem::path> paths;
    for (const auto& file : files)
        paths.emplace_back(file.toStdString());
    std::error_code error;
    auto temporary = std::filesystem::temp_directory_path(error);
    auto imported = AlfredSnippetImporter::importPacks(paths, error ? "/tmp" : temporary);
    if (!imported.collections.empty()) {
        m_model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
            collections.insert(
                collections.end(), imported.collections.begin(), imported.collections.end());
        });
    }
    QString errors;
    for (const auto& message : imported.errors)
        errors += text(message) + u'\n';
    m_importErrors->setText(errors.trimmed());
    m_importErrors->setVisible(!errors.isEmpty());
}

} // namespace zeph
