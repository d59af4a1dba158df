#include "Agents/WorkflowSpec.h"

#include "Support/Overloaded.h"
#include "Support/Text.h"
#include "Support/UUID.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <utility>

namespace zeph::WorkflowSpec {

namespace {

constexpr std::size_t maximumNodeIDLength = 64;

// How one payload field meets the agent's object: the key it is written under, another key that
// is read before it (the document's own name, or a short one), and whether it must be there.
struct FieldKey {
    const char* key = nullptr;
    const char* alternative = nullptr;
    bool isRequired = false;
};

// Each case: what its fields are when the agent leaves them out, and its fields in the agent's
// order, so that one list serves both reading and writing.
template <typename Case> struct SpecCase;

template <> struct SpecCase<NodeKind::Keyword> {
    static NodeKind::Keyword defaults() { return {}; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "keyword" }, node.keyword);
        visit(FieldKey { "title" }, node.title);
        visit(FieldKey { "subtitle" }, node.subtitle);
        visit(FieldKey { "argument" }, node.argument);
    }
};
template <> struct SpecCase<NodeKind::Hotkey> {
    static NodeKind::Hotkey defaults() { return {}; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "shortcut" }, node.combo);
        visit(FieldKey { "input" }, node.input);
    }
};
template <> struct SpecCase<NodeKind::ScriptFilter> {
    static NodeKind::ScriptFilter defaults() { return {}; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "keyword" }, node.keyword);
        visit(FieldKey { "title" }, node.title);
        visit(FieldKey { "language" }, node.language);
        visit(FieldKey { .key = "script", .isRequired = true }, node.script);
        visit(FieldKey { "argument" }, node.argument);
    }
};
template <> struct SpecCase<NodeKind::ListFilter> {
    static NodeKind::ListFilter defaults() { return {}; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "keyword" }, node.keyword);
        visit(FieldKey { "title" }, node.title);
        visit(FieldKey { "items" }, node.items);
    }
};
template <> struct SpecCase<NodeKind::OpenURL> {
    static NodeKind::OpenURL defaults() { return {}; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { .key = "url", .isRequired = true }, node.url);
    }
};
template <> struct SpecCase<NodeKind::OpenFile> {
    static NodeKind::OpenFile defaults() { return { .path = "{query}" }; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "path" }, node.path);
        visit(FieldKey { .key = "app", .alternative = "appBundleID" }, node.appBundleID);
    }
};
template <> struct SpecCase<NodeKind::RevealInFinder> {
    static NodeKind::RevealInFinder defaults() { return { .path = "{query}" }; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "path" }, node.path);
    }
};
template <> struct SpecCase<NodeKind::RunScript> {
    static NodeKind::RunScript defaults() { return {}; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "language" }, node.language);
        visit(FieldKey { .key = "script", .isRequired = true }, node.script);
    }
};
template <> struct SpecCase<NodeKind::CopyToClipboard> {
    static NodeKind::CopyToClipboard defaults() { return { .text = "{query}" }; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "text" }, node.text);
        visit(FieldKey { "paste" }, node.paste);
    }
};
template <> struct SpecCase<NodeKind::Notification> {
    static NodeKind::Notification defaults()
    {
        return { .title = "Zeph Launcher", .body = "{query}" };
    }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "title" }, node.title);
        visit(FieldKey { "body" }, node.body);
    }
};
template <> struct SpecCase<NodeKind::LargeType> {
    static NodeKind::LargeType defaults() { return { .text = "{query}" }; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "text" }, node.text);
    }
};
template <> struct SpecCase<NodeKind::SetVariable> {
    static NodeKind::SetVariable defaults() { return { .value = "{query}" }; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { .key = "name", .isRequired = true }, node.name);
        visit(FieldKey { "value" }, node.value);
    }
};
template <> struct SpecCase<NodeKind::ReplaceQuery> {
    static NodeKind::ReplaceQuery defaults() { return { .value = "{query}" }; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "value" }, node.value);
    }
};
template <> struct SpecCase<NodeKind::Condition> {
    static NodeKind::Condition defaults() { return { .value = "{query}" }; }
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit(FieldKey { "value" }, node.value);
        visit(FieldKey { .key = "operator", .alternative = "op" }, node.op);
        visit(FieldKey { "compareTo" }, node.compareTo);
    }
};

