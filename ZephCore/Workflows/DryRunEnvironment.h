#pragma once

#include "Workflows/WorkflowEnvironment.h"

#include <mutex>
#include <string>
#include <vector>

namespace zeph {

// The environment of a test run: it performs nothing and records what would have been done. A run
// may go on on any thread, so the record is locked.
class DryRunEnvironment final : public WorkflowEnvironment {
public:
    // What stands in for the clipboard and the selection, which a test run does not read.
    explicit DryRunEnvironment(
        std::string clipboard = "‹clipboard›", std::string selection = "‹selected text›");

    void openURL(const std::string& url) override;
    void openFile(const std::string& path, const std::optional<std::string>& appBundleID) override;
    void revealInFinder(const std::string& path) override;
    void copyToClipboard(const std::string& text, bool paste) override;
    void postNotification(const std::string& title, const std::string& body) override;
    void showLargeType(const std::string& text) override;
    std::string clipboardText() override { return m_clipboard; }
    std::string selectedText() override { return m_selection; }

    // What the run would have done, in order.
    std::vector<EnvironmentAction> actions() const;

private:
    void record(EnvironmentAction action);

    const std::string m_clipboard;
    const std::string m_selection;
    mutable std::mutex m_lock;
    std::vector<EnvironmentAction> m_actions;
};

} // namespace zeph
