#pragma once

#include "Logic/Clipboard.h"
#include "Platform/WlPasteWatcher.h"
#include "Platform/X11ClipboardReader.h"

#include <memory>

#include <QObject>

namespace zeph {

// The desktop's clipboard through Qt, which hears every change on X11 (XFixes). There a text copy
// is read by a reader of its own, in fewer round trips than Qt's. On Wayland a program hears of
// changes only while it has the focus, so there the changes come from wl-paste, when it is
// installed, and Qt only writes.
class QtClipboard final : public Clipboard {
public:
    enum class Watching { qt, wlPaste };
    explicit QtClipboard(Watching watching = Watching::qt);

    std::uint64_t changeCount() const override { return m_changeCount; }
    std::vector<std::string> types() const override;
    std::string state() const override;
    std::optional<std::string> text() const override;
    std::optional<std::string> png() const override;
    ClipboardContents contents() const override;
    void setContents(const ClipboardContents& contents) override;
    void setOnChange(std::function<void()> onChange) override { m_onChange = std::move(onChange); }

    // Whether changes made while another program has the focus are heard too.
    bool hearsEveryChange() const { return m_watching == Watching::qt || m_watcher; }

private:
    void changed();
    // The offer read for this change, when something other than Qt read it.
    const ClipboardOffer* offer() const;

    Watching m_watching;
    QObject m_context;
    std::uint64_t m_changeCount = 0;
    std::function<void()> m_onChange;
    std::unique_ptr<WlPasteWatcher> m_watcher;
    std::unique_ptr<X11ClipboardReader> m_reader;
    // The last offer wl-paste reported, while it reports them; on X11, the reader's offer at the
    // change count `m_offerCount`.
    mutable std::optional<ClipboardOffer> m_offer;
    mutable std::uint64_t m_offerCount = 0;
};

} // namespace zeph
