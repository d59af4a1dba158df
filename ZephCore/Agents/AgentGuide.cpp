#include "Agents/AgentGuide.h"

#include "Workflows/NodeKind.h"

#include <array>
#include <string_view>

namespace zeph {

namespace {

struct NodeReference {
    std::string_view fields {};
    std::string_view description {};
};

// In case order, as the palette lists the kinds.
constexpr auto nodeReferences = std::to_array<NodeReference>({
    { "keyword, title, subtitle, argument (required|optional|none)",
        "Starts the workflow when you type the keyword in the launcher. Text typed after the "
        "keyword becomes {query}." },
    { "shortcut (e.g. \"cmd+shift+k\"), input (none|selectedText|clipboard)",
        "Starts the workflow from a global shortcut. The selected text or clipboard can become "
        "{query}." },
    { "keyword, title, language, script, argument",
        "Runs the script as you type (query is $1) and shows the Alfred-style JSON items it "
        "prints. The chosen item's arg becomes {query}." },
    { "keyword, title, items: [{title, subtitle, argument}]",
        "Shows a fixed list to pick from; the chosen item's argument becomes {query}." },
    { "url", "Opens a URL; {query} is URL-encoded." },
    { "path, app (desktop file id, optional)",
        "Opens a file or folder, optionally with a specific app." },
    { "path", "Reveals a file in the file manager." },
    { "language, script",
        "Runs a script with {query} as $1 and workflow variables as environment variables. Its "
        "output becomes the next {query}." },
    { "text, paste (bool)", "Copies text, and optionally pastes it into the frontmost app." },
    { "title, body", "Posts a desktop notification." },
    { "text", "Shows text in huge type across the screen." },
    { "name, value", "Sets a variable later nodes can use as {var:name}." },
    { "value", "Replaces {query} for the nodes after it." },
    { "value, "
      "operator (equals|notEquals|contains|startsWith|endsWith|matchesRegex|isEmpty|isNotEmpty), "
      "compareTo",
        "Branches: connect from port \"true\" or \"false\"." },
});
static_assert(nodeReferences.size() == std::variant_size_v<NodeKind::Payload>);

constexpr std::string_view introduction = R"(# Zeph Launcher
Zeph Launcher is a keyboard launcher for the desktop: a hot key opens a search field that finds
applications, files, snippets and workflows. Agents can install workflows (keywords, hot keys and
filters wired to actions and scripts) and text snippets that expand as the user types.
)";

constexpr std::string_view rulesAndSpec = R"(## Review rules
- Everything you create or change is installed DISABLED and marked for review. The user
  approves it in Zeph Launcher → Settings → Workflows / Snippets. Tell the user to do so.
- You can read all workflows and snippets, but only update or delete ones you created.

## Workflow spec (create_workflow / update_workflow / validate_workflow / test_workflow)
{
  "name": "Time Zones",
  "summary": "Current time in a city",
  "variables": {"format": "HH:mm"},
  "nodes": [
    {"id": "input", "type": "scriptFilter", "keyword": "tz", "title": "Time in…", "language": "zsh",
     "script": "…prints Alfred JSON…"},
    {"id": "copy", "type": "copyToClipboard", "text": "{query}"}
  ],
  "connections": [{"from": "input", "to": "copy"}]
}
- Node "id"s are your own labels (letters, digits, - and _) used by "connections".
- A connection may have "port" ("true"/"false", only from condition nodes) and "modifier"
  (none, command, option, control, shift): that branch runs only when the user holds the key
  while choosing the result; connections without a modifier run otherwise.
- Inputs start a run; nothing connects INTO an input. Loops are not allowed.
- Keywords must be single words and should not clash with other workflows (see list_workflows).
- Positions on the editor canvas are laid out automatically.

## How data flows
- {query} is the current text: what was typed after the keyword, the chosen filter item's arg,
  the hotkey's selected text/clipboard, or the output of the last Run Script node.
- {var:name} reads a workflow variable (from "variables" or a Set Variable node).
- Fields are templates: {query} and {var:name} are replaced before the node runs.
  In openURL, {query} is URL-encoded (slashes kept).
)";

