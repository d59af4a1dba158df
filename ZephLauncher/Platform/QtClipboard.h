#pragma once

#include "Logic/Clipboard.h"

#include <QObject>

namespace zeph {

// The desktop's clipboard through Qt, which hears every change (XFixes on X11).
class QtClipboard final : public Clipboard {
public:
    QtClipboard();

    std::uint64_t changeCount() const override { return m_changeCount; }
    std::vector<std::string> types() const override;
    std::string state() const override { return {}; }
    std::optional<std::string> text() const override;
    std::optional<std::string> png() const override;
    ClipboardContents contents() const override;
    void setContents(const ClipboardContents& contents) override;
    void setOnChange(std::function<void()> onChange) override { m_onChange = std::move(onChange); }

private:
    QObject m_context;
    std::uint64_t m_changeCount = 0;
    std::function<void()> m_onChange;
};

} // namespace zeph
