#include "Snippets/Snippet.h"

#include "Support/UUID.h"

namespace zeph {

const SnippetCollection& SnippetCollection::starter()
{
    static const SnippetCollection collection {
        .id = "starter",
        .name = "Everyday",
        .prefix = ";",
        .snippets = {
            { .id = "starter-date", .name = "Today's date", .keyword = "date", .content = "{date:d MMMM yyyy}" },
            { .id = "starter-iso", .name = "ISO date", .keyword = "iso", .content = "{isodate}" },
            { .id = "starter-time", .name = "Current time", .keyword = "time", .content = "{time:short}" },
            { .id = "starter-shrug", .name = "Shrug", .keyword = "shrug", .content = "¯\\_(ツ)_/¯" },
            { .id = "starter-uuid", .name = "New UUID", .keyword = "uuid", .content = "{uuid}" },
            { .id = "starter-reply",
                .name = "Thanks reply",
                .keyword = "ty",
                .content = "Hi {fill:Name},\n\nThanks for getting in touch. {cursor}\n\nCheers" },
        },
    };
    return collection;
}

std::optional<std::string> SnippetCollection::triggerText(const Snippet& snippet) const
{
    if (snippet.keyword.empty())
        return std::nullopt;
    return prefix + snippet.keyword + suffix;
}

Json::Value toJSON(const Snippet& snippet)
{
    // Key by key, as workflows are: a braced list copies every value.
    Json::Value json;
    json["id"] = snippet.id;
    json["name"] = snippet.name;
    json["keyword"] = snippet.keyword;
    json["content"] = snippet.content;
    json["isEnabled"] = snippet.isEnabled;
    json["autoExpands"] = snippet.autoExpands;
    json["createdByAgent"] = snippet.createdByAgent;
    json["pendingReview"] = snippet.pendingReview;
    return json;
}

Json::Value toJSON(const SnippetCollection& collection)
{
    Json::Value json;
    json["id"] = collection.id;
    json["name"] = collection.name;
    json["prefix"] = collection.prefix;
    json["suffix"] = collection.suffix;
    json["isEnabled"] = collection.isEnabled;
    json["excludedBundleIDs"] = collection.excludedBundleIDs;
    auto& snippets = json["snippets"] = Json::Value::array();
    for (auto& snippet : collection.snippets)
        snippets.push_back(toJSON(snippet));
    return json;
}

Json::Value toJSON(const SnippetSettings& settings)
{
    return {
        { "autoExpand", settings.autoExpand },
        { "requireWordBoundary", settings.requireWordBoundary },
        { "restoreClipboard", settings.restoreClipboard },
        { "excludedBundleIDs", settings.excludedBundleIDs },
        { "launcherKeyword", settings.launcherKeyword },
    };
}

Result<Snippet> snippetFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A snippet must be a JSON object." };
    Snippet snippet;
    if (auto error = Json::firstError({
            Json::readTolerant(json, "id", snippet.id),
            Json::readTolerant(json, "name", snippet.name),
            Json::readTolerant(json, "keyword", snippet.keyword),
            Json::readTolerant(json, "content", snippet.content),
            Json::readTolerant(json, "isEnabled", snippet.isEnabled),
            Json::readTolerant(json, "autoExpands", snippet.autoExpands),
            Json::readTolerant(json, "createdByAgent", snippet.createdByAgent),
            Json::readTolerant(json, "pendingReview", snippet.pendingReview),
        }))
        return *error;
    if (Json::isAbsent(json, "id"))
        snippet.id = makeUUID();
    return snippet;
}

Result<SnippetCollection> snippetCollectionFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A snippet collection must be a JSON object." };
    SnippetCollection collection;
    if (auto error = Json::firstError({
            Json::readTolerant(json, "id", collection.id),
            Json::readTolerant(json, "name", collection.name),
            Json::readTolerant(json, "prefix", collection.prefix),
            Json::readTolerant(json, "suffix", collection.suffix),
            Json::readTolerant(json, "isEnabled", collection.isEnabled),
            Json::readTolerant(json, "excludedBundleIDs", collection.excludedBundleIDs),
        }))
        return *error;
    if (Json::isAbsent(json, "id"))
        collection.id = makeUUID();
    if (auto snippets = json.find("snippets"); snippets != json.end() && !snippets->is_null()) {
        auto decoded = Json::decodeArray<Snippet>(*snippets, "snippet", snippetFromJSON);
        if (!decoded)
            return decoded.error();
        collection.snippets = std::move(*decoded);
    }
    return collection;
}

Result<SnippetSettings> snippetSettingsFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "The snippet settings must be a JSON object." };
    SnippetSettings settings;
    if (auto error = Json::firstError({
            Json::readTolerant(json, "autoExpand", settings.autoExpand),
            Json::readTolerant(json, "requireWordBoundary", settings.requireWordBoundary),
            Json::readTolerant(json, "restoreClipboard", settings.restoreClipboard),
            Json::readTolerant(json, "excludedBundleIDs", settings.excludedBundleIDs),
            Json::readTolerant(json, "launcherKeyword", settings.launcherKeyword),
        }))
        return *error;
    return settings;
}

Json::Value DocumentCoding<std::vector<SnippetCollection>>::encode(
    const std::vector<SnippetCollection>& collections)
{
    Json::Value json = Json::Value::array();
    for (auto& collection : collections)
        json.push_back(toJSON(collection));
    return json;
}

Result<std::vector<SnippetCollection>> DocumentCoding<std::vector<SnippetCollection>>::decode(
    const Json::Value& json)
{
    return Json::decodeArray<SnippetCollection>(json, "collection", snippetCollectionFromJSON);
}

Result<std::string> DocumentCoding<std::vector<SnippetCollection>>::encodeText(
    const std::vector<SnippetCollection>& collections)
{
    return Json::arrayDocumentText(
        collections.size(), [&](std::size_t index) { return toJSON(collections[index]); });
}

std::optional<Result<std::vector<SnippetCollection>>>
DocumentCoding<std::vector<SnippetCollection>>::decodeText(
    std::string_view text, Json::RecordTexts<SnippetCollection>* recordTexts)
{
    return Json::decodeArrayText<SnippetCollection>(
        text, "collection", snippetCollectionFromJSON, recordTexts);
}

} // namespace zeph
