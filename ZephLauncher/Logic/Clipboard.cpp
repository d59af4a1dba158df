#include "Logic/Clipboard.h"

#include <algorithm>

namespace zeph {

ClipboardContents ClipboardContents::text(std::string text, bool isConcealed)
{
    ClipboardContents contents { { { std::string(textType), std::move(text) } } };
    return isConcealed ? contents.concealed() : contents;
}

ClipboardContents ClipboardContents::image(std::string png)
{
    return { { { "image/png", std::move(png) } } };
}

ClipboardContents ClipboardContents::concealed() const
{
    auto marked = *this;
    auto holds = [&](std::string_view type) {
        return std::any_of(
            entries.begin(), entries.end(), [&](const auto& entry) { return entry.first == type; });
    };
    if (!holds(concealedType))
        marked.entries.emplace_back(concealedType, "");
    if (!holds(passwordHintType))
        marked.entries.emplace_back(passwordHintType, "secret");
    return marked;
}

} // namespace zeph
