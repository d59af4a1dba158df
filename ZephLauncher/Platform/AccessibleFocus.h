#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

class QDBusMessage;
class QDBusServiceWatcher;

namespace zeph {

// Whether the focused field is a password field, as the accessibility bus (AT-SPI) reports it:
// each "focused" state change names the object, whose role is then asked. A program that quits
// says nothing of its focus, so the focused object is forgotten with its program's bus name.
// Without the bus (no accessibility service in the session), it knows nothing and says false.
class AccessibleFocus final : public QObject {
    Q_OBJECT

public:
    // The role of password fields.
    static constexpr uint passwordTextRole = 40;

    AccessibleFocus();
    ~AccessibleFocus() override;
    AccessibleFocus(const AccessibleFocus&) = delete;
    AccessibleFocus& operator=(const AccessibleFocus&) = delete;

    bool isPasswordFocused() const { return m_isPasswordFocused; }

private Q_SLOTS:
    void stateChanged(const QDBusMessage& message);

private:
    void listen(const QString& address);
    void forget();

    QDBusConnection m_bus;
    bool m_isPasswordFocused = false;
    // The object that has the focus, by bus name and path, so that an answer about an object that
    // has lost it meanwhile is dropped.
    QString m_focused;
    QDBusServiceWatcher* m_focusedProgram = nullptr;
};

} // namespace zeph
