#pragma once

#include "Logic/HotKeyService.h"

#include <map>

#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

namespace zeph {

// Global shortcuts through the desktop portal (org.freedesktop.portal.GlobalShortcuts), where
// Wayland compositors offer them. The portal asks the user, so a grab is taken at once and bound
// later; a refusal is written to standard error. A session binds its shortcuts once, so a change
// closes it and binds everything in a new one.
class PortalHotKeys final
    : public QObject
    , public HotKeyService {
    Q_OBJECT

public:
    PortalHotKeys();
    ~PortalHotKeys() override;

    // Whether the session bus has a portal with global shortcuts.
    bool isAvailable() const { return m_isAvailable; }

    bool grab(std::uint32_t id, const KeyCombo& combo) override;
    void release(std::uint32_t id) override;
    void setHandler(std::function<void(std::uint32_t id)> handler) override;

private Q_SLOTS:
    void sessionCreated(uint response, const QVariantMap& results);
    void shortcutsBound(uint response, const QVariantMap& results);
    void activated(const QDBusObjectPath& session, const QString& shortcut, qulonglong timestamp,
        const QVariantMap& options);

private:
    void scheduleBinding();
    void startSession();
    void closeSession();
    // The token of the next request; its answer, and only its, goes to `slot`.
    QString awaitResponse(const char* slot);
    void stopAwaiting();
    // The request object a call with `token` answers on, made before the call so that no answer
    // is missed.
    QString requestPath(const QString& token) const;

    bool m_isAvailable = false;
    bool m_isBindingScheduled = false;
    int m_serial = 0;
    QString m_session;
    QString m_awaitedRequest;
    const char* m_awaitingSlot = nullptr;
    std::map<std::uint32_t, KeyCombo> m_combos;
    std::function<void(std::uint32_t)> m_handler;
};

} // namespace zeph