// The names an agent may use for a language, lower-cased.
constexpr std::pair<std::string_view, ScriptLanguage> languageNames[] = {
    { "zsh", ScriptLanguage::zsh },
    { "sh", ScriptLanguage::zsh },
    { "shell", ScriptLanguage::zsh },
    { "bash", ScriptLanguage::bash },
    { "python", ScriptLanguage::python3 },
    { "python3", ScriptLanguage::python3 },
    { "py", ScriptLanguage::python3 },
    { "applescript", ScriptLanguage::appleScript },
    { "osascript", ScriptLanguage::appleScript },
    { "javascript", ScriptLanguage::javaScript },
    { "jxa", ScriptLanguage::javaScript },
    { "js", ScriptLanguage::javaScript },
    { "ruby", ScriptLanguage::ruby },
    { "rb", ScriptLanguage::ruby },
    { "perl", ScriptLanguage::perl },
    { "pl", ScriptLanguage::perl },
};

constexpr std::pair<std::string_view, ConnectionModifier> modifierNames[] = {
    { "none", ConnectionModifier::none },
    { "command", ConnectionModifier::command },
    { "cmd", ConnectionModifier::command },
    { "option", ConnectionModifier::option },
    { "opt", ConnectionModifier::option },
    { "alt", ConnectionModifier::option },
    { "control", ConnectionModifier::control },
    { "ctrl", ConnectionModifier::control },
    { "shift", ConnectionModifier::shift },
};

template <typename Value, std::size_t count>
std::optional<Value> lookUp(
    const std::pair<std::string_view, Value> (&names)[count], std::string_view name)
{
    for (auto& [candidate, value] : names) {
        if (candidate == name)
            return value;
    }
    return std::nullopt;
}

// Every name of an enumeration, joined with ", ".
template <typename Enum> std::string allNames()
{
    std::string text;
    for (auto& [value, name] : enumNames<Enum>)
        text.append(text.empty() ? "" : ", ").append(name);
    return text;
}

std::string typeList()
{
    std::string text;
    for (auto& kind : NodeKind::nodeTemplates())
        text.append(text.empty() ? "" : ", ").append(kind.typeKey());
    return text;
}

bool isBlank(const std::string& text)
{
    return trimmedWhitespaceAndNewlines(sanitizedUTF8(text)).empty();
}

std::optional<std::string> textAt(const Json::Value& object, const char* key)
{
    if (!object.is_object())
        return std::nullopt;
    auto found = object.find(key);
    if (found == object.end())
        return std::nullopt;
    return lenientText(*found);
}

// Reads the fields of one node from the agent's object into a payload that starts at its defaults;
// the first problem is kept, and later fields are then left alone.
struct FieldReader {
    const Json::Value& object;
    const std::string& label;
    std::string_view type;
    std::optional<Error> error {};

    std::optional<std::string> given(const FieldKey& field) const
    {
        if (field.alternative) {
            if (auto text = textAt(object, field.alternative))
                return text;
        }
        return textAt(object, field.key);
    }

