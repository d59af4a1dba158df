#include "UI/FillInDialog.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>

namespace zeph {

void FillInDialog::ask(const std::string& title,
    const std::vector<SnippetTemplate::FillField>& fields,
    std::function<void(std::optional<Values>)> completion)
{
    auto* dialog = new QDialog(nullptr, Qt::Dialog | Qt::WindowStaysOnTopHint);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QString::fromStdString(title.empty() ? "Fill in snippet" : title));
    auto* form = new QFormLayout(dialog);
    std::vector<std::pair<std::string, QLineEdit*>> lines;
    for (const auto& field : fields) {
        auto* line = new QLineEdit(QString::fromStdString(field.defaultValue), dialog);
        form->addRow(QString::fromStdString(field.name), line);
        lines.emplace_back(field.name, line);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
    form->addRow(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    QObject::connect(dialog, &QDialog::finished, dialog,
        [lines, completion = std::move(completion)](int result) {
            if (result != QDialog::Accepted) {
                completion(std::nullopt);
                return;
            }
            Values values;
            for (const auto& [name, line] : lines)
                values[name] = line->text().toStdString();
            completion(values);
        });
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

} // namespace zeph
