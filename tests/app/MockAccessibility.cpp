// An accessibility bus as at-spi would offer it, on the session bus itself: org.a11y.Bus names the
// bus, the registry takes event registrations (each written to standard output as "registered
// EVENT"), and the one accessible object of its own, a password field, has its focus moved by the
// lines "focus" and "blur" on standard input, as when the user enters and leaves it.

#include <cstdio>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QSocketNotifier>
#include <QTextStream>

namespace {

const QString fieldPath = QStringLiteral("/org/a11y/atspi/accessible/password");

class Bus final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.Bus")

public Q_SLOTS:
    QString GetAddress() { return QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")); }
};

class Registry final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.atspi.Registry")

public Q_SLOTS:
    void RegisterEvent(const QString& event)
    {
        std::printf("registered %s\n", qPrintable(event));
        std::fflush(stdout);
    }
};

class PasswordField final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.atspi.Accessible")

public Q_SLOTS:
    uint GetRole() { return 40; }
};

void sendFocus(bool isFocused)
{
    auto signal = QDBusMessage::createSignal(
        fieldPath, QStringLiteral("org.a11y.atspi.Event.Object"), QStringLiteral("StateChanged"));
    signal << QStringLiteral("focused") << (isFocused ? 1 : 0) << 0
           << QVariant::fromValue(QDBusVariant(0)) << QVariantMap {};
    QDBusConnection::sessionBus().send(signal);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    auto bus = QDBusConnection::sessionBus();
    Bus a11yBus;
    Registry registry;
    PasswordField field;
    bus.registerObject(QStringLiteral("/org/a11y/bus"), &a11yBus, QDBusConnection::ExportAllSlots);
    bus.registerObject(
        QStringLiteral("/org/a11y/atspi/registry"), &registry, QDBusConnection::ExportAllSlots);
    bus.registerObject(fieldPath, &field, QDBusConnection::ExportAllSlots);
    if (!bus.registerService(QStringLiteral("org.a11y.Bus"))
        || !bus.registerService(QStringLiteral("org.a11y.atspi.Registry")))
        return 1;
    std::printf("ready\n");
    std::fflush(stdout);
    QSocketNotifier input(0, QSocketNotifier::Read);
    QTextStream lines(stdin);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        auto line = lines.readLine();
        if (line.isNull()) {
            QCoreApplication::quit();
            return;
        }
        if (line == QLatin1String("focus") || line == QLatin1String("blur"))
            sendFocus(line == QLatin1String("focus"));
    });
    return QCoreApplication::exec();
}

#include "MockAccessibility.moc"
