#include "Workflows/WorkflowTemplate.h"

#include "Support/UUID.h"
#include "Support/Verify.h"

#include <initializer_list>

namespace zeph::WorkflowTemplate {

namespace {

struct Edge {
    std::size_t from = 0;
    std::size_t to = 0;
    ConnectionModifier modifier = ConnectionModifier::none;
};

// Nodes get fresh ids; edges name nodes by their place in the list and go through addConnection
// like the editor's.
Workflow example(std::string id, std::string name, std::string summary,
    std::initializer_list<WorkflowNode> nodes, std::initializer_list<Edge> edges)
{
    Workflow workflow {
        .id = std::move(id), .name = std::move(name), .summary = std::move(summary), .nodes = nodes
    };
    for (auto& node : workflow.nodes)
        node.id = makeUUID();
    for (auto& edge : edges) {
        verify(workflow.addConnection(
            workflow.nodes[edge.from].id, "out", workflow.nodes[edge.to].id, edge.modifier));
    }
    return workflow;
}

// Python, for its JSON writer: file names may hold any character, and each must come out escaped.
constexpr const char* recentDownloadsScript
    = R"(# Lists the 20 newest files in ~/Downloads as Alfred-style JSON.
import json
import os
import sys


def run(argv):
    query = (argv[0] if argv else "").lower()
    folder = os.path.expanduser("~/Downloads")
    try:
        names = os.listdir(folder)
    except OSError:
        names = []
    files = []
    for name in names:
        if name.startswith(".") or query not in name.lower():
            continue
        path = os.path.join(folder, name)
        try:
            files.append((os.path.getmtime(path), name, path))
        except OSError:
            continue
    files.sort(key=lambda entry: entry[0], reverse=True)
    items = [
        {"title": name, "subtitle": path, "arg": path, "icon": {"type": "fileicon", "path": path}}
        for _, name, path in files[:20]
    ]
    return json.dumps({"items": items})


print(run(sys.argv[1:])))";

} // namespace

const std::vector<Workflow>& examples()
{
    using Kind = NodeKind;
    static const std::vector<Workflow> workflows {
        example("example-uuid", "Copy a UUID", "Generates a UUID and copies it",
            {
                { .position = { 60, 80 },
                    .kind = Kind::Keyword { .keyword = "uuid",
                        .title = "Copy a new UUID",
                        .subtitle = "Generate a UUID and copy it",
                        .argument = ArgumentRequirement::none } },
                { .position = { 330, 80 },
                    .kind = Kind::RunScript { .language = ScriptLanguage::zsh,
                        .script = "uuidgen | tr -d '\\n'" } },
                { .position = { 600, 40 }, .kind = Kind::CopyToClipboard { .text = "{query}" } },
                { .position = { 600, 140 },
                    .kind = Kind::Notification { .title = "UUID copied", .body = "{query}" } },
            },
            { { 0, 1 }, { 1, 2 }, { 1, 3 } }),
        example("example-github", "GitHub Repository", "Open a GitHub repository by owner/name",
            {
                { .position = { 60, 100 },
                    .kind = Kind::Keyword { .keyword = "repo",
                        .title = "Open GitHub repository",
                        .subtitle = "owner/name — hold Ctrl to open its issues",
                        .argument = ArgumentRequirement::required } },
                { .position = { 340, 40 }, .kind = Kind::OpenURL { "https://github.com/{query}" } },
                { .position = { 340, 170 },
                    .kind = Kind::OpenURL { "https://github.com/{query}/issues" } },
            },
            { { 0, 1 }, { 0, 2, ConnectionModifier::command } }),
        example("example-vscode", "Open in VS Code", "Open a folder or file in Visual Studio Code",
            {
                { .position = { 60, 80 },
                    .kind = Kind::Keyword { .keyword = "code",
                        .title = "Open in VS Code",
                        .subtitle = "Path to a folder or file",
                        .argument = ArgumentRequirement::required } },
                // Applications are named by their desktop file id.
                { .position = { 340, 80 },
                    .kind = Kind::OpenFile { .path = "{query}", .appBundleID = "code" } },
            },
            { { 0, 1 } }),
        example("example-downloads", "Recent Downloads", "Browse the newest files in Downloads",
            {
                { .position = { 60, 100 },
                    .kind = Kind::ScriptFilter { .keyword = "dl",
                        .title = "Recent Downloads",
                        .language = ScriptLanguage::python3,
                        .script = recentDownloadsScript,
                        .argument = ArgumentRequirement::optional } },
                { .position = { 340, 40 }, .kind = Kind::OpenFile { .path = "{query}" } },
                { .position = { 340, 170 }, .kind = Kind::RevealInFinder { .path = "{query}" } },
            },
            { { 0, 1 }, { 0, 2, ConnectionModifier::command } }),
    };
    return workflows;
}

} // namespace zeph::WorkflowTemplate
