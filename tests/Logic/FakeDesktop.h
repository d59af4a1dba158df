#pragma once

#include "FakeMainLoop.h"
#include "Logic/Clipboard.h"
#include "Logic/DesktopServices.h"
#include "Logic/FillInPrompting.h"
#include "Logic/FocusedApplication.h"
#include "Logic/HotKeyService.h"
#include "Logic/KeyEventSource.h"
#include "Logic/KeyInjector.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zeph {

// The desktop as the tests play it: every key typed into it and every clipboard write is kept with
// the moment of the fake loop's clock at which it happened.

class FakeClipboard final : public Clipboard {
public:
    std::uint64_t changeCount() const override { return m_changeCount; }
    std::vector<std::string> types() const override
    {
        std::vector<std::string> types;
        for (auto& [type, bytes] : m_contents.entries)
            types.push_back(type);
        return types;
    }
    std::string state() const override { return clipboardState; }
    std::optional<std::string> text() const override
    {
        ++reads;
        return find(ClipboardContents::textType);
    }
    std::optional<std::string> png() const override { return find("image/png"); }
    ClipboardContents contents() const override
    {
        ++reads;
        return m_contents;
    }
    void setContents(const ClipboardContents& contents) override
    {
        m_contents = contents;
        ++m_changeCount;
        writes.push_back(contents);
        if (m_onChange)
            m_onChange();
    }
    void setOnChange(std::function<void()> onChange) override { m_onChange = std::move(onChange); }

    // Another program copies.
    void copy(ClipboardContents contents)
    {
        auto before = writes.size();
        setContents(std::move(contents));
        writes.resize(before);
    }

    std::string clipboardState;
    std::vector<ClipboardContents> writes; // The application's own.
    mutable std::size_t reads = 0; // Of the text or the whole contents, each a wait on X11.

private:
    std::optional<std::string> find(std::string_view type) const
    {
        for (auto& [name, bytes] : m_contents.entries) {
            if (name == type)
                return bytes;
        }
        return std::nullopt;
    }

    ClipboardContents m_contents;
    std::uint64_t m_changeCount = 0;
    std::function<void()> m_onChange;
};

class FakeKeyInjector final : public KeyInjector {
public:
    struct Tap {
        MainLoop::Milliseconds at {};
        std::uint32_t keyCode = 0;
        std::uint32_t modifiers = 0;
        bool operator==(const Tap&) const = default;
    };
    explicit FakeKeyInjector(const MainLoop& loop)
        : m_loop(loop)
    {
    }
    void tap(std::uint32_t keyCode, KeyCombo::Modifiers modifiers) override
    {
        taps.push_back({ m_loop.uptime(), keyCode, modifiers.rawValue });
    }
    std::vector<Tap> taps;

private:
    const MainLoop& m_loop;
};

class FakeKeyEventSource final : public KeyEventSource {
public:
    bool start(std::function<void(const KeyPress&)> onKeyDown,
        std::function<void()> onPointerDown) override
    {
        if (!canListen)
            return false;
        m_onKeyDown = std::move(onKeyDown);
        m_onPointerDown = std::move(onPointerDown);
        return true;
    }
    void stop() override { m_onKeyDown = nullptr; }
    bool isListening() const override { return m_onKeyDown != nullptr; }
    bool isSecureInput() const override { return secureInput; }

    // Types each character of `text` as one key press, as a user with a US layout would.
    void type(std::string_view text, KeyCombo::Modifiers modifiers = {})
    {
        for (char character : text) {
            if (m_onKeyDown)
                m_onKeyDown({ .keyCode = 0,
                    .characters = std::string(1, character),
                    .modifiers = modifiers });
        }
    }
    void press(std::uint32_t keyCode, KeyCombo::Modifiers modifiers = {})
    {
        if (m_onKeyDown)
            m_onKeyDown({ .keyCode = keyCode, .modifiers = modifiers });
    }
    void pointer()
    {
        if (m_onPointerDown)
            m_onPointerDown();
    }

    bool canListen = true;
    bool secureInput = false;

private:
    std::function<void(const KeyPress&)> m_onKeyDown;
    std::function<void()> m_onPointerDown;
};

class FakeFocusedApplication final : public FocusedApplication {
public:
    std::optional<ApplicationIdentity> current() const override { return focused; }
    std::optional<ApplicationIdentity> focused = ApplicationIdentity {
        .id = "org.gnome.TextEditor", .name = "Text Editor", .windowClass = "gnome-text-editor"
    };
};

class FakeFillInPrompting final : public FillInPrompting {
public:
    void ask(const std::string& title, const std::vector<SnippetTemplate::FillField>& fields,
        std::function<void(std::optional<Values>)> completion) override
    {
        askedTitle = title;
        askedFields = fields;
        m_completion = std::move(completion);
    }
    void answer(std::optional<Values> values)
    {
        auto completion = std::move(m_completion);
        m_completion = nullptr;
        completion(std::move(values));
    }
    bool isOpen() const { return m_completion != nullptr; }

    std::string askedTitle;
    std::vector<SnippetTemplate::FillField> askedFields;

private:
    std::function<void(std::optional<Values>)> m_completion;
};

// The desktop's shortcuts: what is held, and combinations that other programs hold.
class FakeHotKeyService final : public HotKeyService {
public:
    bool grab(std::uint32_t id, const KeyCombo& combo) override
    {
        ++grabs;
        if (takenElsewhere.contains(combo.keyCode))
            return false;
        held[id] = combo;
        return true;
    }
    void release(std::uint32_t id) override { held.erase(id); }
    void setHandler(std::function<void(std::uint32_t)> handler) override
    {
        press = std::move(handler);
    }

    std::map<std::uint32_t, KeyCombo> held;
    std::set<std::uint32_t> takenElsewhere; // Key codes.
    std::function<void(std::uint32_t)> press;
    int grabs = 0;
};

// What the launcher asked of the desktop, one line a call: "open https://…", "reveal /a/b", ….
class FakeDesktopServices final : public DesktopServices {
public:
    void launchApplication(const std::string& desktopFile) override
    {
        calls.push_back("launch " + desktopFile);
    }
    void openURL(const std::string& url) override { calls.push_back("open " + url); }
    void openFile(const std::string& path, const std::optional<std::string>& applicationID) override
    {
        calls.push_back("open " + path + (applicationID ? " with " + *applicationID : ""));
    }
    void reveal(const std::string& path) override { calls.push_back("reveal " + path); }
    void preview(const std::string& path) override { calls.push_back("preview " + path); }
    void showProperties(const std::string& path) override { calls.push_back("properties " + path); }
    bool moveToTrash(const std::string& path) override
    {
        calls.push_back("trash " + path);
        return true;
    }
    std::optional<std::string> defaultApplicationName(const std::string&) override
    {
        return defaultApplication;
    }
    void runSystemCommand(SystemCommand command) override
    {
        calls.push_back("system " + std::string(toString(command)));
    }
    void confirm(const std::string& question, const std::string& action,
        std::function<void(bool)> answer) override
    {
        calls.push_back("confirm " + question + " [" + action + "]");
        answer(confirmation);
    }
    void beep() override { calls.push_back("beep"); }
    void showLargeType(const std::string& text) override { calls.push_back("large type " + text); }
    std::string selectedText() override { return selection; }

    std::vector<std::string> calls;
    std::optional<std::string> defaultApplication;
    bool confirmation = true;
    std::string selection;
};

class FakeNotifier final : public Notifier {
public:
    void notify(const std::string& title, const std::string& body) override
    {
        notifications.push_back(title + ": " + body);
    }
    std::vector<std::string> notifications;
};

} // namespace zeph
