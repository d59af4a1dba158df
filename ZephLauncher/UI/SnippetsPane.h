#pragma once

#include "Logic/AppModel.h"
#include "Support/Calendar.h"

#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace zeph {

class StringListEditor;

// The snippet collections and their snippets as a tree with switches, beside a form for the
// selected one: a collection's name, prefix, suffix and excluded applications, or a snippet's
// name, keyword and text with the text rendered live as it would be inserted. Every edit is
// written at once. Packs of other programs are imported from here too.
class SnippetsPane final : public QWidget {
    Q_OBJECT

public:
    explicit SnippetsPane(AppModel& model, QWidget* parent = nullptr);

    // Imports the packs and says what failed in the pane; the packs that worked are kept.
    void importPacks(const QStringList& files);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Selection {
        std::size_t collection = 0;
        std::optional<std::size_t> snippet {};
    };

    void fill(const std::vector<SnippetCollection>& collections);
    std::optional<Selection> selection() const;
    void showSelection();
    void showPreview();
    void edit(const std::function<void(SnippetCollection&, Snippet*)>& change);
    void addCollection();
    void addSnippet();
    void deleteSelected();

    AppModel& m_model;
    // Read once, as the expander reads it.
    Calendar m_calendar = Calendar::current();
    Subscription m_subscription;
    QTreeWidget* m_tree;
    QStackedWidget* m_forms;
    QLineEdit* m_collectionName;
    QLineEdit* m_prefix;
    QLineEdit* m_suffix;
    StringListEditor* m_excluded;
    QLineEdit* m_snippetName;
    QLineEdit* m_keyword;
    QLabel* m_trigger;
    QPlainTextEdit* m_content;
    QCheckBox* m_autoExpands;
    QLabel* m_preview;
    QLabel* m_review;
    QLabel* m_importErrors;
    QPushButton* m_newSnippet;
    QPushButton* m_delete;
    bool m_isFilling = false;
};

} // namespace zeph
