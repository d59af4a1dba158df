#include "Platform/X11KeyEvents.h"

#include "Platform/AccessibleFocus.h"
#include "Platform/KeyTable.h"
#include "Platform/Trace.h"
#include "Platform/X11KeyInjector.h"

#include <cstdlib>
#include <cstring>

#include <xcb/xinput.h>

#include <QSocketNotifier>

#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon-x11.h>

// xkb.h names a member `explicit`, a keyword that only a macro can rename.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

namespace zeph {

namespace {

// The locale whose compose table turns dead keys into characters, as the C library reads it.
const char* composeLocale()
{
    for (const char* name : { "LC_ALL", "LC_CTYPE", "LANG" }) {
        if (const auto* value = std::getenv(name); value && *value)
            return value;
    }
    return "C";
}

// The modifiers a press reports, as the program's bits in the Linux habit: Ctrl is `command`,
// Super `control`.
struct ModifierBit {
    const char* name;
    KeyCombo::Modifiers bit;
};
constexpr std::array<ModifierBit, 4> modifierBits { {
    { XKB_MOD_NAME_CTRL, KeyCombo::Modifiers::command },
    { XKB_MOD_NAME_ALT, KeyCombo::Modifiers::option },
    { XKB_MOD_NAME_SHIFT, KeyCombo::Modifiers::shift },
    { XKB_MOD_NAME_LOGO, KeyCombo::Modifiers::control },
} };

} // namespace

X11KeyEvents::X11KeyEvents(const X11KeyInjector& injector, const AccessibleFocus& accessibleFocus)
    : m_injector(injector)
    , m_accessibleFocus(accessibleFocus)
{
}

bool X11KeyEvents::isSecureInput() const
{
    // Another client's keyboard grab needs no answer here: no key arrives meanwhile.
    return m_accessibleFocus.isPasswordFocused();
}

X11KeyEvents::~X11KeyEvents()
{
    m_notifier.reset();
    if (m_compose)
        xkb_compose_state_unref(m_compose);
    if (m_state)
        xkb_state_unref(m_state);
    if (m_keymap)
        xkb_keymap_unref(m_keymap);
    if (m_context)
        xkb_context_unref(m_context);
    if (m_connection)
        xcb_disconnect(m_connection);
}

bool X11KeyEvents::connect()
{
    if (m_connection)
        return true;
    auto* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return false;
    }
    const auto* input = xcb_get_extension_data(connection, &xcb_input_id);
    std::uint16_t major = 0;
    std::uint16_t minor = 0;
    std::uint8_t xkbEvent = 0;
    if (!input || !input->present
        || !xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION,
            XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, &major, &minor,
            &xkbEvent, nullptr)) {
        xcb_disconnect(connection);
        return false;
    }
    // XInput 2.0 exactly: from 2.1 on, raw events reach the root window during grabs too.
    std::free(xcb_input_xi_query_version_reply(
        connection, xcb_input_xi_query_version(connection, 2, 0), nullptr));
    m_connection = connection;
    m_inputOpcode = input->major_opcode;
    m_xkbEvent = xkbEvent;
    m_root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    m_keyboard = xkb_x11_get_core_keyboard_device_id(connection);
    m_context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (auto* table = xkb_compose_table_new_from_locale(
            m_context, composeLocale(), XKB_COMPOSE_COMPILE_NO_FLAGS)) {
        m_compose = xkb_compose_state_new(table, XKB_COMPOSE_STATE_NO_FLAGS);
        xkb_compose_table_unref(table);
    }
    // The XTest keyboard: what it presses is typed by a program, ours among them.
    if (auto* devices = xcb_input_xi_query_device_reply(
            connection, xcb_input_xi_query_device(connection, XCB_INPUT_DEVICE_ALL), nullptr)) {
        for (auto it = xcb_input_xi_query_device_infos_iterator(devices); it.rem;
             xcb_input_xi_device_info_next(&it)) {
            std::string name(xcb_input_xi_device_info_name(it.data),
                static_cast<std::size_t>(xcb_input_xi_device_info_name_length(it.data)));
            if (name.find("XTEST keyboard") != std::string::npos)
                m_xtestKeyboard = it.data->deviceid;
        }
        std::free(devices);
    }
    // Layout changes and the modifiers' state, as XKB tells them.
    constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY
        | XCB_XKB_EVENT_TYPE_MAP_NOTIFY | XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    constexpr std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS
        | XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS
        | XCB_XKB_MAP_PART_KEY_ACTIONS | XCB_XKB_MAP_PART_VIRTUAL_MODS
        | XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
    constexpr std::uint16_t stateParts = XCB_XKB_STATE_PART_MODIFIER_BASE
        | XCB_XKB_STATE_PART_MODIFIER_LATCH | XCB_XKB_STATE_PART_MODIFIER_LOCK
        | XCB_XKB_STATE_PART_GROUP_BASE | XCB_XKB_STATE_PART_GROUP_LATCH
        | XCB_XKB_STATE_PART_GROUP_LOCK;
    xcb_xkb_select_events_details_t details {};
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.affectState = stateParts;
    details.stateDetails = stateParts;
    xcb_xkb_select_events_aux(connection, static_cast<xcb_xkb_device_spec_t>(m_keyboard), events, 0,
        0, mapParts, mapParts, &details);
    loadKeymap();
    m_notifier = std::make_unique<QSocketNotifier>(
        xcb_get_file_descriptor(connection), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { readEvents(); });
    return m_keymap != nullptr;
}

