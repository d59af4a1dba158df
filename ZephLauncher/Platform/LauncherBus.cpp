#include "Platform/LauncherBus.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace zeph {

bool LauncherBus::registerService()
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.registerService(QString::fromLatin1(service)))
        return false;
    return bus.registerObject(QString::fromLatin1(path), this, QDBusConnection::ExportAllSlots);
}

bool LauncherBus::call(const char* method)
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    auto message = QDBusMessage::createMethodCall(QString::fromLatin1(service),
        QString::fromLatin1(path), QString::fromLatin1(service), QString::fromLatin1(method));
    auto reply = bus.call(message, QDBus::Block, 2000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

void LauncherBus::Toggle()
{
    if (onToggle)
        onToggle();
}

void LauncherBus::Show()
{
    if (onShow)
        onShow();
}

void LauncherBus::ShowSettings()
{
    if (onShowSettings)
        onShowSettings();
}

} // namespace zeph

namespace zeph {

bool LauncherBus::GetDocument(
    const QString& folder, const QString& name, QString& text, qulonglong& version)
{
    auto document
        = onGetDocument ? onGetDocument(folder.toStdString(), name.toStdString()) : std::nullopt;
    if (!document)
        return false;
    text = QString::fromStdString(document->first);
    version = document->second;
    return true;
}

QString LauncherBus::SetDocument(
    const QString& folder, const QString& name, const QString& text, qulonglong version)
{
    if (!onSetDocument)
        return QStringLiteral("The application is not ready.");
    auto refusal
        = onSetDocument(folder.toStdString(), name.toStdString(), text.toStdString(), version);
    return refusal ? QString::fromStdString(*refusal) : QString();
}

} // namespace zeph
