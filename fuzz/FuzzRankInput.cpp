// Arbitrary bytes as the JSON array of search items that `zeph rank` reads: decoding fails with a
// message or yields items, and ranking them keeps the result order and the limit.
#include "Search/Ranker.h"
#include "Support/Verify.h"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto json = zeph::Json::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!json || !json->is_array())
        return 0;
    std::vector<zeph::IndexedItem> items;
    for (auto& element : *json) {
        auto item = zeph::searchItemFromJSON(element);
        if (!item) {
            zeph::verify(!item.error().message.empty());
            continue;
        }
        zeph::verify(zeph::searchItemFromJSON(zeph::toJSON(*item)).value_or(zeph::SearchItem {}) == *item);
        items.push_back(zeph::makeIndexedItem(std::move(*item)));
    }
    for (auto query : { "a", "sa", "a b", "é" }) {
        auto results = zeph::Ranker {}.rank(items, zeph::makeQueryText(query), {}, 3);
        zeph::verify(results.size() <= 3);
        for (std::size_t index = 1; index < results.size(); ++index)
            zeph::verify(!zeph::Ranker::precedes(results[index], results[index - 1]));
    }
    return 0;
}
