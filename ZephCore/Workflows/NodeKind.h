#pragma once

#include "Storage/KeyCombo.h"
#include "Support/EnumTable.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zeph {

// The interpreters a script may name; which executable runs each is the script runner's table.
enum class ScriptLanguage { zsh, bash, python3, appleScript, javaScript, ruby, perl };
template <>
inline constexpr auto
    enumNames<ScriptLanguage> = std::to_array<std::pair<ScriptLanguage, std::string_view>>({
        { ScriptLanguage::zsh, "zsh" },
        { ScriptLanguage::bash, "bash" },
        { ScriptLanguage::python3, "python3" },
        { ScriptLanguage::appleScript, "appleScript" },
        { ScriptLanguage::javaScript, "javaScript" },
        { ScriptLanguage::ruby, "ruby" },
        { ScriptLanguage::perl, "perl" },
    });
static_assert(isCompleteEnumTable<ScriptLanguage>());

// Whether an input takes the text typed after its keyword.
enum class ArgumentRequirement { required, optional, none };
template <>
inline constexpr auto enumNames<ArgumentRequirement> = std::to_array<
    std::pair<ArgumentRequirement, std::string_view>>({
    { ArgumentRequirement::required, "required" },
    { ArgumentRequirement::optional, "optional" },
    { ArgumentRequirement::none, "none" },
});
static_assert(isCompleteEnumTable<ArgumentRequirement>());

// What a hot key start hands on as the query.
enum class HotkeyInput { none, selectedText, clipboard };
template <>
inline constexpr auto
    enumNames<HotkeyInput> = std::to_array<std::pair<HotkeyInput, std::string_view>>({
        { HotkeyInput::none, "none" },
        { HotkeyInput::selectedText, "selectedText" },
        { HotkeyInput::clipboard, "clipboard" },
    });
static_assert(isCompleteEnumTable<HotkeyInput>());

// The tests of a condition node; what each means is the runner's.
enum class ConditionOperator {
    equals,
    notEquals,
    contains,
    startsWith,
    endsWith,
    matchesRegex,
    isEmpty,
    isNotEmpty,
};
template <>
inline constexpr auto
    enumNames<ConditionOperator> = std::to_array<std::pair<ConditionOperator, std::string_view>>({
        { ConditionOperator::equals, "equals" },
        { ConditionOperator::notEquals, "notEquals" },
        { ConditionOperator::contains, "contains" },
        { ConditionOperator::startsWith, "startsWith" },
        { ConditionOperator::endsWith, "endsWith" },
        { ConditionOperator::matchesRegex, "matchesRegex" },
        { ConditionOperator::isEmpty, "isEmpty" },
        { ConditionOperator::isNotEmpty, "isNotEmpty" },
    });
static_assert(isCompleteEnumTable<ConditionOperator>());

// The names the editor shows: "Python 3", "Argument required", "Clipboard text", "is equal to".
std::string_view displayName(ScriptLanguage language);
std::string_view displayName(ArgumentRequirement argument);
std::string_view displayName(HotkeyInput input);
std::string_view displayName(ConditionOperator operator_);

// One fixed row of a list filter; strict on reading, every key required.
struct ListFilterItem {
    std::string id {};
    std::string title {};
    std::string subtitle {};
    std::string argument {}; // Becomes {query} when the row is chosen.
    bool operator==(const ListFilterItem&) const = default;
};

// The cases of NodeKind, each with the settings of its kind. They sit outside NodeKind only so that
// their default member values are usable inside it; name them as NodeKind::Keyword and so on.
namespace NodeKinds {

// Inputs start a run.
struct Keyword {
    std::string keyword {};
    std::string title {};
    std::string subtitle {};
    ArgumentRequirement argument = ArgumentRequirement::optional;
    bool operator==(const Keyword&) const = default;
};
struct Hotkey {
    std::optional<KeyCombo> combo {}; // None until the user records a shortcut.
    HotkeyInput input = HotkeyInput::none;
    bool operator==(const Hotkey&) const = default;
};
struct ScriptFilter {
    std::string keyword {};
    std::string title {};
    ScriptLanguage language = ScriptLanguage::zsh;
    std::string script {}; // Prints script filter JSON; the query is its first argument.
    ArgumentRequirement argument = ArgumentRequirement::optional;
    bool operator==(const ScriptFilter&) const = default;
};
struct ListFilter {
    std::string keyword {};
    std::string title {};
    std::vector<ListFilterItem> items {};
    bool operator==(const ListFilter&) const = default;
};

// Actions do something outside the launcher. Their texts may hold "{query}" and "{var:name}".
struct OpenURL {
    std::string url {};
    bool operator==(const OpenURL&) const = default;
};
struct OpenFile {
    std::string path {};
    std::string appBundleID {}; // A desktop file id; empty opens with the default application.
    bool operator==(const OpenFile&) const = default;
};
struct RevealInFinder {
    std::string path {};
    bool operator==(const RevealInFinder&) const = default;
};
struct RunScript {
    ScriptLanguage language = ScriptLanguage::zsh;
    std::string script {}; // Run as it stands: no placeholders; its output is the new query.
    bool operator==(const RunScript&) const = default;
};
struct CopyToClipboard {
    std::string text {};
    bool paste = false;
    bool operator==(const CopyToClipboard&) const = default;
};
struct Notification {
    std::string title {};
    std::string body {};
    bool operator==(const Notification&) const = default;
};
struct LargeType {
    std::string text {};
    bool operator==(const LargeType&) const = default;
};

// Utilities change the run's data or branch it.
struct SetVariable {
    std::string name {};
    std::string value {};
    bool operator==(const SetVariable&) const = default;
};
struct ReplaceQuery {
    std::string value {};
    bool operator==(const ReplaceQuery&) const = default;
};
struct Condition {
    std::string value {};
    ConditionOperator op = ConditionOperator::isNotEmpty;
    std::string compareTo {};
    bool operator==(const Condition&) const = default;
};

} // namespace NodeKinds

