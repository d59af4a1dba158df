#include "Platform/KeyTable.h"

#include <array>

#include <Qt>

#include <X11/keysym.h>
#include <xkbcommon/xkbcommon.h>

namespace zeph::KeyTable {

namespace {

struct Key {
    std::uint32_t code;
    std::uint32_t keySym;
    int qtKey;
    const char* name; // Where the Linux name differs from the glyph of the core's table.
};

constexpr auto keys = std::to_array<Key>({
    { 0, XK_a, Qt::Key_A, nullptr },
    { 1, XK_s, Qt::Key_S, nullptr },
    { 2, XK_d, Qt::Key_D, nullptr },
    { 3, XK_f, Qt::Key_F, nullptr },
    { 4, XK_h, Qt::Key_H, nullptr },
    { 5, XK_g, Qt::Key_G, nullptr },
    { 6, XK_z, Qt::Key_Z, nullptr },
    { 7, XK_x, Qt::Key_X, nullptr },
    { 8, XK_c, Qt::Key_C, nullptr },
    { 9, XK_v, Qt::Key_V, nullptr },
    { 11, XK_b, Qt::Key_B, nullptr },
    { 12, XK_q, Qt::Key_Q, nullptr },
    { 13, XK_w, Qt::Key_W, nullptr },
    { 14, XK_e, Qt::Key_E, nullptr },
    { 15, XK_r, Qt::Key_R, nullptr },
    { 16, XK_y, Qt::Key_Y, nullptr },
    { 17, XK_t, Qt::Key_T, nullptr },
    { 31, XK_o, Qt::Key_O, nullptr },
    { 32, XK_u, Qt::Key_U, nullptr },
    { 34, XK_i, Qt::Key_I, nullptr },
    { 35, XK_p, Qt::Key_P, nullptr },
    { 37, XK_l, Qt::Key_L, nullptr },
    { 38, XK_j, Qt::Key_J, nullptr },
    { 40, XK_k, Qt::Key_K, nullptr },
    { 45, XK_n, Qt::Key_N, nullptr },
    { 46, XK_m, Qt::Key_M, nullptr },
    { 18, XK_1, Qt::Key_1, nullptr },
    { 19, XK_2, Qt::Key_2, nullptr },
    { 20, XK_3, Qt::Key_3, nullptr },
    { 21, XK_4, Qt::Key_4, nullptr },
    { 22, XK_6, Qt::Key_6, nullptr },
    { 23, XK_5, Qt::Key_5, nullptr },
    { 25, XK_9, Qt::Key_9, nullptr },
    { 26, XK_7, Qt::Key_7, nullptr },
    { 28, XK_8, Qt::Key_8, nullptr },
    { 29, XK_0, Qt::Key_0, nullptr },
    { 24, XK_equal, Qt::Key_Equal, nullptr },
    { 27, XK_minus, Qt::Key_Minus, nullptr },
    { 30, XK_bracketright, Qt::Key_BracketRight, nullptr },
    { 33, XK_bracketleft, Qt::Key_BracketLeft, nullptr },
    { 39, XK_apostrophe, Qt::Key_Apostrophe, nullptr },
    { 41, XK_semicolon, Qt::Key_Semicolon, nullptr },
    { 42, XK_backslash, Qt::Key_Backslash, nullptr },
    { 43, XK_comma, Qt::Key_Comma, nullptr },
    { 44, XK_slash, Qt::Key_Slash, nullptr },
    { 47, XK_period, Qt::Key_Period, nullptr },
    { 50, XK_grave, Qt::Key_QuoteLeft, nullptr },
    { 36, XK_Return, Qt::Key_Return, "Enter" },
    { 76, XK_KP_Enter, Qt::Key_Enter, "Enter" },
    { 48, XK_Tab, Qt::Key_Tab, nullptr },
    { 49, XK_space, Qt::Key_Space, nullptr },
    { 51, XK_BackSpace, Qt::Key_Backspace, "Backspace" },
    { 53, XK_Escape, Qt::Key_Escape, nullptr },
    { 117, XK_Delete, Qt::Key_Delete, "Delete" },
    { 115, XK_Home, Qt::Key_Home, nullptr },
    { 119, XK_End, Qt::Key_End, nullptr },
    { 116, XK_Prior, Qt::Key_PageUp, nullptr },
    { 121, XK_Next, Qt::Key_PageDown, nullptr },
    { 123, XK_Left, Qt::Key_Left, "Left" },
    { 124, XK_Right, Qt::Key_Right, "Right" },
    { 125, XK_Down, Qt::Key_Down, "Down" },
    { 126, XK_Up, Qt::Key_Up, "Up" },
    { 122, XK_F1, Qt::Key_F1, nullptr },
    { 120, XK_F2, Qt::Key_F2, nullptr },
    { 99, XK_F3, Qt::Key_F3, nullptr },
    { 118, XK_F4, Qt::Key_F4, nullptr },
    { 96, XK_F5, Qt::Key_F5, nullptr },
    { 97, XK_F6, Qt::Key_F6, nullptr },
    { 98, XK_F7, Qt::Key_F7, nullptr },
    { 100, XK_F8, Qt::Key_F8, nullptr },
    { 101, XK_F9, Qt::Key_F9, nullptr },
    { 109, XK_F10, Qt::Key_F10, nullptr },
    { 103, XK_F11, Qt::Key_F11, nullptr },
    { 111, XK_F12, Qt::Key_F12, nullptr },
    { 105, XK_F13, Qt::Key_F13, nullptr },
    { 107, XK_F14, Qt::Key_F14, nullptr },
    { 113, XK_F15, Qt::Key_F15, nullptr },
    { 106, XK_F16, Qt::Key_F16, nullptr },
    { 64, XK_F17, Qt::Key_F17, nullptr },
    { 79, XK_F18, Qt::Key_F18, nullptr },
    { 80, XK_F19, Qt::Key_F19, nullptr },
    { 90, XK_F20, Qt::Key_F20, nullptr },
});
static_assert(keys.size() == KeyCode::nameCount + 1, "every named key, and keypad Enter");

const Key* find(std::uint32_t code)
{
    for (const auto& key : keys) {
        if (key.code == code)
            return &key;
    }
    return nullptr;
}

} // namespace

std::optional<std::uint32_t> x11KeySym(std::uint32_t keyCode)
{
    if (const auto* key = find(keyCode))
        return key->keySym;
    return std::nullopt;
}

std::optional<std::uint32_t> keyCodeForQtKey(int qtKey)
{
    for (const auto& key : keys) {
        if (key.qtKey == qtKey)
            return key.code;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> keyCodeForX11KeySym(std::uint32_t keySym)
{
    for (const auto& key : keys) {
        if (key.keySym == keySym)
            return key.code;
    }
    return std::nullopt;
}

namespace {

// The modifiers' words in the order Ctrl, Alt, Shift, Super, each followed by "+".
std::string modifierWords(KeyCombo::Modifiers modifiers, const std::array<const char*, 4>& words)
{
    using Modifiers = KeyCombo::Modifiers;
    std::string text;
    auto order = { Modifiers::control, Modifiers::option, Modifiers::shift, Modifiers::command };
    std::size_t index = 0;
    for (auto modifier : order) {
        if (modifiers.contains(modifier))
            text += std::string(words[index]) + "+";
        ++index;
    }
    return text;
}

} // namespace

std::string displayText(const KeyCombo& combo)
{
    const auto* key = find(combo.keyCode);
    return modifierWords(combo.modifiers, { "Ctrl", "Alt", "Shift", "Super" })
        + (key && key->name ? std::string(key->name) : KeyCode::name(combo.keyCode));
}

std::string portalTrigger(const KeyCombo& combo)
{
    const auto* key = find(combo.keyCode);
    char name[64] = {};
    if (!key || xkb_keysym_get_name(key->keySym, name, sizeof name) <= 0)
        return {};
    return modifierWords(combo.modifiers, { "CTRL", "ALT", "SHIFT", "LOGO" }) + name;
}

} // namespace zeph::KeyTable
