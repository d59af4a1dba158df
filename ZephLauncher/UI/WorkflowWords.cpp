#include "UI/WorkflowWords.h"

namespace zeph::WorkflowWords {

namespace {

QString text(std::string_view value)
{
    return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
}

template <typename Enum> std::vector<std::string_view> namesOf()
{
    std::vector<std::string_view> names;
    for (const auto& [value, name] : enumNames<Enum>)
        names.push_back(name);
    return names;
}

} // namespace

std::vector<std::string_view> choicesFor(std::string_view key)
{
    if (key == "argument")
        return namesOf<ArgumentRequirement>();
    if (key == "language")
        return namesOf<ScriptLanguage>();
    if (key == "input")
        return namesOf<HotkeyInput>();
    if (key == "op")
        return namesOf<ConditionOperator>();
    return {};
}

QString heldKey(ConnectionModifier modifier)
{
    switch (modifier) {
    case ConnectionModifier::none:
        return QStringLiteral("none");
    case ConnectionModifier::command:
        return QStringLiteral("Ctrl");
    case ConnectionModifier::option:
        return QStringLiteral("Alt");
    case ConnectionModifier::control:
        return QStringLiteral("Super");
    case ConnectionModifier::shift:
        return QStringLiteral("Shift");
    }
    return {};
}

QString nodeLabel(const WorkflowNode& node)
{
    auto label = text(node.kind.displayName());
    std::string detail;
    if (const auto* keyword = node.kind.keyword(); keyword && !keyword->empty()) {
        detail = *keyword;
    } else {
        // Held here: a temporary in the loop's head would be gone before the loop runs.
        auto document = toJSON(node.kind);
        for (const auto& [key, value] : document.begin().value().items()) {
            if (value.is_string() && !value.get_ref<const std::string&>().empty()
                && choicesFor(key).empty()) {
                detail = value.get<std::string>();
                break;
            }
        }
    }
    if (!detail.empty()) {
        auto shown = text(detail).simplified();
        label += QStringLiteral(" “%1”").arg(shown.size() > 40 ? shown.left(39) + u'…' : shown);
    }
    if (!node.note.empty())
        label += QStringLiteral(" — ") + text(node.note);
    return label;
}

QString nodeLabel(const Workflow& workflow, const std::string& nodeID)
{
    const auto* node = workflow.nodeWithID(nodeID);
    return node ? nodeLabel(*node) : text(nodeID);
}

QString summaryHTML(const Workflow& workflow)
{
    auto html = QStringLiteral("<h3>%1</h3>").arg(text(workflow.name).toHtmlEscaped());
    if (!workflow.summary.empty())
        html += QStringLiteral("<p>%1</p>").arg(text(workflow.summary).toHtmlEscaped());
    html += QStringLiteral("<p><b>Nodes</b></p><ul>");
    for (const auto& node : workflow.nodes)
        html += QStringLiteral("<li>%1</li>").arg(nodeLabel(node).toHtmlEscaped());
    html += QStringLiteral("</ul>");
    if (!workflow.connections.empty()) {
        html += QStringLiteral("<p><b>Connections</b></p><ul>");
        for (const auto& connection : workflow.connections) {
            auto line = nodeLabel(workflow, connection.from) + QStringLiteral(" → ")
                + nodeLabel(workflow, connection.to);
            if (connection.fromPort != "out")
                line += QStringLiteral(" (when %1)").arg(text(connection.fromPort));
            if (connection.modifier != ConnectionModifier::none)
                line += QStringLiteral(" with %1 held").arg(heldKey(connection.modifier));
            html += QStringLiteral("<li>%1</li>").arg(line.toHtmlEscaped());
        }
        html += QStringLiteral("</ul>");
    }
    return html;
}

} // namespace zeph::WorkflowWords
