#include "Workflows/NodeKind.h"

#include <array>
#include <utility>

namespace zeph {

namespace {

using Category = NodeKind::Category;

template <typename Enum, std::size_t count>
std::string_view lookUp(const std::array<std::string_view, count>& names, Enum value)
{
    static_assert(count == enumNames<Enum>.size());
    return names[static_cast<std::size_t>(value)];
}

// What the editor and the agents know of each case, beside its payload.
struct CaseFacts {
    std::string_view typeKey {};
    Category category = Category::input;
    std::string_view displayName {};
    std::string_view symbolName {};
};

// Each case: its facts, and its payload fields in order, so that one list serves both encoding
// and decoding.
template <typename Case> struct CaseCoding;

template <> struct CaseCoding<NodeKind::Keyword> {
    static constexpr CaseFacts facts { "keyword", Category::input, "Keyword", "textformat" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("keyword", node.keyword);
        visit("title", node.title);
        visit("subtitle", node.subtitle);
        visit("argument", node.argument);
    }
};
template <> struct CaseCoding<NodeKind::Hotkey> {
    static constexpr CaseFacts facts { "hotkey", Category::input, "Hotkey", "keyboard" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("combo", node.combo);
        visit("input", node.input);
    }
};
template <> struct CaseCoding<NodeKind::ScriptFilter> {
    static constexpr CaseFacts facts { "scriptFilter", Category::input, "Script Filter",
        "line.3.horizontal.decrease.circle" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("keyword", node.keyword);
        visit("title", node.title);
        visit("language", node.language);
        visit("script", node.script);
        visit("argument", node.argument);
    }
};
template <> struct CaseCoding<NodeKind::ListFilter> {
    static constexpr CaseFacts facts { "listFilter", Category::input, "List Filter",
        "list.bullet" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("keyword", node.keyword);
        visit("title", node.title);
        visit("items", node.items);
    }
};
template <> struct CaseCoding<NodeKind::OpenURL> {
    static constexpr CaseFacts facts { "openURL", Category::action, "Open URL", "globe" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("url", node.url);
    }
};
template <> struct CaseCoding<NodeKind::OpenFile> {
    static constexpr CaseFacts facts { "openFile", Category::action, "Open File", "doc" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("path", node.path);
        visit("appBundleID", node.appBundleID);
    }
};
template <> struct CaseCoding<NodeKind::RevealInFinder> {
    // The name stays an identifier; what the user reads is the desktop's own wording.
    static constexpr CaseFacts facts { "revealInFinder", Category::action, "Reveal in File Manager",
        "folder" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("path", node.path);
    }
};
template <> struct CaseCoding<NodeKind::RunScript> {
    static constexpr CaseFacts facts { "runScript", Category::action, "Run Script", "terminal" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("language", node.language);
        visit("script", node.script);
    }
};
template <> struct CaseCoding<NodeKind::CopyToClipboard> {
    static constexpr CaseFacts facts { "copyToClipboard", Category::action, "Copy to Clipboard",
        "doc.on.clipboard" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("text", node.text);
        visit("paste", node.paste);
    }
};
template <> struct CaseCoding<NodeKind::Notification> {
    static constexpr CaseFacts facts { "notification", Category::action, "Post Notification",
        "bell" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("title", node.title);
        visit("body", node.body);
    }
};
template <> struct CaseCoding<NodeKind::LargeType> {
    static constexpr CaseFacts facts { "largeType", Category::action, "Large Type",
        "textformat.size.larger" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("text", node.text);
    }
};
template <> struct CaseCoding<NodeKind::SetVariable> {
    static constexpr CaseFacts facts { "setVariable", Category::utility, "Set Variable",
        "x.squareroot" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("name", node.name);
        visit("value", node.value);
    }
};
template <> struct CaseCoding<NodeKind::ReplaceQuery> {
    static constexpr CaseFacts facts { "replaceQuery", Category::utility, "Replace Query",
        "arrow.triangle.2.circlepath" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("value", node.value);
    }
};
template <> struct CaseCoding<NodeKind::Condition> {
    static constexpr CaseFacts facts { "condition", Category::utility, "Condition",
        "arrow.triangle.branch" };
    template <typename Node, typename Visit> static void forEachField(Node& node, Visit&& visit)
    {
        visit("value", node.value);
        visit("op", node.op);
        visit("compareTo", node.compareTo);
    }
};

const CaseFacts& facts(const NodeKind& kind)
{
    return std::visit(
        [](auto& node) -> const CaseFacts& {
            return CaseCoding<std::remove_cvref_t<decltype(node)>>::facts;
        },
        kind.payload);
}

// Payload fields to JSON: a missing optional value stays a missing key.
struct FieldEncoder {
    Json::Value& object;

