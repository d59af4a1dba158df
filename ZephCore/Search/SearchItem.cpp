#include "Search/SearchItem.h"

namespace zeph {

double rankingBonus(ItemKind kind)
{
    switch (kind) {
    case ItemKind::application:
        return 0.08;
    case ItemKind::systemSetting:
    case ItemKind::systemCommand:
    case ItemKind::workflow:
        return 0.05;
    case ItemKind::snippet:
        return 0.03;
    case ItemKind::folder:
        return 0.02;
    case ItemKind::file:
    case ItemKind::calculator:
    case ItemKind::webSearch:
    case ItemKind::clipboard:
    case ItemKind::action:
        return 0;
    }
    return 0;
}

Json::Value toJSON(const SearchItem& item)
{
    Json::Value json {
        { "id", item.id },
        { "title", item.title },
        { "subtitle", item.subtitle },
        { "kind", toString(item.kind) },
        { "keywords", item.keywords },
        { "isValid", item.isValid },
    };
    Json::putOptional(json, "path", item.path);
    Json::putOptional(json, "argument", item.argument);
    Json::putOptional(json, "autocomplete", item.autocomplete);
    Json::putOptional(json, "symbolName", item.symbolName);
    return json;
}

Result<SearchItem> searchItemFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A search item must be a JSON object." };
    SearchItem item;
    auto take = [&](auto result, auto& field) {
        if (!result)
            return std::optional(result.error());
        field = std::move(*result);
        return std::optional<Error> {};
    };
    for (auto error : {
             take(Json::requiredString(json, "id"), item.id),
             take(Json::requiredString(json, "title"), item.title),
             take(Json::requiredString(json, "subtitle"), item.subtitle),
             take(Json::requiredEnum<ItemKind>(json, "kind"), item.kind),
             take(Json::optionalString(json, "path"), item.path),
             take(Json::optionalString(json, "argument"), item.argument),
             take(Json::requiredStrings(json, "keywords"), item.keywords),
             take(Json::optionalString(json, "autocomplete"), item.autocomplete),
             take(Json::optionalString(json, "symbolName"), item.symbolName),
             take(Json::requiredBool(json, "isValid"), item.isValid),
         }) {
        if (error)
            return *error;
    }
    return item;
}

IndexedItem makeIndexedItem(SearchItem item)
{
    IndexedItem indexed { .titleText = makeMatchText(item.title) };
    for (auto& keyword : item.keywords)
        indexed.keywordTexts.push_back(makeMatchText(keyword));
    indexed.item = std::move(item);
    return indexed;
}

Json::Value toJSON(const RankedResult& result)
{
    return {
        { "item", toJSON(result.item) },
        { "score", result.score },
        { "matchScore", result.matchScore },
        { "learnedBoost", result.learnedBoost },
        { "highlight", result.highlight },
    };
}

} // namespace zeph
