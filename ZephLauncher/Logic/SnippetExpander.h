#pragma once

#include "Logic/AppModel.h"
#include "Logic/FillInPrompting.h"
#include "Logic/FocusedApplication.h"
#include "Logic/KeyEventSource.h"
#include "Logic/KeyInjector.h"
#include "Logic/TextInserter.h"
#include "Snippets/ExpansionMatcher.h"
#include "Support/Calendar.h"

#include <functional>
#include <memory>
#include <string>
#include <unordered_set>

namespace zeph {

// Makes snippets work in every other program: hears every key press on the desktop, feeds the
// typed characters to the matcher, and when a trigger is typed erases it with backspaces, renders
// the snippet (asking for its fill-in fields first) and pastes it. Never swallows or delays a key.
// Main thread only.
class SnippetExpander {
public:
    using Log = std::function<void(const std::string& line)>;

    SnippetExpander(AppModel& model, KeyEventSource& keyEvents, KeyInjector& keys,
        TextInserter& inserter, FocusedApplication& focus, FillInPrompting& prompt, MainLoop& loop,
        Calendar calendar, Log log);
    SnippetExpander(const SnippetExpander&) = delete;
    SnippetExpander& operator=(const SnippetExpander&) = delete;

    // True while the launcher's own panel has the keyboard: typing there is no typing into an
    // application.
    std::function<bool()> isLauncherKey = [] { return false; };

    // Builds the matcher anew from the settings and snippets, and listens to the keyboard only
    // while expansion is on, there is a trigger and the session allows it. Runs by itself on every
    // change of those.
    void refresh();
    // Renders and pastes a snippet chosen in the launcher; nothing is erased.
    void expand(const std::string& content, const std::string& name);
    // Pastes text as the snippet settings say (restoring the clipboard or not).
    void insertText(std::string text);

    // The keyboard's events, as the key source delivers them.
    void keyDown(const KeyPress& press);
    void pointerDown();

    bool isExpanding() const { return m_isExpanding; }
    const ExpansionMatcher& matcher() const { return m_matcher; }

private:
    void run(std::string content, std::string name, std::size_t eraseCount);
    void insertRendered(const std::string& content, const std::string& clipboardText,
        const FillInPrompting::Values& fills);

    AppModel& m_model;
    KeyEventSource& m_keyEvents;
    KeyInjector& m_keys;
    TextInserter& m_inserter;
    FocusedApplication& m_focus;
    FillInPrompting& m_prompt;
    MainLoop& m_loop;
    Calendar m_calendar;
    Log m_log;
    ExpansionMatcher m_matcher;
    std::unordered_set<std::string> m_excludedApplications; // Lower-cased.
    bool m_isExpanding = false;
    bool m_hasReportedNoKeyboard = false;
    std::vector<Subscription> m_subscriptions;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace zeph
