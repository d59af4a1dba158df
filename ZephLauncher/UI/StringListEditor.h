#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QWidget>

class QListWidget;
class QPushButton;

namespace zeph {

// An editable list of texts: folders chosen in a dialog and written with "~" for the home folder,
// or plain texts typed in place (application ids). Double-click or F2 edits an entry; Delete
// removes the selected one.
class StringListEditor final : public QWidget {
    Q_OBJECT

public:
    enum class Entry { folder, text };

    StringListEditor(Entry entry, QWidget* parent = nullptr);

    void setValues(const std::vector<std::string>& values);
    std::vector<std::string> values() const;

    // Hears every change the user makes, with the whole list; empty entries are left out.
    std::function<void(std::vector<std::string>)> onChange;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void add();
    void removeSelected();
    void report();

    Entry m_entry;
    QListWidget* m_list;
    QPushButton* m_remove;
    bool m_isFilling = false;
};

} // namespace zeph
