#include "Workflows/DryRunEnvironment.h"

namespace zeph {

DryRunEnvironment::DryRunEnvironment(std::string clipboard, std::string selection)
    : m_clipboard(std::move(clipboard))
    , m_selection(std::move(selection))
{
}

void DryRunEnvironment::openURL(const std::string& url)
{
    record(EnvironmentActions::OpenURL { .url = url });
}

void DryRunEnvironment::openFile(
    const std::string& path, const std::optional<std::string>& appBundleID)
{
    record(EnvironmentActions::OpenFile { .path = path, .appBundleID = appBundleID });
}

void DryRunEnvironment::revealInFinder(const std::string& path)
{
    record(EnvironmentActions::RevealInFinder { .path = path });
}

void DryRunEnvironment::copyToClipboard(const std::string& text, bool paste)
{
    record(EnvironmentActions::CopyToClipboard { .text = text, .paste = paste });
}

void DryRunEnvironment::postNotification(const std::string& title, const std::string& body)
{
    record(EnvironmentActions::PostNotification { .title = title, .body = body });
}

void DryRunEnvironment::showLargeType(const std::string& text)
{
    record(EnvironmentActions::ShowLargeType { .text = text });
}

std::vector<EnvironmentAction> DryRunEnvironment::actions() const
{
    std::lock_guard guard(m_lock);
    return m_actions;
}

void DryRunEnvironment::record(EnvironmentAction action)
{
    std::lock_guard guard(m_lock);
    m_actions.push_back(std::move(action));
}

} // namespace zeph