    void operator()(const char* key, const std::string& value) { object[key] = value; }
    void operator()(const char* key, bool value) { object[key] = value; }
    template <typename Enum>
    requires std::is_enum_v<Enum>
    void operator()(const char* key, Enum value) { object[key] = toString(value); }
    void operator()(const char* key, const std::optional<KeyCombo>& combo)
    {
        if (combo)
            object[key] = toJSON(*combo);
    }
    void operator()(const char* key, const std::vector<ListFilterItem>& items)
    {
        auto& array = object[key] = Json::Value::array();
        for (auto& item : items)
            array.push_back(toJSON(item));
    }
};

// Payload fields from JSON, strictly: every key is required but an optional one, and the first
// error is kept.
struct FieldDecoder {
    const Json::Value& object;
    std::optional<Error> error {};

    void operator()(const char* key, std::string& field) { keep(Json::read(object, key, field)); }
    void operator()(const char* key, bool& field) { keep(Json::read(object, key, field)); }
    template <typename Enum>
    requires std::is_enum_v<Enum>
    void operator()(const char* key, Enum& field)
    {
        keep(Json::readInto(Json::requiredEnum<Enum>(object, key), field));
    }
    void operator()(const char* key, std::optional<KeyCombo>& field)
    {
        if (error || Json::isAbsent(object, key))
            return;
        auto combo = keyComboFromJSON(object[key]);
        if (!combo)
            return keep(Error { std::string(key) + ": " + combo.error().message });
        field = *combo;
    }
    void operator()(const char* key, std::vector<ListFilterItem>& field)
    {
        if (error)
            return;
        auto found = object.find(key);
        if (found == object.end())
            return keep(Json::fieldError(object, key, "an array"));
        auto items = Json::decodeArray<ListFilterItem>(*found, "item", listFilterItemFromJSON);
        if (!items)
            return keep(Error { std::string(key) + ": " + items.error().message });
        field = std::move(*items);
    }

