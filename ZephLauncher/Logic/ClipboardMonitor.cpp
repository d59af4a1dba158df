#include "Logic/ClipboardMonitor.h"

#include "Clipboard/ClipboardCapture.h"

namespace zeph {

ClipboardMonitor::ClipboardMonitor(AppModel& model, Clipboard& clipboard, FocusedApplication& focus,
    const TextInserter& inserter, MainLoop& loop)
    : m_model(model)
    , m_clipboard(clipboard)
    , m_focus(focus)
    , m_inserter(inserter)
    , m_loop(loop)
    , m_pruneTimer(loop)
{
}

void ClipboardMonitor::start()
{
    m_lastChangeCount = m_clipboard.changeCount();
    m_clipboard.setOnChange([this] { poll(); });
    m_pruneTimer.start(std::chrono::hours(1), [this] { m_model.pruneClipboard(); });
    m_model.pruneClipboard();
}

void ClipboardMonitor::poll()
{
    auto changeCount = m_clipboard.changeCount();
    if (changeCount == m_lastChangeCount)
        return;
    m_lastChangeCount = changeCount;
    auto& settings = m_model.settings().get().clipboard;
    if (!settings.enabled || m_loop.uptime() < m_inserter.ignoreCapturesUntil())
        return;
    if (ClipboardCapture::isIgnored(m_clipboard.types(), m_clipboard.state()))
        return;
    ClipboardCapture::Source source;
    if (auto focused = m_focus.current()) {
        if (ClipboardCapture::isExcludedApplication(focused->id, settings)
            || ClipboardCapture::isExcludedApplication(focused->windowClass, settings))
            return;
        source = { .app = focused->name, .bundleID = focused->id };
    }
    auto now = m_loop.now();
    if (auto text = m_clipboard.text()) {
        if (auto item = ClipboardCapture::textItem(*text, now, source)) {
            m_model.addClipboardItem(std::move(*item));
            return;
        }
    }
    if (!settings.includeImages)
        return;
    auto png = m_clipboard.png();
    if (!png)
        return;
    // A failed write adds nothing; the change is gone.
    if (auto item = ClipboardCapture::imageItem(*png, m_model.clipboardImagesFolder(), now, source))
        m_model.addClipboardItem(std::move(*item));
}

} // namespace zeph
