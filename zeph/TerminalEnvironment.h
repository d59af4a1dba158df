#pragma once

#include "Workflows/DryRunEnvironment.h"
#include "Workflows/WorkflowEnvironment.h"

#include <optional>
#include <string>
#include <vector>

namespace zeph::CommandLine {

// What a workflow run can do from a terminal, through the desktop's command-line tools: xdg-open
// opens, the file manager's D-Bus service reveals, wl-copy, xclip or xsel copy and read the
// clipboard, notify-send notifies. What no tool can do here (pasting into another application,
// Large Type) or what fails is said on standard error. Each action is also recorded, to be shown.
class TerminalEnvironment final : public WorkflowEnvironment {
public:
    // Stand-ins for the clipboard and the selection, else the desktop's are read.
    TerminalEnvironment(std::optional<std::string> clipboard, std::optional<std::string> selection);

    void openURL(const std::string& url) override;
    void openFile(const std::string& path, const std::optional<std::string>& appBundleID) override;
    void revealInFinder(const std::string& path) override;
    void copyToClipboard(const std::string& text, bool paste) override;
    void postNotification(const std::string& title, const std::string& body) override;
    void showLargeType(const std::string& text) override;
    std::string clipboardText() override;
    std::string selectedText() override;

    // What the run asked for, in order, whether or not it could be done.
    std::vector<EnvironmentAction> actions() const { return m_record.actions(); }

private:
    DryRunEnvironment m_record;
    std::optional<std::string> m_clipboard;
    std::optional<std::string> m_selection;
};

} // namespace zeph::CommandLine