    void keep(std::optional<Error> found)
    {
        if (!error)
            error = std::move(found);
    }
};

// Tries each case in order; the one whose type key is `typeKey` decodes `payload`.
template <std::size_t... index>
std::optional<Result<NodeKind>> decodeCase(
    std::string_view typeKey, const Json::Value& payload, std::index_sequence<index...>)
{
    std::optional<Result<NodeKind>> decoded;
    auto tryCase = [&]<std::size_t caseIndex>(std::integral_constant<std::size_t, caseIndex>) {
        using Case = std::variant_alternative_t<caseIndex, NodeKind::Payload>;
        using Coding = CaseCoding<Case>;
        if (Coding::facts.typeKey != typeKey)
            return false;
        auto prefix = std::string(typeKey) + ": ";
        if (!payload.is_object()) {
            decoded = Error { prefix + "The settings of the node must be a JSON object." };
            return true;
        }
        Case node;
        FieldDecoder decoder { .object = payload };
        Coding::forEachField(node, decoder);
        if (decoder.error)
            decoded = Error { prefix + decoder.error->message };
        else
            decoded = NodeKind(std::move(node));
        return true;
    };
    (tryCase(std::integral_constant<std::size_t, index> {}) || ...);
    return decoded;
}

} // namespace

std::string_view displayName(ScriptLanguage language)
{
    return lookUp(std::to_array<std::string_view>({ "zsh", "bash", "Python 3", "AppleScript",
                      "JavaScript (JXA)", "Ruby", "Perl" }),
        language);
}

std::string_view displayName(ArgumentRequirement argument)
{
    return lookUp(std::to_array<std::string_view>(
                      { "Argument required", "Argument optional", "No argument" }),
        argument);
}

std::string_view displayName(HotkeyInput input)
{
    return lookUp(
        std::to_array<std::string_view>({ "No input", "Selected text", "Clipboard text" }), input);
}

std::string_view displayName(ConditionOperator operator_)
{
    return lookUp(std::to_array<std::string_view>({ "is equal to", "is not equal to", "contains",
                      "starts with", "ends with", "matches regex", "is empty", "is not empty" }),
        operator_);
}

std::string_view sectionTitle(NodeKind::Category category)
{
    return lookUp(std::to_array<std::string_view>({ "Inputs", "Actions", "Utilities" }), category);
}

NodeKind::Category NodeKind::category() const
{
    return facts(*this).category;
}

std::string_view NodeKind::typeKey() const
{
    return facts(*this).typeKey;
}

std::string_view NodeKind::displayName() const
{
    return facts(*this).displayName;
}

std::string_view NodeKind::symbolName() const
{
    return facts(*this).symbolName;
}

std::span<const std::string_view> NodeKind::outputPorts() const
{
    static constexpr std::array<std::string_view, 1> out { "out" };
    static constexpr std::array<std::string_view, 2> branches { "true", "false" };
    if (get<Condition>())
        return branches;
    return out;
}

const std::string* NodeKind::keyword() const
{
    if (auto* node = get<Keyword>())
        return &node->keyword;
    if (auto* node = get<ScriptFilter>())
        return &node->keyword;
    if (auto* node = get<ListFilter>())
        return &node->keyword;
    return nullptr;
}

const std::vector<NodeKind>& NodeKind::nodeTemplates()
{
    static const std::vector<NodeKind> templates {
        Keyword {},
        Hotkey {},
        ScriptFilter { .script = "# Print Alfred-style JSON. $1 is the query.\n"
                                 "cat <<JSON\n"
                                 "{\"items\": [\n"
                                 "  {\"title\": \"You typed: $1\", \"subtitle\": \"Return to "
                                 "continue\", \"arg\": \"$1\"}\n"
                                 "]}\n"
                                 "JSON" },
        ListFilter {},
        OpenURL { .url = "https://example.com/search?q={query}" },
        OpenFile {},
        RevealInFinder { .path = "{query}" },
        RunScript { .script = "echo -n \"$1\"" },
        CopyToClipboard { .text = "{query}" },
        Notification { .title = "Zeph Launcher", .body = "{query}" },
        LargeType { .text = "{query}" },
        SetVariable { .name = "name", .value = "{query}" },
        ReplaceQuery { .value = "{query}" },
        Condition { .value = "{query}" },
    };
    return templates;
}

Json::Value toJSON(const NodeKind& kind)
{
    return std::visit(
        [](auto& node) {
            using Coding = CaseCoding<std::remove_cvref_t<decltype(node)>>;
            Json::Value json;
            auto& payload = json[std::string(Coding::facts.typeKey)] = Json::Value::object();
            Coding::forEachField(node, FieldEncoder { .object = payload });
            return json;
        },
        kind.payload);
}

Result<NodeKind> nodeKindFromJSON(const Json::Value& json)
{
    // Keys that name no kind are not counted, so an unknown kind reads as no kind at all.
    auto wrongCount = [] { return Error { "Invalid number of keys found, expected one." }; };
    if (!json.is_object())
        return Error { "The kind must be a JSON object with one key, the node's type." };
    std::optional<Result<NodeKind>> found;
    constexpr auto caseCount = std::variant_size_v<NodeKind::Payload>;
    for (auto& [key, payload] : json.items()) {
        auto decoded = decodeCase(key, payload, std::make_index_sequence<caseCount> {});
        if (!decoded)
            continue;
        if (found)
            return wrongCount();
        found = std::move(decoded);
    }
    if (!found)
        return wrongCount();
    return std::move(*found);
}

Json::Value toJSON(const ListFilterItem& item)
{
    Json::Value json;
    json["id"] = item.id;
    json["title"] = item.title;
    json["subtitle"] = item.subtitle;
    json["argument"] = item.argument;
    return json;
}

Result<ListFilterItem> listFilterItemFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A list filter item must be a JSON object." };
    ListFilterItem item;
    if (auto error = Json::firstError({
            Json::read(json, "id", item.id),
            Json::read(json, "title", item.title),
            Json::read(json, "subtitle", item.subtitle),
            Json::read(json, "argument", item.argument),
        }))
        return *error;
    return item;
}

} // namespace zeph
