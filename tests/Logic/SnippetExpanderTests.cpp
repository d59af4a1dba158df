#include "Logic/SnippetExpander.h"

#include "LauncherWorld.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using namespace std::chrono_literals;
using Tap = FakeKeyInjector::Tap;

constexpr std::uint32_t control = 4, shift = 8;

struct ExpanderFixture
    : testing::Test
    , LauncherWorld {
    void SetUp() override
    {
        model.snippetCollections().set({ SnippetCollection { .id = "c",
            .prefix = ";",
            .snippets = {
                { .id = "1", .name = "Address", .keyword = "addr", .content = "1 Main St" },
                { .id = "2", .name = "Bold", .keyword = "b", .content = "<b>{cursor}</b>" },
                { .id = "3",
                    .name = "Letter",
                    .keyword = "dear",
                    .content = "Dear {fill:Name=Sir}, {fill:Greeting}" },
                { .id = "4", .name = "Quote", .keyword = "q", .content = "«{clipboard}»" },
            } } });
        // An X11 session lets the application listen.
        model.accessibilityTrusted().set(true);
        clipboard.copy(ClipboardContents::text("what was copied before"));
    }
    std::string pasted(std::size_t write = 0) const
    {
        return *clipboardText(clipboard.writes.at(write));
    }
    static std::optional<std::string> clipboardText(const ClipboardContents& contents)
    {
        for (auto& [type, bytes] : contents.entries) {
            if (type == ClipboardContents::textType)
                return bytes;
        }
        return std::nullopt;
    }
};

TEST_F(ExpanderFixture, ErasesTheTriggerPastesAndPutsTheClipboardBack)
{
    ASSERT_TRUE(keyEvents.isListening());
    loop.advance(5000ms);
    keyEvents.type("at ;addr");
    // Nothing yet: the user's last key reaches the application first.
    EXPECT_TRUE(keys.taps.empty());
    EXPECT_TRUE(expander.isExpanding());
    loop.runPosted();
    auto start = loop.uptime();
    std::vector<Tap> expected(5, Tap { start, 51, 0 });
    expected.push_back({ start, 9, control });
    EXPECT_EQ(keys.taps, expected);
    ASSERT_EQ(clipboard.writes.size(), 1u);
    EXPECT_EQ(pasted(), "1 Main St");
    // Concealed while it is on its way.
    EXPECT_EQ(clipboard.writes[0], ClipboardContents::text("1 Main St", true));
    // Keys typed meanwhile build no trigger.
    keyEvents.type(";addr");
    loop.advance(349ms);
    EXPECT_EQ(clipboard.writes.size(), 1u);
    loop.advance(1ms);
    ASSERT_EQ(clipboard.writes.size(), 2u);
    EXPECT_EQ(clipboard.writes[1], ClipboardContents::text("what was copied before").concealed());
    EXPECT_FALSE(expander.isExpanding());
    EXPECT_EQ(keys.taps.size(), 6u);
    // The monitor is told to look away for a second.
    EXPECT_EQ(inserter.ignoreCapturesUntil(), start + 1000ms);
}

TEST_F(ExpanderFixture, TerminalsPasteWithShiftAndTheCaretGoesBackToTheCursor)
{
    focus.focused = ApplicationIdentity { .id = "org.gnome.Console", .windowClass = "kgx" };
    keyEvents.type(";b");
    loop.runPosted();
    auto start = loop.uptime();
    EXPECT_EQ(keys.taps.back(), (Tap { start, 9, control | shift }));
    EXPECT_EQ(pasted(), "<b></b>");
    loop.advance(119ms);
    EXPECT_EQ(keys.taps.size(), 3u);
    loop.advance(1ms);
    EXPECT_EQ(keys.taps,
        (std::vector<Tap> { { start, 51, 0 }, { start, 51, 0 }, { start, 9, control | shift },
            { start + 120ms, 123, 0 }, { start + 120ms, 123, 0 }, { start + 120ms, 123, 0 },
            { start + 120ms, 123, 0 } }));
}

TEST_F(ExpanderFixture, AsksForFillInsAndInsertsAfterTheFocusReturns)
{
    keyEvents.type(";dear");
    loop.runPosted();
    EXPECT_EQ(keys.taps.size(), 5u);
    ASSERT_TRUE(prompt.isOpen());
    EXPECT_EQ(prompt.askedTitle, "Letter");
    EXPECT_EQ(prompt.askedFields,
        (std::vector<SnippetTemplate::FillField> { { "Name", "Sir" }, { "Greeting", "" } }));
    loop.advance(5s);
    prompt.answer(FillInPrompting::Values { { "Greeting", "hello" } });
    loop.advance(119ms);
    EXPECT_TRUE(clipboard.writes.empty());
    loop.advance(1ms);
    EXPECT_EQ(pasted(), "Dear Sir, hello");

    // Cancelled: the trigger stays erased and nothing comes.
    loop.advance(1s);
    clipboard.writes.clear();
    keyEvents.type(";dear");
    loop.runPosted();
    prompt.answer(std::nullopt);
    loop.advance(1s);
    EXPECT_TRUE(clipboard.writes.empty());
    EXPECT_FALSE(expander.isExpanding());
    EXPECT_EQ(keys.taps.size(), 5u + 1 + 5);
}

TEST_F(ExpanderFixture, TheClipboardPlaceholderSeesWhatWasCopiedBefore)
{
    keyEvents.type(";q");
    loop.runPosted();
    EXPECT_EQ(pasted(), "«what was copied before»");
    // A copy made while the paste settles stays on the clipboard.
    clipboard.copy(ClipboardContents::text("copied meanwhile"));
    loop.advance(1s);
    EXPECT_EQ(clipboard.text(), "copied meanwhile");
}

