#include "Platform/KeyTable.h"

#include <gtest/gtest.h>

#include <Qt>

#include <X11/keysym.h>

namespace {

using namespace zeph;
using Modifiers = KeyCombo::Modifiers;

TEST(KeyTable, EveryNamedKeyHasAnX11KeyAndAQtKeyThatLeadBack)
{
    int named = 0;
    for (std::uint32_t code = 0; code < 128; ++code) {
        if (KeyCode::name(code).starts_with("Key "))
            continue;
        ++named;
        auto keySym = KeyTable::x11KeySym(code);
        ASSERT_TRUE(keySym) << code;
        EXPECT_EQ(KeyTable::keyCodeForX11KeySym(*keySym), code);
    }
    EXPECT_EQ(named, static_cast<int>(KeyCode::nameCount));
    EXPECT_EQ(KeyTable::x11KeySym(76), XK_KP_Enter);
    EXPECT_EQ(KeyTable::keyCodeForQtKey(Qt::Key_K), 40u);
    EXPECT_EQ(KeyTable::keyCodeForQtKey(Qt::Key_Enter), 76u);
    EXPECT_EQ(KeyTable::x11KeySym(200), std::nullopt);
    EXPECT_EQ(KeyTable::keyCodeForX11KeySym(XK_odiaeresis), std::nullopt);
}

TEST(KeyTable, CombosReadInLinuxWordsInTheLinuxOrder)
{
    EXPECT_EQ(
        KeyTable::displayText({ .keyCode = 49, .modifiers = Modifiers::option }), "Alt+Space");
    EXPECT_EQ(KeyTable::displayText(
                  { .keyCode = 40, .modifiers = Modifiers::shift | Modifiers::control }),
        "Ctrl+Shift+K");
    EXPECT_EQ(KeyTable::displayText({ .keyCode = 36,
                  .modifiers = Modifiers::command | Modifiers::option | Modifiers::shift
                      | Modifiers::control }),
        "Ctrl+Alt+Shift+Super+Enter");
    EXPECT_EQ(KeyTable::displayText({ .keyCode = 96 }), "F5");
    EXPECT_EQ(
        KeyTable::displayText({ .keyCode = 126, .modifiers = Modifiers::command }), "Super+Up");
    EXPECT_EQ(
        KeyTable::displayText({ .keyCode = 200, .modifiers = Modifiers::option }), "Alt+Key 200");
}

TEST(KeyTable, PortalTriggersNameKeysAsXKBDoes)
{
    EXPECT_EQ(
        KeyTable::portalTrigger({ .keyCode = 49, .modifiers = Modifiers::option }), "ALT+space");
    EXPECT_EQ(KeyTable::portalTrigger({ .keyCode = 40,
                  .modifiers = Modifiers::command | Modifiers::shift | Modifiers::control }),
        "CTRL+SHIFT+LOGO+k");
    EXPECT_EQ(KeyTable::portalTrigger({ .keyCode = 96 }), "F5");
    EXPECT_EQ(KeyTable::portalTrigger({ .keyCode = 200, .modifiers = Modifiers::option }), "");
}

} // namespace
