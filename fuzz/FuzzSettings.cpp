// Arbitrary bytes as "settings.json", "themes.json" and "knowledge.json": whatever decodes must
// come back equal from its document text, and a knowledge base built from it must keep its boosts
// below 1 and its keys within the limit. The bytes also go through the colour reader and the
// exclusion rule.
#include "Search/KnowledgeBase.h"
#include "Storage/AppSettings.h"
#include "Storage/Theme.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <string_view>

namespace {

using namespace zeph;

// Through the document text, as the store writes it and reads it back.
template <typename Document> void checkDocument(const Json::Value& json)
{
    auto document = DocumentCoding<Document>::decode(json);
    if (!document) {
        verify(!document.error().message.empty());
        return;
    }
    auto text = Json::documentText(DocumentCoding<Document>::encode(*document));
    verify(text.has_value());
    auto parsed = Json::parse(*text);
    verify(parsed.has_value());
    auto again = DocumentCoding<Document>::decode(*parsed);
    verify(again.has_value() && *again == *document);
}

void checkBoosts(const KnowledgeBase& knowledge, std::string_view query, Date now)
{
    for (auto& [id, boost] : knowledge.boosts(query, now))
        verify(boost >= 0 && boost < 1);
}

void checkKnowledge(const Json::Value& json, std::string_view text)
{
    auto snapshot = knowledgeSnapshotFromJSON(json);
    if (!snapshot)
        return;
    KnowledgeBase knowledge(*snapshot);
    verify(!knowledge.isDirty() && knowledge.snapshot() == *snapshot);
    Date now = std::chrono::sys_days(std::chrono::year(2026) / 11 / 13);
    for (auto& [key, items] : snapshot->entries) {
        checkBoosts(knowledge, key, now);
        checkBoosts(knowledge, key.substr(0, key.size() / 2), Date::max());
    }
    checkBoosts(knowledge, text, now);
    knowledge.record(text, "fuzz", now);
    checkBoosts(knowledge, text, now);
    verify(knowledge.snapshot().entries.size() <= KnowledgeBase::pruningThreshold
        || KnowledgeBase::queryKey(text).empty());
    for (auto& [id, usage] : knowledge.usageScores(now))
        verify(usage >= 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (auto color = ThemeColor::parse(bytes))
        verify(ThemeColor::parse(color->hexText()) == color);

    auto text = sanitizedUTF8(bytes.substr(0, 256));
    SearchSettings search;
    search.excludedPaths = { text, "~/" + text };
    search.isExcluded(text, "/home/fuzz");
    search.isExcluded("/home/fuzz/" + text, "/home/fuzz");
    if (text.starts_with("~"))
        verify(!expandingTilde(text, "/home/fuzz").empty());

    auto json = Json::parse(bytes);
    if (!json)
        return 0;
    checkDocument<AppSettings>(*json);
    checkDocument<ThemeLibrary>(*json);
    checkDocument<KnowledgeBase::Snapshot>(*json);
    checkKnowledge(*json, text);
    return 0;
}
