#include "Logic/DesktopWorkflowEnvironment.h"

namespace zeph {

DesktopWorkflowEnvironment::DesktopWorkflowEnvironment(
    Services services, std::string clipboardText, std::string selectedText)
    : m_services(std::make_shared<Services>(std::move(services)))
    , m_clipboardText(std::move(clipboardText))
    , m_selectedText(std::move(selectedText))
{
}

void DesktopWorkflowEnvironment::onMainThread(std::function<void(Services&)> action)
{
    m_services->loop.post(
        [services = m_services, action = std::move(action)] { action(*services); });
}

void DesktopWorkflowEnvironment::openURL(const std::string& url)
{
    onMainThread([url](Services& services) { services.desktop.openURL(url); });
}

void DesktopWorkflowEnvironment::openFile(
    const std::string& path, const std::optional<std::string>& appBundleID)
{
    onMainThread(
        [path, appBundleID](Services& services) { services.desktop.openFile(path, appBundleID); });
}

void DesktopWorkflowEnvironment::revealInFinder(const std::string& path)
{
    onMainThread([path](Services& services) { services.desktop.reveal(path); });
}

void DesktopWorkflowEnvironment::copyToClipboard(const std::string& text, bool paste)
{
    onMainThread([text, paste](Services& services) {
        if (paste)
            services.inserter.insert(text, services.restoreClipboard());
        else
            services.clipboard.setContents(ClipboardContents::text(text));
    });
}

void DesktopWorkflowEnvironment::postNotification(const std::string& title, const std::string& body)
{
    onMainThread([title, body](Services& services) { services.notifier.notify(title, body); });
}

void DesktopWorkflowEnvironment::showLargeType(const std::string& text)
{
    onMainThread([text](Services& services) { services.desktop.showLargeType(text); });
}

} // namespace zeph