void X11KeyEvents::loadKeymap()
{
    auto* keymap = xkb_x11_keymap_new_from_device(
        m_context, m_connection, m_keyboard, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap)
        return;
    auto* state = xkb_x11_state_new_from_device(keymap, m_connection, m_keyboard);
    if (!state) {
        xkb_keymap_unref(keymap);
        return;
    }
    if (m_state)
        xkb_state_unref(m_state);
    if (m_keymap)
        xkb_keymap_unref(m_keymap);
    m_keymap = keymap;
    m_state = state;
    static_assert(std::tuple_size_v<decltype(m_modifierIndices)> == modifierBits.size());
    for (std::size_t modifier = 0; modifier < modifierBits.size(); ++modifier)
        m_modifierIndices[modifier] = xkb_keymap_mod_get_index(keymap, modifierBits[modifier].name);
}

void X11KeyEvents::select(bool isOn)
{
    struct {
        xcb_input_event_mask_t header;
        std::uint32_t bits;
    } mask {};
    mask.header.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    mask.header.mask_len = 1;
    mask.bits = isOn
        ? XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS
        : 0;
    xcb_input_xi_select_events(m_connection, m_root, 1, &mask.header);
    xcb_flush(m_connection);
}

bool X11KeyEvents::start(
    std::function<void(const KeyPress&)> onKeyDown, std::function<void()> onPointerDown)
{
    if (!connect())
        return false;
    m_onKeyDown = std::move(onKeyDown);
    m_onPointerDown = std::move(onPointerDown);
    select(true);
    m_isListening = true;
    return true;
}

void X11KeyEvents::stop()
{
    if (!m_isListening)
        return;
    select(false);
    m_isListening = false;
}

void X11KeyEvents::readEvents()
{
    while (auto* event = xcb_poll_for_event(m_connection)) {
        auto type = event->response_type & ~0x80;
        if (type == XCB_GE_GENERIC) {
            auto* generic = reinterpret_cast<xcb_ge_generic_event_t*>(event);
            if (generic->extension == m_inputOpcode && m_isListening) {
                if (generic->event_type == XCB_INPUT_RAW_KEY_PRESS) {
                    TraceTimer::markKeyPress();
                    TraceTimer timer("a key press");
                    auto* press = reinterpret_cast<xcb_input_raw_key_press_event_t*>(event);
                    keyPressed(press->detail, press->sourceid);
                } else if (generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS && m_onPointerDown) {
                    m_onPointerDown();
                }
            }
        } else if (type == m_xkbEvent) {
            auto* xkb = reinterpret_cast<xcb_xkb_state_notify_event_t*>(event);
            if (xkb->xkbType == XCB_XKB_STATE_NOTIFY && m_state)
                xkb_state_update_mask(m_state, xkb->baseMods, xkb->latchedMods, xkb->lockedMods,
                    static_cast<xkb_layout_index_t>(xkb->baseGroup),
                    static_cast<xkb_layout_index_t>(xkb->latchedGroup), xkb->lockedGroup);
            else if (xkb->xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY
                || xkb->xkbType == XCB_XKB_MAP_NOTIFY)
                loadKeymap();
        }
        std::free(event);
    }
}

void X11KeyEvents::keyPressed(std::uint32_t keyCode, std::uint16_t sourceDevice)
{
    if (!m_state || !m_onKeyDown)
        return;
    KeyPress press;
    press.isSynthetic = sourceDevice == m_xtestKeyboard && m_injector.takeInjectedPress();
    for (std::size_t modifier = 0; modifier < modifierBits.size(); ++modifier) {
        // A modifier the keymap lacks has an invalid index, which is never active.
        if (xkb_state_mod_index_is_active(
                m_state, m_modifierIndices[modifier], XKB_STATE_MODS_EFFECTIVE)
            > 0)
            press.modifiers |= modifierBits[modifier].bit;
    }
    // The key's name comes from its first level, whatever the modifiers make of it.
    const xkb_keysym_t* levelSyms = nullptr;
    auto layout = xkb_state_key_get_layout(m_state, keyCode);
    if (xkb_keymap_key_get_syms_by_level(m_keymap, keyCode, layout, 0, &levelSyms) > 0)
        press.keyCode = KeyTable::keyCodeForX11KeySym(levelSyms[0]).value_or(0xffff);
    else
        press.keyCode = 0xffff;

    auto keySym = xkb_state_key_get_one_sym(m_state, keyCode);
    // Shift, Control, AltGr and the locks change what other keys type, and type nothing
    // themselves; dead keys are no modifiers.
    if ((keySym >= XKB_KEY_Shift_L && keySym <= XKB_KEY_Hyper_R)
        || (keySym >= XKB_KEY_ISO_Lock && keySym <= XKB_KEY_ISO_Level5_Lock)
        || keySym == XKB_KEY_Mode_switch || keySym == XKB_KEY_Num_Lock)
        return;
    char text[64] = {};
    auto fed = m_compose ? xkb_compose_state_feed(m_compose, keySym) : XKB_COMPOSE_FEED_IGNORED;
    switch (fed == XKB_COMPOSE_FEED_ACCEPTED ? xkb_compose_state_get_status(m_compose)
                                             : XKB_COMPOSE_NOTHING) {
    case XKB_COMPOSE_COMPOSING:
        return; // A dead key: its character comes with the next key.
    case XKB_COMPOSE_COMPOSED:
        xkb_compose_state_get_utf8(m_compose, text, sizeof text);
        xkb_compose_state_reset(m_compose);
        break;
    case XKB_COMPOSE_CANCELLED:
        xkb_compose_state_reset(m_compose);
        return;
    case XKB_COMPOSE_NOTHING:
        xkb_state_key_get_utf8(m_state, keyCode, text, sizeof text);
        break;
    }
    // Control characters are commands (Return, Tab, Backspace, Escape), never typed text.
    press.characters = static_cast<unsigned char>(text[0]) >= 0x20 && text[0] != 0x7f ? text : "";
    m_onKeyDown(press);
}

} // namespace zeph
