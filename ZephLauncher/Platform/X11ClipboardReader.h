#pragma once

#include "Platform/WlPasteWatcher.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include <xcb/xcb.h>

namespace zeph {

// Reads a text copy from the X11 clipboard on a connection of its own, in three waits: the types
// and the UTF-8 text are asked for together, both answers are fetched together, and the names of
// types are kept for the server's life. Qt's clipboard asks who owns it before every question and
// names every type again at each copy, a dozen round trips for one copy. The types are named as Qt
// names them, so that the rules on types hold alike for both readers. Images, offers without UTF-8
// text, and offers too large for one property are left to Qt.
class X11ClipboardReader {
public:
    X11ClipboardReader() = default;
    ~X11ClipboardReader();
    X11ClipboardReader(const X11ClipboardReader&) = delete;
    X11ClipboardReader& operator=(const X11ClipboardReader&) = delete;

    // What the clipboard's owner offers, or nothing when Qt has to read it. Never to be asked
    // while this program owns the clipboard: its main thread, waiting here, would have to answer.
    std::optional<ClipboardOffer> read();

private:
    enum class Answer { pending, given, refused };
    bool connect();
    void disconnect();
    bool awaitAnswers(Answer& types, Answer& text);
    xcb_get_property_cookie_t askProperty(std::uint32_t property);
    std::optional<std::string> takeProperty(xcb_get_property_cookie_t asked, std::uint8_t format);
    std::string typeName(std::uint32_t atom);

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_window = 0;
    std::uint32_t m_clipboard = 0;
    std::uint32_t m_targets = 0;
    std::uint32_t m_utf8 = 0;
    std::uint32_t m_text = 0;
    std::uint32_t m_incr = 0;
    std::uint32_t m_typesProperty = 0;
    std::uint32_t m_textProperty = 0;
    std::unordered_map<std::uint32_t, std::string> m_typeNames;
};

} // namespace zeph
