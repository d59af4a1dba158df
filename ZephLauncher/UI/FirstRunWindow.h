#pragma once

#include "Logic/HotKeyCenter.h"
#include "Logic/Observable.h"
#include "Storage/AppSettings.h"

#include <functional>

#include <QWidget>

class QLabel;

namespace zeph {

// "Welcome to Zeph Launcher", shown until the user closes it once: the shortcut, with a recorder
// to change it; what works in this session and what to do where something does not; starting at
// login. The user's closing it, however, marks the first run done.
class FirstRunWindow final : public QWidget {
public:
    // What this desktop allows, as the application found it at start.
    struct Session {
        bool isWayland = false;
        bool hasGlobalShortcuts = true; // X11, or the desktop portal's global shortcuts.
        bool typesSnippets = true; // Key presses of other programs can be heard and typed.
        bool keepsEveryCopy = true; // Every change of the clipboard is heard, focused or not.
        bool hasTray = true;
    };

    FirstRunWindow(Observable<AppSettings>& settings, HotKeyCenter& hotkeys, Session session,
        std::function<bool()> holdsShortcut, std::function<void()> openSettings,
        QWidget* parent = nullptr);

    // One line for each thing that works or does not, with what to do: ✓ or ✗ and a sentence.
    static std::vector<QString> sessionNotes(
        const Session& session, const AppSettings& settings, bool holdsShortcut);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void showNotes();

    Observable<AppSettings>& m_settings;
    Session m_session;
    std::function<bool()> m_holdsShortcut;
    QLabel* m_notes;
    Subscription m_subscription;
    bool m_isAnswered = false;
};

} // namespace zeph
