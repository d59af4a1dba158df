#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeph {

// One offer of the clipboard: every MIME type it holds, with its bytes, in the order offered.
struct ClipboardContents {
    std::vector<std::pair<std::string, std::string>> entries {};
    bool operator==(const ClipboardContents&) const = default;

    // What other clipboard tools take as secret, and skip: the community's concealed type, and the
    // KDE password managers' hint.
    static constexpr std::string_view concealedType = "org.nspasteboard.ConcealedType";
    static constexpr std::string_view passwordHintType = "x-kde-passwordManagerHint";
    static constexpr std::string_view textType = "text/plain;charset=utf-8";

    // Plain text, marked concealed when asked.
    static ClipboardContents text(std::string text, bool isConcealed = false);
    static ClipboardContents image(std::string png);
    // The same offer, marked concealed.
    ClipboardContents concealed() const;
};

// The desktop's clipboard: on X11 and Wayland with focus, the toolkit's; on Wayland without focus,
// what a `wl-paste --watch` child hands over. All on the main thread.
class Clipboard {
public:
    virtual ~Clipboard() = default;

    // Raised by every change of the contents, the application's own included.
    virtual std::uint64_t changeCount() const = 0;
    virtual std::vector<std::string> types() const = 0;
    // Wayland's CLIPBOARD_STATE of the offer ("sensitive", …), or empty text.
    virtual std::string state() const = 0;
    virtual std::optional<std::string> text() const = 0;
    // An image on the clipboard, as PNG bytes.
    virtual std::optional<std::string> png() const = 0;
    virtual ClipboardContents contents() const = 0;
    virtual void setContents(const ClipboardContents& contents) = 0;
    // Heard after each change.
    virtual void setOnChange(std::function<void()> onChange) = 0;
};

} // namespace zeph