    void operator()(const FieldKey& field, std::string& value)
    {
        auto text = given(field);
        if (field.isRequired && (!text || isBlank(*text)))
            return fail(label + " (" + std::string(type) + ") needs a \"" + field.key + "\".");
        if (text)
            value = std::move(*text);
    }
    void operator()(const FieldKey& field, bool& value)
    {
        auto found = object.find(field.key);
        value = found != object.end() && lenientBool(*found);
    }
    void operator()(const FieldKey& field, ArgumentRequirement& value)
    {
        auto text = given(field);
        if (!text)
            return;
        if (auto argument = fromString<ArgumentRequirement>(lowercasedText(*text)))
            value = *argument;
        else
            fail(label + ": argument must be required, optional or none.");
    }
    void operator()(const FieldKey& field, HotkeyInput& value)
    {
        auto text = given(field);
        if (!text)
            return;
        auto lowered = lowercasedText(*text);
        for (auto& [input, name] : enumNames<HotkeyInput>) {
            if (lowercasedText(name) == lowered) {
                value = input;
                return;
            }
        }
        fail(label + ": input must be none, selectedText or clipboard.");
    }
    void operator()(const FieldKey& field, ScriptLanguage& value)
    {
        auto text = given(field);
        if (!text)
            return;
        if (auto language = lookUp(languageNames, lowercasedText(*text)))
            value = *language;
        else
            fail(label + ": unknown language \"" + *text
                + "\". Use one of: " + allNames<ScriptLanguage>() + ".");
    }
    // Operator names are exact: "Equals" is no operator.
    void operator()(const FieldKey& field, ConditionOperator& value)
    {
        auto text = given(field);
        if (!text)
            return;
        if (auto op = fromString<ConditionOperator>(*text))
            value = *op;
        else
            fail(label + ": unknown operator \"" + *text
                + "\". Use one of: " + allNames<ConditionOperator>() + ".");
    }
    void operator()(const FieldKey& field, std::optional<KeyCombo>& value)
    {
        auto text = given(field);
        if (!text || isBlank(*text))
            return;
        auto combo = KeyCombo::parse(*text);
        if (!combo || !combo->isValid())
            return fail(label + ": can't read shortcut \"" + *text
                + "\". Write it like \"cmd+shift+k\" or \"ctrl+opt+space\"; it needs a "
                  "modifier unless it's an F-key.");
        value = *combo;
    }
    void operator()(const FieldKey& field, std::vector<ListFilterItem>& value)
    {
        auto found = object.find(field.key);
        if (found == object.end() || !found->is_array())
            return;
        for (auto& item : *found) {
            if (!item.is_object())
                continue;
            auto title = textAt(item, "title").value_or("");
            auto argument = textAt(item, "argument");
            if (!argument)
                argument = textAt(item, "arg");
            value.push_back({ .id = makeUUID(),
                .title = title,
                .subtitle = textAt(item, "subtitle").value_or(""),
                .argument = argument.value_or(title) });
        }
    }

    void fail(std::string message)
    {
        if (!error)
            error = Error { std::move(message) };
    }
};

// Visits every field, stopping at the first problem.
template <typename Case> Result<NodeKind> readCase(FieldReader& reader)
{
    auto node = SpecCase<Case>::defaults();
    SpecCase<Case>::forEachField(node, [&](const FieldKey& field, auto& value) {
        if (!reader.error)
            reader(field, value);
    });
    if (reader.error)
        return *reader.error;
    return NodeKind(std::move(node));
}

Result<NodeKind> readKind(const Json::Value& object, const std::string& label)
{
    auto type = textAt(object, "type");
    if (!type)
        return Error { label + " needs a \"type\". Types: " + typeList() + "." };
    auto lowered = lowercasedText(*type);
    std::optional<Result<NodeKind>> kind;
    auto tryCase = [&]<std::size_t index>(std::integral_constant<std::size_t, index>) {
        using Case = std::variant_alternative_t<index, NodeKind::Payload>;
        auto typeKey = NodeKind::nodeTemplates()[index].typeKey();
        if (lowercasedText(typeKey) != lowered)
            return false;
        FieldReader reader { .object = object, .label = label, .type = typeKey };
        kind = readCase<Case>(reader);
        return true;
    };
    [&]<std::size_t... index>(std::index_sequence<index...>)
    {
        (tryCase(std::integral_constant<std::size_t, index> {}) || ...);
    }
    (std::make_index_sequence<std::variant_size_v<NodeKind::Payload>> {});
    if (!kind)
        return Error { label + ": unknown type \"" + *type + "\". Types: " + typeList() + "." };
    return std::move(*kind);
}

// Writes the fields of one node under the agent's names.
struct FieldWriter {
    Json::Value& object;

    void operator()(const FieldKey& field, const std::string& value) { object[field.key] = value; }
    void operator()(const FieldKey& field, bool value) { object[field.key] = value; }
    template <typename Enum>
    requires std::is_enum_v<Enum>
    void operator()(const FieldKey& field, Enum value) { object[field.key] = toString(value); }
    void operator()(const FieldKey& field, const std::optional<KeyCombo>& combo)
    {
        object[field.key] = combo ? combo->textForm() : "";
    }
    void operator()(const FieldKey& field, const std::vector<ListFilterItem>& items)
    {
        auto& array = object[field.key] = Json::Value::array();
        for (auto& item : items)
            array.push_back({ { "title", item.title }, { "subtitle", item.subtitle },
                { "argument", item.argument } });
    }
};

