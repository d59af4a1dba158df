#include "Logic/TextInserter.h"

namespace zeph {

namespace {

using namespace std::chrono_literals;

} // namespace

TextInserter::TextInserter(
    Clipboard& clipboard, KeyInjector& keys, FocusedApplication& focus, MainLoop& loop)
    : m_clipboard(clipboard)
    , m_keys(keys)
    , m_focus(focus)
    , m_loop(loop)
{
}

void TextInserter::ignoreCaptures(MainLoop::Milliseconds duration)
{
    m_ignoreCapturesUntil = std::max(m_ignoreCapturesUntil, m_loop.uptime() + duration);
}

void TextInserter::insert(std::string text, bool restoreClipboard, std::function<void()> completion)
{
    insert(ClipboardContents::text(std::move(text)), restoreClipboard, std::move(completion));
}

void TextInserter::insert(
    ClipboardContents contents, bool restoreClipboard, std::function<void()> completion)
{
    std::optional<ClipboardContents> snapshot;
    if (restoreClipboard) {
        if (prepared() && m_prepared->contents)
            snapshot = std::move(m_prepared->contents);
        else
            snapshot = m_clipboard.contents();
    }
    m_prepared.reset();
    m_ignoreCapturesUntil = m_loop.uptime() + (restoreClipboard ? 1000ms : 200ms);
    // Marked concealed while it is only on its way, so that other clipboard tools skip it.
    m_clipboard.setContents(restoreClipboard ? contents.concealed() : contents);
    auto changeCount = m_clipboard.changeCount();
    postPaste();
    m_loop.schedule(restoreDelay,
        [this, alive = std::weak_ptr(m_alive), snapshot = std::move(snapshot), changeCount,
            completion = std::move(completion)] {
            if (!alive.lock())
                return;
            // A copy the user made meanwhile stays; so does the inserted text without a snapshot.
            if (snapshot && m_clipboard.changeCount() == changeCount)
                m_clipboard.setContents(snapshot->concealed());
            if (completion)
                completion();
        });
}

void TextInserter::prepare(bool contents)
{
    if (auto* ahead = prepared(); ahead && (ahead->contents || !contents))
        return;
    // Counted first: a change heard while the owner answers makes what was read stale.
    m_prepared = Prepared { .changeCount = m_clipboard.changeCount(), .text = m_clipboard.text() };
    if (contents)
        m_prepared->contents = m_clipboard.contents();
    m_loop.schedule(
        preparedLifetime, [this, alive = std::weak_ptr(m_alive), count = ++m_preparedCount] {
            if (alive.lock() && count == m_preparedCount)
                m_prepared.reset();
        });
}

std::optional<std::string> TextInserter::clipboardText() const
{
    if (auto* ahead = prepared())
        return ahead->text;
    return m_clipboard.text();
}

const TextInserter::Prepared* TextInserter::prepared() const
{
    return m_prepared && m_prepared->changeCount == m_clipboard.changeCount() ? &*m_prepared
                                                                              : nullptr;
}

void TextInserter::postPaste()
{
    auto focused = m_focus.current();
    auto modifiers = KeyCombo::Modifiers::control;
    if (focused && focused->isTerminal())
        modifiers |= KeyCombo::Modifiers::shift;
    m_keys.tap(KeyCode::vKey, modifiers);
}

} // namespace zeph
