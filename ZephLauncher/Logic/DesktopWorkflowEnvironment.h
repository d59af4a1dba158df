#pragma once

#include "Logic/Clipboard.h"
#include "Logic/DesktopServices.h"
#include "Logic/MainLoop.h"
#include "Logic/TextInserter.h"
#include "Workflows/WorkflowEnvironment.h"

#include <functional>
#include <memory>

namespace zeph {

// Where a workflow run touches the desktop. A run goes on another thread; each action is handed
// to the main loop, and what a run may read (the clipboard's text, the selection) is read on the
// main thread before it starts.
class DesktopWorkflowEnvironment final : public WorkflowEnvironment {
public:
    struct Services {
        DesktopServices& desktop;
        Notifier& notifier;
        Clipboard& clipboard;
        TextInserter& inserter;
        MainLoop& loop;
        // Read at each paste: whether the clipboard comes back afterwards.
        std::function<bool()> restoreClipboard;
    };

    DesktopWorkflowEnvironment(
        Services services, std::string clipboardText, std::string selectedText);

    void openURL(const std::string& url) override;
    void openFile(const std::string& path, const std::optional<std::string>& appBundleID) override;
    void revealInFinder(const std::string& path) override;
    void copyToClipboard(const std::string& text, bool paste) override;
    void postNotification(const std::string& title, const std::string& body) override;
    void showLargeType(const std::string& text) override;
    std::string clipboardText() override { return m_clipboardText; }
    std::string selectedText() override { return m_selectedText; }

private:
    void onMainThread(std::function<void(Services&)> action);

    std::shared_ptr<Services> m_services;
    std::string m_clipboardText;
    std::string m_selectedText;
};

} // namespace zeph