bool isValidNodeID(std::string_view id)
{
    if (id.empty() || id.size() > maximumNodeIDLength)
        return false;
    for (char character : id) {
        bool isAllowed = (character >= 'a' && character <= 'z')
            || (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9')
            || character == '-' || character == '_';
        if (!isAllowed)
            return false;
    }
    return true;
}

std::string printedText(const Json::Value& value)
{
    if (value.is_string())
        return value.get<std::string>();
    return value.dump(-1, ' ', false, Json::Value::error_handler_t::replace);
}

// The nodes, with each agent id remembered for the connections: the first node that claimed an id
// keeps it.
Result<std::map<std::string, std::string>> readNodes(const Json::Value& nodes, Workflow& workflow)
{
    std::map<std::string, std::string> givenIDs;
    std::set<std::string> usedIDs;
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        auto& object = nodes[index];
        auto number = std::to_string(index + 1);
        auto given = textAt(object, "id").value_or("");
        auto id = given;
        if (!isValidNodeID(id) || usedIDs.contains(id))
            id = "node" + number;
        if (usedIDs.contains(id))
            id = makeUUID();
        usedIDs.insert(id);
        if (!given.empty())
            givenIDs.try_emplace(given, id);
        auto kind = readKind(object, "Node " + number);
        if (!kind)
            return kind.error();
        workflow.nodes.push_back({ .id = std::move(id),
            .kind = std::move(*kind),
            .note = textAt(object, "label").value_or("") });
    }
    return givenIDs;
}

