#include "TerminalEnvironment.h"

#include "CommandLine.h"
#include "Support/ChildProcess.h"
#include "Workflows/WorkflowRunner.h"

#include <filesystem>

namespace zeph::CommandLine {

namespace {

using namespace std::chrono_literals;

// Opening can start a browser first; nothing else here should take long.
constexpr Seconds toolTimeout = 30s;

struct Tool {
    std::vector<std::string> command {}; // The program, looked up in PATH, and its arguments.
    bool readsText = false; // The text goes to its standard input.
};

// Runs the first of `tools` that is installed and works; its output when one did.
std::optional<std::string> runFirst(
    const std::vector<Tool>& tools, const std::string& text = {}, bool collectsOutput = false)
{
    for (auto& tool : tools) {
        auto outcome = ChildProcess::run({ .executable = tool.command.front(),
            .arguments = { tool.command.begin() + 1, tool.command.end() },
            .environment = ChildProcess::currentEnvironment(),
            .timeout = toolTimeout,
            .searchesPath = true,
            .standardInput = tool.readsText ? std::optional(text) : std::nullopt,
            .collectsOutput = collectsOutput });
        if (outcome.launchError == 0 && outcome.status == 0 && !outcome.timedOut)
            return std::move(outcome.out);
    }
    return std::nullopt;
}

// A file URI as file managers take it: every byte that is not plain in a path is escaped, the
// comma too, since it separates the elements of dbus-send's arrays.
std::string fileURI(const std::string& path)
{
    std::string uri = "file://";
    for (char character : WorkflowRunner::percentEncode(path)) {
        if (character == ',')
            uri += "%2C";
        else
            uri += character;
    }
    return uri;
}

std::string absolute(const std::string& path)
{
    std::error_code error;
    auto made = std::filesystem::absolute(path, error);
    return error ? path : made.string();
}

std::string readText(const std::optional<std::string>& standIn, const std::vector<Tool>& tools,
    const std::string& what)
{
    if (standIn)
        return *standIn;
    if (auto text = runFirst(tools, {}, true))
        return *text;
    warn("Could not read " + what
        + ": none of wl-paste, xclip and xsel could; the run goes on with empty text.");
    return {};
}

} // namespace

TerminalEnvironment::TerminalEnvironment(
    std::optional<std::string> clipboard, std::optional<std::string> selection)
    : m_clipboard(std::move(clipboard))
    , m_selection(std::move(selection))
{
}

void TerminalEnvironment::openURL(const std::string& url)
{
    m_record.openURL(url);
    if (!runFirst({ { .command = { "xdg-open", url } } }))
        warn("Could not open " + url + ": xdg-open is missing or failed.");
}

void TerminalEnvironment::openFile(
    const std::string& path, const std::optional<std::string>& appBundleID)
{
    m_record.openFile(path, appBundleID);
    // An application that is not installed leaves the file to its default application.
    if (appBundleID && runFirst({ { .command = { "gtk-launch", *appBundleID, absolute(path) } } }))
        return;
    if (!runFirst({ { .command = { "xdg-open", path } } }))
        warn("Could not open " + path + ": xdg-open is missing or failed.");
}

void TerminalEnvironment::revealInFinder(const std::string& path)
{
    m_record.revealInFinder(path);
    if (runFirst({ { .command
            = { "dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.FileManager1",
                "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1.ShowItems",
                "array:string:" + fileURI(absolute(path)), "string:" } } }))
        return;
    // Without a file manager that shows items, its folder is the next best thing.
    auto folder = std::filesystem::path(absolute(path)).parent_path().string();
    if (!runFirst({ { .command = { "xdg-open", folder } } }))
        warn("Could not reveal " + path + ": no file manager answered and xdg-open failed.");
}

void TerminalEnvironment::copyToClipboard(const std::string& text, bool paste)
{
    m_record.copyToClipboard(text, paste);
    if (!runFirst(
            {
                { .command = { "wl-copy" }, .readsText = true },
                { .command = { "xclip", "-selection", "clipboard" }, .readsText = true },
                { .command = { "xsel", "--clipboard", "--input" }, .readsText = true },
            },
            text)) {
        warn("Could not copy: none of wl-copy (Wayland), xclip and xsel (X11) could reach the "
             "clipboard.");
        return;
    }
    if (paste)
        warn("Pasting into another application needs the launcher; the text was copied instead.");
}

void TerminalEnvironment::postNotification(const std::string& title, const std::string& body)
{
    m_record.postNotification(title, body);
    if (!runFirst(
            { { .command = { "notify-send", "--app-name=Zeph Launcher", "--", title, body } } }))
        warn("Could not post the notification: notify-send is missing or failed.");
}

void TerminalEnvironment::showLargeType(const std::string& text)
{
    m_record.showLargeType(text);
    warn("Large Type needs the launcher's window; from a terminal the text is only listed.");
}

std::string TerminalEnvironment::clipboardText()
{
    return readText(m_clipboard,
        {
            { .command = { "wl-paste", "--no-newline" } },
            { .command = { "xclip", "-selection", "clipboard", "-out" } },
            { .command = { "xsel", "--clipboard", "--output" } },
        },
        "the clipboard");
}

std::string TerminalEnvironment::selectedText()
{
    return readText(m_selection,
        {
            { .command = { "wl-paste", "--primary", "--no-newline" } },
            { .command = { "xclip", "-selection", "primary", "-out" } },
            { .command = { "xsel", "--primary", "--output" } },
        },
        "the selected text");
}

} // namespace zeph::CommandLine
