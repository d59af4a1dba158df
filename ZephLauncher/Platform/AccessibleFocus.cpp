#include "Platform/AccessibleFocus.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace zeph {

namespace {

const QString connectionName = QStringLiteral("zeph-accessibility");

} // namespace

AccessibleFocus::AccessibleFocus()
    : m_bus(QString {})
{
    // The accessibility bus is a bus of its own, which the session bus names; asked without
    // waiting, since starting it may take a while.
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"),
        QStringLiteral("/org/a11y/bus"), QStringLiteral("org.a11y.Bus"),
        QStringLiteral("GetAddress"));
    auto* watcher
        = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        QDBusPendingReply<QString> address = *watcher;
        if (address.isValid() && !address.value().isEmpty())
            listen(address.value());
    });
}

void AccessibleFocus::listen(const QString& address)
{
    m_bus = QDBusConnection::connectToBus(address, connectionName);
    if (!m_bus.isConnected())
        return;
    // Applications send focus events only while someone has asked for them.
    auto registration = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.atspi.Registry"),
        QStringLiteral("/org/a11y/atspi/registry"), QStringLiteral("org.a11y.atspi.Registry"),
        QStringLiteral("RegisterEvent"));
    registration << QStringLiteral("object:state-changed:focused");
    m_bus.asyncCall(registration);
    m_bus.connect(QString {}, QString {}, QStringLiteral("org.a11y.atspi.Event.Object"),
        QStringLiteral("StateChanged"), this, SLOT(stateChanged(QDBusMessage)));
    m_focusedProgram = new QDBusServiceWatcher(this);
    m_focusedProgram->setConnection(m_bus);
    m_focusedProgram->setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    connect(m_focusedProgram, &QDBusServiceWatcher::serviceUnregistered, this,
        &AccessibleFocus::forget);
}

void AccessibleFocus::forget()
{
    m_focused.clear();
    m_isPasswordFocused = false;
    m_focusedProgram->setWatchedServices({});
}

AccessibleFocus::~AccessibleFocus()
{
    if (m_bus.isConnected())
        QDBusConnection::disconnectFromBus(connectionName);
}

void AccessibleFocus::stateChanged(const QDBusMessage& message)
{
    auto arguments = message.arguments();
    if (arguments.size() < 2 || arguments[0].toString() != QLatin1String("focused"))
        return;
    auto object = message.service() + u'\n' + message.path();
    if (arguments[1].toInt() == 0) {
        if (object == m_focused)
            forget();
        return;
    }
    m_focused = object;
    m_isPasswordFocused = false;
    if (m_focusedProgram->watchedServices() != QStringList { message.service() })
        m_focusedProgram->setWatchedServices({ message.service() });
    auto call = QDBusMessage::createMethodCall(message.service(), message.path(),
        QStringLiteral("org.a11y.atspi.Accessible"), QStringLiteral("GetRole"));
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, 1000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, object] {
        watcher->deleteLater();
        QDBusPendingReply<uint> role = *watcher;
        if (object == m_focused && role.isValid())
            m_isPasswordFocused = role.value() == passwordTextRole;
    });
}

} // namespace zeph