std::optional<Error> readConnections(const Json::Value& connections,
    const std::map<std::string, std::string>& givenIDs, Workflow& workflow)
{
    if (!connections.is_array())
        return std::nullopt;
    auto resolve = [&](const std::string& given) -> std::optional<std::string> {
        if (auto found = givenIDs.find(given); found != givenIDs.end())
            return found->second;
        if (workflow.nodeWithID(given))
            return given;
        return std::nullopt;
    };
    for (std::size_t index = 0; index < connections.size(); ++index) {
        auto& object = connections[index];
        auto prefix = "Connection " + std::to_string(index + 1);
        auto from = textAt(object, "from");
        auto to = textAt(object, "to");
        if (!from || !to || from->empty() || to->empty())
            return Error { prefix + " needs \"from\" and \"to\" node ids." };
        auto fromID = resolve(*from);
        if (!fromID)
            return Error { prefix + ": no node with id \"" + *from + "\"." };
        auto toID = resolve(*to);
        if (!toID)
            return Error { prefix + ": no node with id \"" + *to + "\"." };
        auto port = textAt(object, "port").value_or("");
        if (port.empty())
            port = "out";
        auto modifierText = textAt(object, "modifier").value_or("none");
        auto modifier = lookUp(modifierNames, lowercasedText(modifierText));
        if (!modifier)
            return Error { prefix + ": unknown modifier \"" + modifierText
                + "\" (none, command, option, control, shift)." };
        if (!workflow.addConnection(*fromID, port, *toID, *modifier))
            return Error { prefix + " (" + *from + " → " + *to + ", port " + port
                + ") is not allowed: it may point into an input node, use a port the node doesn't "
                  "have (only conditions have \"true\"/\"false\"), repeat another connection, or "
                  "create a loop." };
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> lenientText(const Json::Value& value)
{
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_number())
        return value.dump();
    return std::nullopt;
}

bool lenientBool(const Json::Value& value)
{
    if (value.is_boolean())
        return value.get<bool>();
    if (!value.is_string())
        return false;
    auto text = lowercasedText(value.get<std::string>());
    return text == "true" || text == "yes" || text == "1";
}

Result<Workflow> parse(const Json::Value& object, std::optional<std::string> id)
{
    auto name = object.find("name");
    if (name == object.end() || !name->is_string() || isBlank(name->get<std::string>()))
        return Error { "A workflow needs a \"name\"." };
    auto nodes = object.find("nodes");
    if (nodes == object.end() || !nodes->is_array() || nodes->empty()
        || !std::all_of(nodes->begin(), nodes->end(), [](auto& node) { return node.is_object(); }))
        return Error { "A workflow needs a non-empty \"nodes\" array." };

    Workflow workflow { .id = id ? std::move(*id) : makeUUID(),
        .name = std::string(trimmedWhitespaceAndNewlines(name->get_ref<const std::string&>())),
        .summary = textAt(object, "summary").value_or("") };
    if (auto variables = object.find("variables");
        variables != object.end() && variables->is_object()) {
        for (auto& [key, value] : variables->items())
            workflow.variables.emplace(key, printedText(value));
    }
    auto givenIDs = readNodes(*nodes, workflow);
    if (!givenIDs)
        return givenIDs.error();
    if (auto connections = object.find("connections"); connections != object.end()) {
        if (auto error = readConnections(*connections, *givenIDs, workflow))
            return *error;
    }
    layOut(workflow);
    return workflow;
}

Json::Value toSpec(const Workflow& workflow)
{
    Json::Value nodes = Json::Value::array();
    for (auto& node : workflow.nodes) {
        Json::Value object { { "id", node.id }, { "type", node.kind.typeKey() } };
        std::visit(
            [&](const auto& payload) {
                using Case = std::remove_cvref_t<decltype(payload)>;
                SpecCase<Case>::forEachField(payload, FieldWriter { object });
            },
            node.kind.payload);
        if (!node.note.empty())
            object["label"] = node.note;
        nodes.push_back(std::move(object));
    }
    Json::Value connections = Json::Value::array();
    for (auto& connection : workflow.connections) {
        Json::Value object { { "from", connection.from }, { "to", connection.to } };
        if (connection.fromPort != "out")
            object["port"] = connection.fromPort;
        if (connection.modifier != ConnectionModifier::none)
            object["modifier"] = toString(connection.modifier);
        connections.push_back(std::move(object));
    }
    Json::Value spec {
        { "id", workflow.id },
        { "name", workflow.name },
        { "summary", workflow.summary },
        { "enabled", workflow.isEnabled },
        { "createdByAgent", workflow.createdByAgent },
        { "pendingReview", workflow.pendingReview },
        { "nodes", std::move(nodes) },
        { "connections", std::move(connections) },
    };
    if (!workflow.variables.empty())
        spec["variables"] = workflow.variables;
    return spec;
}

void layOut(Workflow& workflow)
{
    auto count = workflow.nodes.size();
    std::map<std::string_view, std::size_t> indexOf;
    for (std::size_t index = 0; index < count; ++index)
        indexOf.try_emplace(workflow.nodes[index].id, index);
    std::vector<std::vector<std::size_t>> targets(count);
    std::vector<std::size_t> incoming(count, 0);
    for (auto& connection : workflow.connections) {
        auto from = indexOf.find(connection.from);
        auto to = indexOf.find(connection.to);
        if (from == indexOf.end() || to == indexOf.end())
            continue;
        targets[from->second].push_back(to->second);
        ++incoming[to->second];
    }
    // Taking the nodes in an order where every node comes after all that lead into it gives each
    // its longest distance from an input in one pass. Nodes on a cycle, which only a hand-edited
    // file can hold, are never taken and keep what their other sources gave them.
    std::vector<std::optional<std::size_t>> columns(count);
    std::deque<std::size_t> ready;
    for (std::size_t index = 0; index < count; ++index) {
        if (workflow.nodes[index].kind.category() == NodeKind::Category::input)
            columns[index] = 0;
        if (incoming[index] == 0)
            ready.push_back(index);
    }
    while (!ready.empty()) {
        auto index = ready.front();
        ready.pop_front();
        for (auto target : targets[index]) {
            if (columns[index] && (!columns[target] || *columns[target] <= *columns[index]))
                columns[target] = *columns[index] + 1;
            if (--incoming[target] == 0)
                ready.push_back(target);
        }
    }
    std::map<std::size_t, std::size_t> rowsUsed;
    for (std::size_t index = 0; index < count; ++index) {
        auto column = columns[index].value_or(0);
        auto row = rowsUsed[column]++;
        workflow.nodes[index].position = { .x = 260.0 * static_cast<double>(column) + 60,
            .y = 120.0 * static_cast<double>(row) + 60 };
    }
}

} // namespace zeph::WorkflowSpec
