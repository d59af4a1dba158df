#pragma once

#include "Storage/PasswordManagers.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <optional>
#include <string>
#include <vector>

namespace zeph {

// A piece of text with an optional keyword that expands wherever the user types it. Tolerant on
// reading: every key may be missing and takes its default.
struct Snippet {
    std::string id {}; // A new UUID when the key is missing, until the record is saved.
    std::string name {};
    std::string keyword {}; // Without the collection's prefix and suffix; may be empty.
    std::string content {}; // A template with placeholders.
    bool isEnabled = true;
    bool autoExpands = true; // False keeps it searchable in the launcher only.
    bool createdByAgent = false;
    bool pendingReview = false;
    bool operator==(const Snippet&) const = default;
};

// Snippets that share a keyword prefix and suffix and the applications where they stay silent.
struct SnippetCollection {
    std::string id {};
    std::string name = "Snippets";
    std::string prefix {};
    std::string suffix {};
    bool isEnabled = true;
    std::vector<std::string> excludedBundleIDs {};
    std::vector<Snippet> snippets {}; // In the user's order.
    bool operator==(const SnippetCollection&) const = default;

    // What a new user finds, and what stands in for a missing "snippets.json".
    static const SnippetCollection& starter();

    // prefix + keyword + suffix, exactly; nothing for an empty keyword.
    std::optional<std::string> triggerText(const Snippet& snippet) const;
};

// The snippet preferences, under "snippets" in the settings.
struct SnippetSettings {
    bool autoExpand = true; // The master switch of typed expansion.
    bool requireWordBoundary = false;
    bool restoreClipboard = true; // Put the previous clipboard back after pasting.
    std::vector<std::string> excludedBundleIDs = passwordManagerIDs(); // Nothing expands in these.
    std::string launcherKeyword = "snip";
    bool operator==(const SnippetSettings&) const = default;
};

inline constexpr const char* agentSnippetCollectionID = "agent-snippets";

Json::Value toJSON(const Snippet& snippet);
Json::Value toJSON(const SnippetCollection& collection);
Json::Value toJSON(const SnippetSettings& settings);
Result<Snippet> snippetFromJSON(const Json::Value& json);
Result<SnippetCollection> snippetCollectionFromJSON(const Json::Value& json);
Result<SnippetSettings> snippetSettingsFromJSON(const Json::Value& json);

// "snippets.json": an array of collections.
template <> struct DocumentCoding<std::vector<SnippetCollection>> {
    static Json::Value encode(const std::vector<SnippetCollection>& collections);
    static Result<std::vector<SnippetCollection>> decode(const Json::Value& json);
    // The same from the text, without the whole tree; nothing when the text is no array. With
    // `recordTexts`, also the text of each record, and the records known from there.
    static std::optional<Result<std::vector<SnippetCollection>>> decodeText(
        std::string_view text, Json::RecordTexts<SnippetCollection>* recordTexts = nullptr);
    // The document's text, without the whole tree.
    static Result<std::string> encodeText(const std::vector<SnippetCollection>& collections);
};

} // namespace zeph