// What a workflow node does, with the settings of that kind. The cases keep their order: it is the
// order of the editor's palette and of the agents' list of types.
struct NodeKind {
    enum class Category { input, action, utility };

    using Keyword = NodeKinds::Keyword;
    using Hotkey = NodeKinds::Hotkey;
    using ScriptFilter = NodeKinds::ScriptFilter;
    using ListFilter = NodeKinds::ListFilter;
    using OpenURL = NodeKinds::OpenURL;
    using OpenFile = NodeKinds::OpenFile;
    using RevealInFinder = NodeKinds::RevealInFinder;
    using RunScript = NodeKinds::RunScript;
    using CopyToClipboard = NodeKinds::CopyToClipboard;
    using Notification = NodeKinds::Notification;
    using LargeType = NodeKinds::LargeType;
    using SetVariable = NodeKinds::SetVariable;
    using ReplaceQuery = NodeKinds::ReplaceQuery;
    using Condition = NodeKinds::Condition;

    using Payload = std::variant<Keyword, Hotkey, ScriptFilter, ListFilter, OpenURL, OpenFile,
        RevealInFinder, RunScript, CopyToClipboard, Notification, LargeType, SetVariable,
        ReplaceQuery, Condition>;

    Payload payload {};

    NodeKind() = default;
    // Any case makes a kind: `WorkflowNode { .kind = NodeKind::OpenURL { .url = "…" } }`.
    template <typename Case>
    requires(!std::is_same_v<std::remove_cvref_t<Case>,
                 NodeKind> && std::is_constructible_v<Payload, Case&&>) NodeKind(Case&& value)
        : payload(std::forward<Case>(value))
    {
    }
    bool operator==(const NodeKind&) const = default;

    // The case's payload, or nothing when the kind is another case.
    template <typename Case> const Case* get() const { return std::get_if<Case>(&payload); }
    template <typename Case> Case* get() { return std::get_if<Case>(&payload); }

    Category category() const;
    // The case name, the word the documents and the agents use: "keyword", "openURL", ….
    std::string_view typeKey() const;
    std::string_view displayName() const;
    // A stable icon identifier; the desktop maps it to an icon of its theme.
    std::string_view symbolName() const;
    // "true" and "false" for a condition, "out" for every other kind. Connections go into a node as
    // a whole, so there are no input ports.
    std::span<const std::string_view> outputPorts() const;
    // The payload's keyword for keyword, script filter and list filter inputs; nothing otherwise,
    // hot keys included.
    const std::string* keyword() const;

    // One default kind of each case, in case order: what the palette makes new nodes from.
    static const std::vector<NodeKind>& nodeTemplates();
};

template <>
inline constexpr auto
    enumNames<NodeKind::Category> = std::to_array<std::pair<NodeKind::Category, std::string_view>>({
        { NodeKind::Category::input, "input" },
        { NodeKind::Category::action, "action" },
        { NodeKind::Category::utility, "utility" },
    });
static_assert(isCompleteEnumTable<NodeKind::Category>());

// "Inputs", "Actions", "Utilities": the palette's section titles.
std::string_view sectionTitle(NodeKind::Category category);

// The payload under its case name, `{"openURL": {"url": "…"}}`. Every payload key is written and
// required, except a hot key's missing combo, which is left out.
Json::Value toJSON(const NodeKind& kind);
Result<NodeKind> nodeKindFromJSON(const Json::Value& json);

Json::Value toJSON(const ListFilterItem& item);
Result<ListFilterItem> listFilterItemFromJSON(const Json::Value& json);

} // namespace zeph
