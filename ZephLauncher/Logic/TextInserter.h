#pragma once

#include "Logic/Clipboard.h"
#include "Logic/FocusedApplication.h"
#include "Logic/KeyInjector.h"
#include "Logic/MainLoop.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zeph {

// Puts text into the application that has the focus: through the clipboard and a paste chord
// (Ctrl+V, or Ctrl+Shift+V in a terminal), then, when asked, the clipboard as it was. While it
// works, the clipboard monitor ignores what appears. Main thread only.
class TextInserter {
public:
    TextInserter(
        Clipboard& clipboard, KeyInjector& keys, FocusedApplication& focus, MainLoop& loop);
    TextInserter(const TextInserter&) = delete;
    TextInserter& operator=(const TextInserter&) = delete;

    // How long after the paste the previous contents come back.
    static constexpr MainLoop::Milliseconds restoreDelay { 350 };

    void insert(std::string text, bool restoreClipboard, std::function<void()> completion = {});
    // Any contents, an image say, the same way.
    void insert(
        ClipboardContents contents, bool restoreClipboard, std::function<void()> completion = {});
    // The paste chord of the focused application.
    void postPaste();

    // Reads the clipboard ahead of an insert that may follow, while the user is still typing, so
    // that the insert need not wait for the clipboard's owner: on X11 each type read is a round
    // trip to that program, which may be slow to answer its first. With `contents`, every type,
    // to put back after the insert; else only the plain text. What was read serves until the
    // clipboard changes, and is forgotten after `preparedLifetime`: the rest of a trigger comes
    // within seconds, and a secret on the clipboard is kept no longer than it must be.
    void prepare(bool contents);
    static constexpr MainLoop::Milliseconds preparedLifetime { 10'000 };
    // The clipboard's plain text, as `prepare` read it if the clipboard has not changed since.
    std::optional<std::string> clipboardText() const;

    // Copies the clipboard monitor must not record, until this moment of the loop's uptime.
    MainLoop::Milliseconds ignoreCapturesUntil() const { return m_ignoreCapturesUntil; }
    void ignoreCaptures(MainLoop::Milliseconds duration);

private:
    struct Prepared {
        std::uint64_t changeCount = 0;
        std::optional<std::string> text {};
        std::optional<ClipboardContents> contents {};
    };
    // What `prepare` read, if the clipboard still holds it.
    const Prepared* prepared() const;

    Clipboard& m_clipboard;
    KeyInjector& m_keys;
    FocusedApplication& m_focus;
    MainLoop& m_loop;
    MainLoop::Milliseconds m_ignoreCapturesUntil {};
    std::optional<Prepared> m_prepared;
    std::uint64_t m_preparedCount = 0; // Of prepare's reads, so that only the last one expires.
    // Outlived by nothing it schedules.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace zeph
