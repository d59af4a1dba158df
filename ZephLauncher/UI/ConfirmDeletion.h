#pragma once

#include <QMessageBox>

namespace zeph {

// "Delete <what>? This cannot be undone.", with Cancel the default answer.
inline bool confirmDeletion(QWidget* parent, const QString& title, const QString& what)
{
    return QMessageBox::question(parent, title,
               QStringLiteral("Delete %1? This cannot be undone.").arg(what),
               QMessageBox::Cancel | QMessageBox::Yes, QMessageBox::Cancel)
        == QMessageBox::Yes;
}

} // namespace zeph
