#include "Search/KnowledgeBase.h"

#include "Search/MatchText.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

namespace zeph {

namespace {

// The key of a query, and in `ends` the byte offset after each of its characters, so that its
// beginnings can be looked up one character at a time.
std::string keyOf(std::string_view query, std::vector<std::size_t>* ends)
{
    auto prepared = makeQueryText(query);
    std::string key;
    key.reserve(prepared.compact.size());
    for (auto character : prepared.compact) {
        if (character < 0x80)
            key.push_back(static_cast<char>(character));
        else
            key += characterText(character);
        if (ends)
            ends->push_back(key.size());
    }
    return key;
}

// Whether a character of `text` (valid UTF-8) ends at `offset`: a stored key that merely shares
// bytes with a query, half of a flag or a letter without its accent, does not begin with it.
bool isCharacterBoundary(std::string_view text, std::size_t offset)
{
    if (offset == 0 || offset >= text.size())
        return true;
    auto before = static_cast<unsigned char>(text[offset - 1]);
    auto after = static_cast<unsigned char>(text[offset]);
    if (before < 0x80 && after < 0x80)
        return !(before == '\r' && after == '\n');
    std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(text, boundaries);
    return std::binary_search(boundaries.begin(), boundaries.end(), offset);
}

// 1 - e^(-x / 3), which rounds to 1 from a sum of about 111 on; the boost stays below 1 all the
// same, as the ranker relies on.
double saturated(double sum)
{
    constexpr double belowOne = 1 - 0x1p-53;
    return std::clamp(-std::expm1(-sum / KnowledgeBase::saturation), 0.0, belowOne);
}

} // namespace

KnowledgeBase::KnowledgeBase() = default;

KnowledgeBase::KnowledgeBase(Snapshot snapshot) { load(std::move(snapshot)); }

void KnowledgeBase::replace(Snapshot snapshot)
{
    std::lock_guard lock(m_lock);
    m_keys.clear();
    compactItems();
    load(std::move(snapshot));
    m_dirty = true;
}

void KnowledgeBase::load(Snapshot snapshot)
{
    for (auto& [key, items] : snapshot.entries) {
        StoredItems stored;
        stored.reserve(items.size());
        for (auto& [id, entry] : items)
            stored.push_back({ .item = intern(id), .entry = entry });
        m_keys.emplace(key, std::move(stored));
    }
}

std::string KnowledgeBase::queryKey(std::string_view text)
{
    return keyOf(text, nullptr);
}

double KnowledgeBase::decay(Date lastUsed, Date now)
{
    // In doubles, so that no pair of dates can overflow the subtraction.
    double age = static_cast<double>(now.time_since_epoch().count())
        - static_cast<double>(lastUsed.time_since_epoch().count());
    return std::exp2(-std::max(0.0, age) / halfLifeSeconds);
}

KnowledgeBase::ItemIndex KnowledgeBase::intern(std::string_view itemID)
{
    if (auto found = m_itemIndex.find(itemID); found != m_itemIndex.end())
        return found->second;
    auto index = static_cast<ItemIndex>(m_itemIDs.size());
    m_itemIDs.push_back(std::make_unique<const std::string>(itemID));
    m_itemIndex.emplace(*m_itemIDs.back(), index);
    return index;
}

void KnowledgeBase::compactItems()
{
    constexpr auto unused = static_cast<ItemIndex>(-1);
    std::vector<ItemIndex> renumbered(m_itemIDs.size(), unused);
    std::vector<std::unique_ptr<const std::string>> kept;
    for (auto& [key, items] : m_keys) {
        for (auto& stored : items) {
            auto& number = renumbered[stored.item];
            if (number == unused) {
                number = static_cast<ItemIndex>(kept.size());
                kept.push_back(std::move(m_itemIDs[stored.item]));
            }
            stored.item = number;
        }
    }
    m_itemIDs = std::move(kept);
    m_itemIndex.clear();
    for (std::size_t index = 0; index < m_itemIDs.size(); ++index)
        m_itemIndex.emplace(*m_itemIDs[index], static_cast<ItemIndex>(index));
    m_sums.clear();
    m_isSummed.clear();
}

void KnowledgeBase::record(std::string_view query, std::string_view itemID, Date now)
{
    auto key = queryKey(query);
    if (key.empty())
        return;
    std::lock_guard lock(m_lock);
    auto items = m_keys.find(key);
    if (items == m_keys.end())
        items = m_keys.emplace(std::move(key), StoredItems {}).first;
    auto index = intern(itemID);
    auto stored = std::find_if(items->second.begin(), items->second.end(),
        [&](const StoredEntry& candidate) { return candidate.item == index; });
    if (stored == items->second.end()) {
        items->second.push_back({ .item = index, .entry = { .count = 0, .lastUsed = now } });
        stored = std::prev(items->second.end());
    }
    auto& entry = stored->entry;
    // The stored count is always as of its own date, so no pass ever needs to age the whole base.
    entry.count = entry.count * decay(entry.lastUsed, now) + 1;
    entry.lastUsed = now;
    m_dirty = true;
    if (m_keys.size() > pruningThreshold)
        prune();
}

void KnowledgeBase::prune()
{
    using KeyIterator = decltype(m_keys)::iterator;
    struct Candidate {
        Date newest {};
        KeyIterator key {};
    };
    std::vector<Candidate> candidates;
    candidates.reserve(m_keys.size());
    for (auto key = m_keys.begin(); key != m_keys.end(); ++key) {
        auto newest = Date::min();
        for (auto& stored : key->second)
            newest = std::max(newest, stored.entry.lastUsed);
        candidates.push_back({ newest, key });
    }
    auto excess = static_cast<std::ptrdiff_t>(m_keys.size() - keysAfterPruning);
    // Ties of date go by key, so that which keys leave never depends on the order of the map.
    std::nth_element(candidates.begin(), candidates.begin() + excess, candidates.end(),
        [](const Candidate& first, const Candidate& second) {
            return std::tie(first.newest, first.key->first)
                < std::tie(second.newest, second.key->first);
        });
    for (auto candidate = candidates.begin(); candidate != candidates.begin() + excess; ++candidate)
        m_keys.erase(candidate->key);
    compactItems();
}

void KnowledgeBase::addToSums(const StoredItems& items, double weight, Date now) const
{
    for (auto& stored : items) {
        if (!m_isSummed[stored.item]) {
            m_isSummed[stored.item] = true;
            m_summed.push_back(stored.item);
        }
        m_sums[stored.item] += stored.entry.count * decay(stored.entry.lastUsed, now) * weight;
    }
}

KnowledgeBase::Scores KnowledgeBase::takeSums(double (*finish)(double)) const
{
    Scores scores;
    scores.reserve(m_summed.size());
    for (auto index : m_summed) {
        scores.emplace(*m_itemIDs[index], finish(m_sums[index]));
        m_sums[index] = 0;
        m_isSummed[index] = false;
    }
    m_summed.clear();
    return scores;
}

KnowledgeBase::Scores KnowledgeBase::boosts(std::string_view query, Date now) const
{
    std::vector<std::size_t> ends;
    auto key = keyOf(query, &ends);
    if (key.empty())
        return {};
    std::lock_guard lock(m_lock);
    m_sums.resize(m_itemIDs.size());
    m_isSummed.resize(m_itemIDs.size());
    // The stored keys that the typed one begins with, itself included: one lookup for each of its
    // beginnings rather than a walk over every key.
    for (auto end : ends) {
        auto found = m_keys.find(std::string_view(key).substr(0, end));
        if (found != m_keys.end())
            addToSums(found->second, end == key.size() ? exactWeight : typedPastWeight, now);
    }
    // The stored keys that begin with the typed one lie together after it.
    for (auto stored = m_keys.upper_bound(key);
         stored != m_keys.end() && stored->first.starts_with(key); ++stored) {
        if (isCharacterBoundary(stored->first, key.size()))
            addToSums(stored->second, typedBeginningWeight, now);
    }
    return takeSums(saturated);
}

KnowledgeBase::Scores KnowledgeBase::usageScores(Date now) const
{
    std::lock_guard lock(m_lock);
    m_sums.resize(m_itemIDs.size());
    m_isSummed.resize(m_itemIDs.size());
    for (auto& [key, items] : m_keys)
        addToSums(items, 1, now);
    return takeSums([](double sum) { return sum; });
}

bool KnowledgeBase::forget(std::string_view itemID)
{
    std::lock_guard lock(m_lock);
    auto found = m_itemIndex.find(itemID);
    if (found == m_itemIndex.end())
        return false;
    auto index = found->second;
    bool removed = false;
    for (auto key = m_keys.begin(); key != m_keys.end();) {
        auto& items = key->second;
        auto stored = std::find_if(items.begin(), items.end(),
            [&](const StoredEntry& candidate) { return candidate.item == index; });
        if (stored == items.end()) {
            ++key;
            continue;
        }
        removed = true;
        items.erase(stored);
        key = items.empty() ? m_keys.erase(key) : std::next(key);
    }
    compactItems();
    // So that the removal reaches the disk.
    m_dirty = m_dirty || removed;
    return removed;
}

void KnowledgeBase::reset()
{
    std::lock_guard lock(m_lock);
    m_keys.clear();
    compactItems();
    m_dirty = true;
}

KnowledgeBase::Snapshot KnowledgeBase::snapshot() const
{
    std::lock_guard lock(m_lock);
    Snapshot snapshot;
    for (auto& [key, items] : m_keys) {
        auto& entries
            = snapshot.entries.emplace_hint(snapshot.entries.end(), key, ItemEntries {})->second;
        for (auto& stored : items)
            entries.emplace(*m_itemIDs[stored.item], stored.entry);
    }
    return snapshot;
}

bool KnowledgeBase::isDirty() const
{
    std::lock_guard lock(m_lock);
    return m_dirty;
}

void KnowledgeBase::markClean()
{
    std::lock_guard lock(m_lock);
    m_dirty = false;
}

Json::Value toJSON(const KnowledgeBase::Snapshot& snapshot)
{
    Json::Value entries = Json::Value::object();
    for (auto& [key, items] : snapshot.entries) {
        auto& itemsJSON = entries[key] = Json::Value::object();
        for (auto& [id, entry] : items)
            itemsJSON[id]
                = { { "count", entry.count }, { "lastUsed", Json::toJSON(entry.lastUsed) } };
    }
    return { { "entries", std::move(entries) } };
}

Result<KnowledgeBase::Snapshot> knowledgeSnapshotFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "The knowledge must be a JSON object." };
    auto entries = json.find("entries");
    if (entries == json.end() || !entries->is_object())
        return Json::fieldError(json, "entries", "an object of query keys");
    KnowledgeBase::Snapshot snapshot;
    for (auto& [key, items] : entries->items()) {
        auto where = "Query \"" + key + "\"";
        if (!items.is_object())
            return Error { where + ": the items must be a JSON object." };
        auto& decoded = snapshot.entries[key];
        for (auto& [id, entryJSON] : items.items()) {
            auto whereItem = where + ", item \"" + id + "\": ";
            if (!entryJSON.is_object())
                return Error { whereItem + "an entry must be a JSON object." };
            KnowledgeBase::Entry entry;
            if (auto error = Json::firstError({
                    Json::read(entryJSON, "count", entry.count),
                    Json::read(entryJSON, "lastUsed", entry.lastUsed),
                }))
                return Error { whereItem + error->message };
            if (!std::isfinite(entry.count) || entry.count < 0)
                return Error { whereItem + "\"count\" must be a number from 0 up." };
            decoded.emplace(id, entry);
        }
    }
    return snapshot;
}

} // namespace zeph
