#include "Workflows/WorkflowEnvironment.h"

#include "Support/Overloaded.h"

namespace zeph {

namespace Actions = EnvironmentActions;

std::string description(const EnvironmentAction& action)
{
    auto quoted = [](const std::string& text) { return "\"" + text + "\""; };
    return std::visit(
        Overloaded {
            [](const Actions::OpenURL& open) { return "Open URL " + open.url; },
            [](const Actions::OpenFile& open) {
                return "Open " + open.path + (open.appBundleID ? " with " + *open.appBundleID : "");
            },
            [](const Actions::RevealInFinder& reveal) {
                return "Reveal " + reveal.path + " in the file manager";
            },
            [&](const Actions::CopyToClipboard& copy) {
                return (copy.paste ? "Paste " : "Copy ") + quoted(copy.text);
            },
            [&](const Actions::PostNotification& notification) {
                return "Notification " + quoted(notification.title) + ": " + notification.body;
            },
            [&](const Actions::ShowLargeType& show) { return "Large Type " + quoted(show.text); },
        },
        action);
}

Json::Value toJSON(const EnvironmentAction& action)
{
    return std::visit(
        Overloaded {
            [](const Actions::OpenURL& open) {
                return Json::Value { { "action", "openURL" }, { "url", open.url } };
            },
            [](const Actions::OpenFile& open) {
                Json::Value object { { "action", "openFile" }, { "path", open.path } };
                Json::putOptional(object, "appBundleID", open.appBundleID);
                return object;
            },
            [](const Actions::RevealInFinder& reveal) {
                return Json::Value { { "action", "revealInFinder" }, { "path", reveal.path } };
            },
            [](const Actions::CopyToClipboard& copy) {
                return Json::Value { { "action", "copyToClipboard" }, { "text", copy.text },
                    { "paste", copy.paste } };
            },
            [](const Actions::PostNotification& notification) {
                return Json::Value { { "action", "postNotification" },
                    { "title", notification.title }, { "body", notification.body } };
            },
            [](const Actions::ShowLargeType& show) {
                return Json::Value { { "action", "showLargeType" }, { "text", show.text } };
            },
        },
        action);
}

} // namespace zeph
