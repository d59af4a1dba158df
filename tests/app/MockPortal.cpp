// A desktop portal with global shortcuts only, as a compositor's would answer: sessions, bound
// shortcuts written to standard output ("bound ID TRIGGER"), and a Press(ID) call of its own that
// activates a bound shortcut as if the user had pressed it.

#include "Platform/PortalShortcut.h"

#include <cstdio>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QTimer>

using zeph::Portal::Shortcut;

namespace {

const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

class GlobalShortcuts final
    : public QObject
    , protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.GlobalShortcuts")
    Q_PROPERTY(uint version READ version)

public:
    uint version() const { return 1; }

public Q_SLOTS:
    QDBusObjectPath CreateSession(const QVariantMap& options)
    {
        auto request = path(QStringLiteral("request"), options.value("handle_token").toString());
        m_session
            = path(QStringLiteral("session"), options.value("session_handle_token").toString());
        respond(request, { { QStringLiteral("session_handle"), m_session } });
        return QDBusObjectPath(request);
    }

    QDBusObjectPath BindShortcuts(const QDBusObjectPath& session,
        const QList<zeph::Portal::Shortcut>& list, const QString&, const QVariantMap& options)
    {
        auto request = path(QStringLiteral("request"), options.value("handle_token").toString());
        for (const auto& shortcut : list)
            std::printf("bound %s %s\n", qPrintable(shortcut.id),
                qPrintable(shortcut.properties.value("preferred_trigger").toString()));
        std::fflush(stdout);
        if (session.path() == m_session)
            respond(request, { { QStringLiteral("shortcuts"), QVariant::fromValue(list) } });
        else
            respond(request, {}, 2);
        return QDBusObjectPath(request);
    }

    // Not the portal's own: what the user's key press would do.
    void Press(const QString& id)
    {
        auto signal = QDBusMessage::createSignal(portalPath,
            QStringLiteral("org.freedesktop.portal.GlobalShortcuts"), QStringLiteral("Activated"));
        signal << QVariant::fromValue(QDBusObjectPath(m_session)) << id << qulonglong(0)
               << QVariantMap();
        QDBusConnection::sessionBus().send(signal);
    }

private:
    QString path(const QString& kind, const QString& token) const
    {
        auto sender = message().service().mid(1).replace(u'.', u'_');
        return portalPath + u'/' + kind + u'/' + sender + u'/' + token;
    }

    // After the reply, as the portal answers.
    void respond(const QString& request, const QVariantMap& results, uint response = 0)
    {
        QTimer::singleShot(10, [request, results, response] {
            auto signal = QDBusMessage::createSignal(request,
                QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
            signal << response << results;
            QDBusConnection::sessionBus().send(signal);
        });
    }

    QString m_session;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
    GlobalShortcuts portal;
    auto bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(portalPath, &portal,
            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties)
        || !bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")))
        return 1;
    return QCoreApplication::exec();
}

#include "MockPortal.moc"
