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
    if (auto error = Json::firstError({
            Json::read(json, "id", item.id),
            Json::read(json, "title", item.title),
            Json::read(json, "subtitle", item.subtitle),
            Json::readInto(Json::requiredEnum<ItemKind>(json, "kind"), item.kind),
            Json::read(json, "path", item.path),
            Json::read(json, "argument", item.argument),
            Json::read(json, "keywords", item.keywords),
            Json::read(json, "autocomplete", item.autocomplete),
            Json::read(json, "symbolName", item.symbolName),
            Json::read(json, "isValid", item.isValid),
        }))
        return *error;
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
