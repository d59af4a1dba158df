#pragma once

#include "Support/Json.h"

#include <optional>
#include <string>
#include <variant>

namespace zeph {

// What a run asks of the desktop, one case for each operation of WorkflowEnvironment that acts.
namespace EnvironmentActions {

struct OpenURL {
    std::string url {};
    bool operator==(const OpenURL&) const = default;
};
struct OpenFile {
    std::string path {};
    std::optional<std::string> appBundleID {}; // A desktop file id; none opens with the default.
    bool operator==(const OpenFile&) const = default;
};
struct RevealInFinder {
    std::string path {};
    bool operator==(const RevealInFinder&) const = default;
};
struct CopyToClipboard {
    std::string text {};
    bool paste = false; // Into the frontmost application, after copying.
    bool operator==(const CopyToClipboard&) const = default;
};
struct PostNotification {
    std::string title {};
    std::string body {};
    bool operator==(const PostNotification&) const = default;
};
struct ShowLargeType {
    std::string text {};
    bool operator==(const ShowLargeType&) const = default;
};

} // namespace EnvironmentActions

using EnvironmentAction = std::variant<EnvironmentActions::OpenURL, EnvironmentActions::OpenFile,
    EnvironmentActions::RevealInFinder, EnvironmentActions::CopyToClipboard,
    EnvironmentActions::PostNotification, EnvironmentActions::ShowLargeType>;

// The action in words, as a dry run reports it: "Open URL <url>", "Open <path> with <app>",
// "Reveal <path> in the file manager", "Copy \"<text>\"" or "Paste \"<text>\"",
// "Notification \"<title>\": <body>", "Large Type \"<text>\"".
std::string description(const EnvironmentAction& action);
// The operation and its arguments under their names: {"action": "openURL", "url": "…"}.
Json::Value toJSON(const EnvironmentAction& action);

// Everything a workflow run does outside the launcher goes through this, so that the desktop, a
// terminal or a dry run can each stand behind it. Nothing here fails towards the run: a failure is
// the environment's to report.
class WorkflowEnvironment {
public:
    virtual ~WorkflowEnvironment() = default;

    virtual void openURL(const std::string& url) = 0;
    virtual void openFile(const std::string& path, const std::optional<std::string>& appBundleID)
        = 0;
    virtual void revealInFinder(const std::string& path) = 0;
    virtual void copyToClipboard(const std::string& text, bool paste) = 0;
    virtual void postNotification(const std::string& title, const std::string& body) = 0;
    virtual void showLargeType(const std::string& text) = 0;
    // The clipboard's text, or empty text.
    virtual std::string clipboardText() = 0;
    // The text selected in the frontmost application, or empty text.
    virtual std::string selectedText() = 0;
};

} // namespace zeph