constexpr std::string_view scriptsBeforeFolder = R"(## Scripts
- Languages: zsh (default), bash, python3, appleScript, javaScript (JXA), ruby, perl. appleScript and javaScript run only on macOS.
- The query is the first argument ($1 in shell, sys.argv[1] in Python, ARGV[0] in Ruby,
  $ARGV[0] in Perl), also in env var $zeph_query.
  Workflow variables are environment variables. PATH includes /opt/homebrew/bin and /usr/local/bin.
- Scripts run in the workflow's own folder: )";

constexpr std::string_view rest = R"(
- A Run Script node's stdout (trailing newlines trimmed) becomes the next {query}.
- Script filters print Alfred's JSON format to stdout:
  {"items": [{"uid": "1", "title": "Title", "subtitle": "Sub", "arg": "value",
              "valid": true, "autocomplete": "text", "icon": {"path": "/path/to/icon.png"},
              "variables": {"k": "v"}, "mods": {"cmd": {"arg": "other", "subtitle": "…"}}}],
   "variables": {"k": "v"}, "rerun": 1.0}
  Existing Alfred script filters usually work unchanged.
- Prefer bash or zsh with standard tools (curl, date, xdg-open), or python3 for JSON. Escape JSON output properly (python3's json.dumps is easiest).

## Testing
test_workflow runs scripts for real and reports what actions WOULD run (nothing is opened, copied
or pasted). Test with realistic queries and fix problems before telling the user it is ready.

## Snippets (create_snippet / update_snippet / delete_snippet / preview_snippet)
- New snippets go into the "From AI Agents" collection, whose prefix is ";": keyword "addr" is
  typed as ";addr" anywhere on the computer and replaced with the content.
- Placeholders: {date} {time} {datetime} (styles: short, medium, long, full, or a format like
  {date:yyyy-MM-dd}), {isodate}, {weekday}, {month}, {year}, {clipboard}, {cursor} (where the caret
  ends up), {fill:Name} or {fill:Name=default} (asks the user before inserting), {uuid}.
  {{ and }} insert literal braces.
)";

std::string nodeReference()
{
    constexpr std::pair<NodeKind::Category, std::string_view> groups[] = {
        { NodeKind::Category::input, "Input nodes:" },
        { NodeKind::Category::action, "Action nodes:" },
        { NodeKind::Category::utility, "Utility nodes:" },
    };
    std::string text;
    auto& kinds = NodeKind::nodeTemplates();
    for (auto& [category, header] : groups) {
        if (!text.empty())
            text += '\n';
        text.append(header).append("\n");
        for (std::size_t index = 0; index < kinds.size(); ++index) {
            if (kinds[index].category() != category)
                continue;
            auto& reference = nodeReferences[index];
            text.append("- ").append(kinds[index].typeKey()).append(" — fields: ");
            text.append(reference.fields).append("\n  ").append(reference.description).append("\n");
        }
    }
    return text;
}

std::string folderText(const std::filesystem::path& folder, const std::optional<std::string>& home)
{
    auto text = folder.string();
    if (home && !home->empty() && text.starts_with(*home)
        && (text.size() == home->size() || text[home->size()] == '/'))
        return "~" + text.substr(home->size());
    return text;
}

} // namespace

std::string agentGuide(
    const std::filesystem::path& workflowsFolder, const std::optional<std::string>& home)
{
    std::string guide;
    guide.append(introduction).append("\n");
    guide.append(rulesAndSpec).append("\n");
    guide.append(nodeReference()).append("\n");
    guide.append(scriptsBeforeFolder).append(folderText(workflowsFolder, home)).append("/<id>/.");
    guide.append(rest);
    return guide;
}

} // namespace zeph