// The clipboard is read while the trigger is typed, once for each change of it, so that the
// expansion itself does not wait for the clipboard's owner; a change meanwhile is read again.
TEST_F(ExpanderFixture, ReadsTheClipboardWhileTheTriggerIsTyped)
{
    auto readsAfter = [&](std::string_view text) {
        auto before = clipboard.reads;
        keyEvents.type(text);
        loop.runPosted();
        return clipboard.reads - before;
    };
    EXPECT_EQ(readsAfter("x;"), 0u);
    EXPECT_EQ(readsAfter("a"), 2u);
    EXPECT_EQ(readsAfter("dd ;ad"), 0u);
    EXPECT_EQ(readsAfter("dr"), 0u);
    EXPECT_EQ(pasted(), "1 Main St");
    loop.advance(1s);
    EXPECT_EQ(
        clipboard.writes.back(), ClipboardContents::text("what was copied before").concealed());

    clipboard.copy(ClipboardContents::text("copied meanwhile"));
    keyEvents.type(";ad");
    clipboard.copy(ClipboardContents::text("copied last"));
    keyEvents.type("dr");
    loop.runPosted();
    loop.advance(1s);
    EXPECT_EQ(clipboard.writes.back(), ClipboardContents::text("copied last").concealed());

    // Without putting the clipboard back, only its text is read ahead.
    auto settings = model.settings().get();
    settings.snippets.restoreClipboard = false;
    model.settings().set(settings);
    EXPECT_EQ(readsAfter(" ;a"), 1u);
    EXPECT_EQ(readsAfter("ddr"), 0u);

    // What was read ahead is forgotten after a while, and read again when needed.
    loop.advance(1s);
    EXPECT_EQ(readsAfter(" ;a"), 1u);
    loop.advance(TextInserter::preparedLifetime - 1ms);
    EXPECT_EQ(readsAfter("d"), 0u);
    loop.advance(1ms);
    EXPECT_EQ(readsAfter("dr"), 1u);
}

TEST_F(ExpanderFixture, TheBufferFollowsTheCaret)
{
    auto expands = [&](auto typing) {
        keys.taps.clear();
        keyEvents.pointer();
        typing();
        loop.advance(1s);
        return !keys.taps.empty();
    };
    EXPECT_TRUE(expands([&] {
        keyEvents.type(";addx");
        keyEvents.press(51);
        keyEvents.type("r");
    }));
    EXPECT_FALSE(expands([&] {
        keyEvents.type(";ad");
        keyEvents.pointer();
        keyEvents.type("dr");
    }));
    EXPECT_FALSE(expands([&] {
        keyEvents.type(";ad");
        keyEvents.press(123);
        keyEvents.type("dr");
    }));
    EXPECT_FALSE(expands([&] {
        keyEvents.type(";ad");
        keyEvents.press(36);
        keyEvents.type("dr");
    }));
    // Ctrl+A between the characters: a command, not text.
    EXPECT_FALSE(expands([&] {
        keyEvents.type(";ad");
        keyEvents.type("a", KeyCombo::Modifiers::control);
        keyEvents.type("dr");
    }));
    // Shift and Alt make text.
    EXPECT_TRUE(expands([&] {
        keyEvents.type(";", KeyCombo::Modifiers::shift);
        keyEvents.type("addr");
    }));
    // A password field reads nothing, and forgets what came before.
    EXPECT_FALSE(expands([&] {
        keyEvents.type(";ad");
        keyEvents.secureInput = true;
        keyEvents.type("x");
        keyEvents.secureInput = false;
        keyEvents.type("dr");
    }));
    // The launcher's own field is no application.
    expander.isLauncherKey = [] { return true; };
    EXPECT_FALSE(expands([&] { keyEvents.type(";addr"); }));
    expander.isLauncherKey = [] { return false; };
}

TEST_F(ExpanderFixture, ExcludedApplicationsAreNotRead)
{
    focus.focused
        = ApplicationIdentity { .id = "org.keepassxc.KeePassXC", .windowClass = "KeePassXC" };
    keyEvents.type(";ad");
    focus.focused = ApplicationIdentity { .id = "org.gnome.TextEditor" };
    keyEvents.type("dr");
    loop.advance(1s);
    EXPECT_TRUE(keys.taps.empty());
    EXPECT_EQ(expander.matcher().bufferText(), "dr");
}

TEST_F(ExpanderFixture, ListensOnlyWhenSomethingCanExpand)
{
    model.settings().change([](AppSettings& settings) { settings.snippets.autoExpand = false; });
    EXPECT_FALSE(keyEvents.isListening());
    model.settings().change([](AppSettings& settings) { settings.snippets.autoExpand = true; });
    EXPECT_TRUE(keyEvents.isListening());
    model.snippetCollections().set({});
    EXPECT_FALSE(keyEvents.isListening());
    // Without a way to listen, it says so once.
    keyEvents.canListen = false;
    model.snippetCollections().set(
        { SnippetCollection { .snippets = { { .keyword = "x", .content = "y" } } } });
    model.snippetCollections().set(
        { SnippetCollection { .snippets = { { .keyword = "z", .content = "y" } } } });
    EXPECT_EQ(logLines,
        std::vector<std::string> {
            "Zeph Launcher: could not listen to the keyboard (no X11 display?)" });
}

TEST_F(ExpanderFixture, ASnippetChosenInTheLauncherErasesNothing)
{
    expander.expand("Hi {cursor}there", "Greeting");
    EXPECT_EQ(keys.taps.size(), 1u);
    EXPECT_EQ(keys.taps[0].keyCode, 9u);
    EXPECT_EQ(pasted(), "Hi there");
    loop.advance(120ms);
    EXPECT_EQ(keys.taps.size(), 6u);
}

} // namespace
