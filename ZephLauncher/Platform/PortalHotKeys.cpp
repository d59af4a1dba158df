#include "Platform/PortalHotKeys.h"

#include "Platform/KeyTable.h"
#include "Platform/PortalShortcut.h"

#include <cstdio>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QTimer>

namespace zeph {

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString shortcutPrefix = QStringLiteral("zeph-");

QString pathOf(const QVariant& value)
{
    return value.canConvert<QDBusObjectPath>() ? value.value<QDBusObjectPath>().path()
                                               : value.toString();
}

} // namespace

PortalHotKeys::PortalHotKeys()
{
    qDBusRegisterMetaType<Portal::Shortcut>();
    qDBusRegisterMetaType<QList<Portal::Shortcut>>();
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // A program outside a sandbox names itself before its first portal call (newer portals).
    auto registration = QDBusMessage::createMethodCall(portalService, portalPath,
        QStringLiteral("org.freedesktop.host.portal.Registry"), QStringLiteral("Register"));
    registration << QStringLiteral("zeph-launcher") << QVariantMap();
    bus.call(registration, QDBus::Block, 1000);
    auto version = QDBusMessage::createMethodCall(portalService, portalPath,
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    version << shortcutsInterface << QStringLiteral("version");
    m_isAvailable = bus.call(version, QDBus::Block, 1000).type() == QDBusMessage::ReplyMessage;
    if (m_isAvailable)
        bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Activated"),
            this, SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
}

PortalHotKeys::~PortalHotKeys()
{
    closeSession();
}

void PortalHotKeys::closeSession()
{
    if (m_session.isEmpty())
        return;
    QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(portalService, m_session,
            QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Close")),
        QDBus::NoBlock);
    m_session.clear();
}

QString PortalHotKeys::awaitResponse(const char* slot)
{
    stopAwaiting();
    auto token = QStringLiteral("zeph%1").arg(++m_serial);
    m_awaitedRequest = requestPath(token);
    m_awaitingSlot = slot;
    QDBusConnection::sessionBus().connect(
        portalService, m_awaitedRequest, requestInterface, QStringLiteral("Response"), this, slot);
    return token;
}

void PortalHotKeys::stopAwaiting()
{
    if (!m_awaitingSlot)
        return;
    QDBusConnection::sessionBus().disconnect(portalService, m_awaitedRequest, requestInterface,
        QStringLiteral("Response"), this, m_awaitingSlot);
    m_awaitingSlot = nullptr;
}

bool PortalHotKeys::grab(std::uint32_t id, const KeyCombo& combo)
{
    if (!m_isAvailable || KeyTable::portalTrigger(combo).empty())
        return false;
    m_combos[id] = combo;
    scheduleBinding();
    return true;
}

void PortalHotKeys::release(std::uint32_t id)
{
    if (m_combos.erase(id) > 0)
        scheduleBinding();
}

void PortalHotKeys::setHandler(std::function<void(std::uint32_t)> handler)
{
    m_handler = std::move(handler);
}

void PortalHotKeys::scheduleBinding()
{
    // The grabs of one change (the launcher's key, every workflow's) go to the portal together.
    if (m_isBindingScheduled)
        return;
    m_isBindingScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_isBindingScheduled = false;
        startSession();
    });
}

QString PortalHotKeys::requestPath(const QString& token) const
{
    auto sender = QDBusConnection::sessionBus().baseService().mid(1).replace(u'.', u'_');
    return portalPath + QStringLiteral("/request/") + sender + u'/' + token;
}

void PortalHotKeys::startSession()
{
    closeSession();
    if (m_combos.empty()) {
        stopAwaiting();
        return;
    }
    auto token = awaitResponse(SLOT(sessionCreated(uint, QVariantMap)));
    auto message = QDBusMessage::createMethodCall(
        portalService, portalPath, shortcutsInterface, QStringLiteral("CreateSession"));
    message << QVariantMap { { QStringLiteral("handle_token"), token },
        { QStringLiteral("session_handle_token"), token } };
    QDBusConnection::sessionBus().call(message, QDBus::NoBlock);
}

void PortalHotKeys::sessionCreated(uint response, const QVariantMap& results)
{
    stopAwaiting();
    if (response != 0) {
        std::fprintf(stderr, "Zeph Launcher: the desktop refused global shortcuts\n");
        return;
    }
    m_session = pathOf(results.value(QStringLiteral("session_handle")));
    QList<Portal::Shortcut> shortcuts;
    for (const auto& [id, combo] : m_combos)
        shortcuts.append({ shortcutPrefix + QString::number(id),
            { { QStringLiteral("description"),
                  QStringLiteral("Zeph Launcher: ")
                      + QString::fromStdString(KeyTable::displayText(combo)) },
                { QStringLiteral("preferred_trigger"),
                    QString::fromStdString(KeyTable::portalTrigger(combo)) } } });
    auto token = awaitResponse(SLOT(shortcutsBound(uint, QVariantMap)));
    auto message = QDBusMessage::createMethodCall(
        portalService, portalPath, shortcutsInterface, QStringLiteral("BindShortcuts"));
    message << QVariant::fromValue(QDBusObjectPath(m_session)) << QVariant::fromValue(shortcuts)
            << QString() << QVariantMap { { QStringLiteral("handle_token"), token } };
    QDBusConnection::sessionBus().call(message, QDBus::NoBlock);
}

void PortalHotKeys::shortcutsBound(uint response, const QVariantMap& results)
{
    stopAwaiting();
    QStringList bound;
    if (response == 0) {
        auto list = qdbus_cast<QList<Portal::Shortcut>>(results.value(QStringLiteral("shortcuts")));
        for (const auto& shortcut : list)
            bound << shortcut.id;
    }
    for (const auto& [id, combo] : m_combos) {
        if (!bound.contains(shortcutPrefix + QString::number(id)))
            std::fprintf(stderr, "Zeph Launcher: hotkey %s is unavailable\n",
                KeyTable::displayText(combo).c_str());
    }
}

void PortalHotKeys::activated(
    const QDBusObjectPath& session, const QString& shortcut, qulonglong, const QVariantMap&)
{
    if (session.path() != m_session || !shortcut.startsWith(shortcutPrefix))
        return;
    bool isNumber = false;
    auto id = shortcut.mid(shortcutPrefix.size()).toUInt(&isNumber);
    if (isNumber && m_combos.contains(id) && m_handler)
        m_handler(id);
}

} // namespace zeph
