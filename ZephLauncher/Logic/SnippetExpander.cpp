#include "Logic/SnippetExpander.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>

namespace zeph {

namespace {

using namespace std::chrono_literals;

// Keys that move the caret or end the line: what was typed before no longer precedes it.
constexpr std::array clearingKeys { KeyCode::leftArrowKey, KeyCode::rightArrowKey,
    KeyCode::upArrowKey, KeyCode::downArrowKey, KeyCode::homeKey, KeyCode::endKey,
    KeyCode::pageUpKey, KeyCode::pageDownKey, KeyCode::escapeKey, KeyCode::forwardDeleteKey,
    KeyCode::returnKey, KeyCode::tabKey };
// Focus goes back to the application after the prompt, and the paste lands, in this time.
constexpr auto settleDelay = 120ms;

// Application ids are nearly always ASCII; the rest go through Unicode lower-casing.
std::string lowercasedID(std::string_view id)
{
    if (!std::all_of(id.begin(), id.end(), [](char byte) { return (byte & 0x80) == 0; }))
        return lowercasedText(id);
    std::string lowered(id);
    for (auto& byte : lowered) {
        if (byte >= 'A' && byte <= 'Z')
            byte = static_cast<char>(byte + ('a' - 'A'));
    }
    return lowered;
}

} // namespace

SnippetExpander::SnippetExpander(AppModel& model, KeyEventSource& keyEvents, KeyInjector& keys,
    TextInserter& inserter, FocusedApplication& focus, FillInPrompting& prompt, MainLoop& loop,
    Calendar calendar, Log log)
    : m_model(model)
    , m_keyEvents(keyEvents)
    , m_keys(keys)
    , m_inserter(inserter)
    , m_focus(focus)
    , m_prompt(prompt)
    , m_loop(loop)
    , m_calendar(std::move(calendar))
    , m_log(std::move(log))
{
    m_subscriptions.push_back(m_model.settings().subscribe([this](const auto&) { refresh(); }));
    m_subscriptions.push_back(
        m_model.snippetCollections().subscribe([this](const auto&) { refresh(); }));
    m_subscriptions.push_back(
        m_model.accessibilityTrusted().subscribe([this](const auto&) { refresh(); }));
}

void SnippetExpander::refresh()
{
    auto& settings = m_model.settings().get().snippets;
    auto triggers = ExpansionTrigger::triggers(m_model.snippetCollections().get());
    bool wantsKeys
        = settings.autoExpand && !triggers.empty() && m_model.accessibilityTrusted().get();
    m_matcher = ExpansionMatcher(std::move(triggers), settings.requireWordBoundary);
    m_excludedApplications.clear();
    for (auto& id : settings.excludedBundleIDs)
        m_excludedApplications.insert(lowercasedID(id));
    if (!wantsKeys) {
        if (m_keyEvents.isListening())
            m_keyEvents.stop();
        return;
    }
    if (m_keyEvents.isListening())
        return;
    bool isListening = m_keyEvents.start(
        [this, alive = std::weak_ptr(m_alive)](const KeyPress& press) {
            if (alive.lock())
                keyDown(press);
        },
        [this, alive = std::weak_ptr(m_alive)] {
            if (alive.lock())
                pointerDown();
        });
    if (!isListening && !m_hasReportedNoKeyboard) {
        m_hasReportedNoKeyboard = true;
        m_log("Zeph Launcher: could not listen to the keyboard (no X11 display?)");
    }
}

void SnippetExpander::pointerDown()
{
    m_matcher.reset();
}

void SnippetExpander::keyDown(const KeyPress& press)
{
    if (press.isSynthetic || m_isExpanding || isLauncherKey())
        return;
    if (m_keyEvents.isSecureInput()) {
        m_matcher.reset();
        return;
    }
    // Option and Shift make text; the others make commands.
    if (press.modifiers.contains(KeyCombo::Modifiers::command)
        || press.modifiers.contains(KeyCombo::Modifiers::control)) {
        m_matcher.reset();
        return;
    }
    if (press.keyCode == KeyCode::deleteKey) {
        m_matcher.deleteBackward();
        return;
    }
    if (std::find(clearingKeys.begin(), clearingKeys.end(), press.keyCode) != clearingKeys.end()) {
        m_matcher.reset();
        return;
    }
    if (press.characters.empty())
        return;
    auto focused = m_focus.current();
    std::optional<std::string_view> applicationID;
    if (focused) {
        if (m_excludedApplications.contains(lowercasedID(focused->id))
            || m_excludedApplications.contains(lowercasedID(focused->windowClass)))
            return;
        applicationID = focused->id;
    }
    auto* trigger = m_matcher.feed(press.characters, applicationID);
    if (!trigger) {
        // Later on the loop, so that the key press itself never waits for the clipboard's owner.
        if (m_matcher.isWithinTrigger()) {
            m_loop.post([this, alive = std::weak_ptr(m_alive),
                            contents = m_model.settings().get().snippets.restoreClipboard] {
                if (alive.lock())
                    m_inserter.prepare(contents);
            });
        }
        return;
    }
    m_matcher.reset();
    m_isExpanding = true;
    // Later on the loop, so that the user's last key reaches the application first.
    m_loop.post([this, alive = std::weak_ptr(m_alive), content = trigger->snippet.content,
                    name = trigger->snippet.name, count = graphemeCount(trigger->text)] {
        if (alive.lock())
            run(content, name, count);
    });
}

void SnippetExpander::expand(const std::string& content, const std::string& name)
{
    run(content, name, 0);
}

void SnippetExpander::run(std::string content, std::string name, std::size_t eraseCount)
{
    m_isExpanding = true;
    auto clipboardText = m_inserter.clipboardText().value_or("");
    for (std::size_t index = 0; index < eraseCount; ++index)
        m_keys.tap(KeyCode::deleteKey);
    auto fields = SnippetTemplate::fillFields(content);
    if (fields.empty()) {
        insertRendered(content, clipboardText, {});
        return;
    }
    // The erased trigger stays erased while the prompt is open.
    m_prompt.ask(name, fields,
        [this, alive = std::weak_ptr(m_alive), content = std::move(content),
            clipboardText = std::move(clipboardText)](
            std::optional<FillInPrompting::Values> values) {
            if (!alive.lock())
                return;
            if (!values) {
                m_isExpanding = false;
                return;
            }
            m_loop.schedule(settleDelay, [this, alive, content, clipboardText, values = *values] {
                if (alive.lock())
                    insertRendered(content, clipboardText, values);
            });
        });
}

void SnippetExpander::insertRendered(const std::string& content, const std::string& clipboardText,
    const FillInPrompting::Values& fills)
{
    auto rendered = SnippetTemplate::render(content,
        { .date = m_loop.now(),
            .clipboard = clipboardText,
            .fills = fills,
            .locale = m_calendar.locale,
            .timeZone = m_calendar.timeZone });
    m_inserter.insert(std::move(rendered.text), m_model.settings().get().snippets.restoreClipboard,
        [this, alive = std::weak_ptr(m_alive)] {
            if (alive.lock())
                m_isExpanding = false;
        });
    if (rendered.cursorOffsetFromEnd && *rendered.cursorOffsetFromEnd > 0) {
        m_loop.schedule(settleDelay,
            [this, alive = std::weak_ptr(m_alive), steps = *rendered.cursorOffsetFromEnd] {
                if (!alive.lock())
                    return;
                for (std::size_t step = 0; step < steps; ++step)
                    m_keys.tap(KeyCode::leftArrowKey);
            });
    }
}

void SnippetExpander::insertText(std::string text)
{
    m_inserter.insert(std::move(text), m_model.settings().get().snippets.restoreClipboard);
}

} // namespace zeph
