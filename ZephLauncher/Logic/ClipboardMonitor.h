#pragma once

#include "Logic/AppModel.h"
#include "Logic/Clipboard.h"
#include "Logic/FocusedApplication.h"
#include "Logic/TextInserter.h"

#include <cstdint>

namespace zeph {

// Turns what the user copies into history entries: at each change of the clipboard it leaves out
// what must not be remembered (history off, the launcher's own pastes, concealed, transient and
// password-manager types, excluded applications), then keeps the text, or else the image as PNG.
// It also ages the history out once an hour. Main thread only.
class ClipboardMonitor {
public:
    ClipboardMonitor(AppModel& model, Clipboard& clipboard, FocusedApplication& focus,
        const TextInserter& inserter, MainLoop& loop);
    ClipboardMonitor(const ClipboardMonitor&) = delete;
    ClipboardMonitor& operator=(const ClipboardMonitor&) = delete;

    // What is on the clipboard now is never recorded; from here on every change is looked at,
    // and the history is pruned now and every hour.
    void start();
    // Looks at the clipboard once; a change seen here is gone for good whatever happens to it.
    void poll();

private:
    AppModel& m_model;
    Clipboard& m_clipboard;
    FocusedApplication& m_focus;
    const TextInserter& m_inserter;
    MainLoop& m_loop;
    std::uint64_t m_lastChangeCount = 0;
    RepeatingTask m_pruneTimer;
};

} // namespace zeph
