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

KnowledgeBase::KnowledgeBase(Snapshot snapshot)
    : m_entries(std::move(snapshot.entries))
{
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

void KnowledgeBase::record(std::string_view query, std::string_view itemID, Date now)
{
    auto key = queryKey(query);
    if (key.empty())
        return;
    std::lock_guard lock(m_lock);
    auto items = m_entries.find(key);
    if (items == m_entries.end())
        items = m_entries.emplace(std::move(key), ItemEntries {}).first;
    auto item = items->second.find(itemID);
    if (item == items->second.end())
        item = items->second.emplace(std::string(itemID), Entry { .count = 0, .lastUsed = now })
                   .first;
    auto& entry = item->second;
    // The stored count is always as of its own date, so no pass ever needs to age the whole base.
    entry.count = entry.count * decay(entry.lastUsed, now) + 1;
    entry.lastUsed = now;
    m_dirty = true;
    if (m_entries.size() > pruningThreshold)
        prune();
}

void KnowledgeBase::prune()
{
    struct Candidate {
        Date newest {};
        Entries::iterator key {};
    };
    std::vector<Candidate> candidates;
    candidates.reserve(m_entries.size());
    for (auto key = m_entries.begin(); key != m_entries.end(); ++key) {
        auto newest = Date::min();
        for (auto& [id, entry] : key->second)
            newest = std::max(newest, entry.lastUsed);
        candidates.push_back({ newest, key });
    }
    auto excess = static_cast<std::ptrdiff_t>(m_entries.size() - keysAfterPruning);
    // Ties of date go by key, so that which keys leave never depends on the order of the map.
    std::nth_element(candidates.begin(), candidates.begin() + excess, candidates.end(),
        [](const Candidate& first, const Candidate& second) {
            return std::tie(first.newest, first.key->first)
                < std::tie(second.newest, second.key->first);
        });
    for (auto candidate = candidates.begin(); candidate != candidates.begin() + excess; ++candidate)
        m_entries.erase(candidate->key);
}

KnowledgeBase::Scores KnowledgeBase::boosts(std::string_view query, Date now) const
{
    std::vector<std::size_t> ends;
    auto key = keyOf(query, &ends);
    if (key.empty())
        return {};
    Scores scores;
    auto add = [&](const ItemEntries& items, double weight) {
        for (auto& [id, entry] : items)
            scores[id] += entry.count * decay(entry.lastUsed, now) * weight;
    };
    {
        std::lock_guard lock(m_lock);
        // The stored keys that the typed one begins with, itself included: one lookup for each of
        // its beginnings rather than a walk over every key.
        for (auto end : ends) {
            auto found = m_entries.find(std::string_view(key).substr(0, end));
            if (found != m_entries.end())
                add(found->second, end == key.size() ? exactWeight : typedPastWeight);
        }
        // The stored keys that begin with the typed one lie together after it.
        for (auto stored = m_entries.upper_bound(key);
             stored != m_entries.end() && stored->first.starts_with(key); ++stored) {
            if (isCharacterBoundary(stored->first, key.size()))
                add(stored->second, typedBeginningWeight);
        }
    }
    for (auto& [id, score] : scores)
        score = saturated(score);
    return scores;
}

KnowledgeBase::Scores KnowledgeBase::usageScores(Date now) const
{
    Scores scores;
    std::lock_guard lock(m_lock);
    for (auto& [key, items] : m_entries) {
        for (auto& [id, entry] : items)
            scores[id] += entry.count * decay(entry.lastUsed, now);
    }
    return scores;
}

bool KnowledgeBase::forget(std::string_view itemID)
{
    std::lock_guard lock(m_lock);
    bool removed = false;
    for (auto key = m_entries.begin(); key != m_entries.end();) {
        auto item = key->second.find(itemID);
        if (item == key->second.end()) {
            ++key;
            continue;
        }
        removed = true;
        key->second.erase(item);
        key = key->second.empty() ? m_entries.erase(key) : std::next(key);
    }
    // So that the removal reaches the disk.
    m_dirty = m_dirty || removed;
    return removed;
}

void KnowledgeBase::reset()
{
    std::lock_guard lock(m_lock);
    m_entries.clear();
    m_dirty = true;
}

KnowledgeBase::Snapshot KnowledgeBase::snapshot() const
{
    std::lock_guard lock(m_lock);
    return Snapshot { .entries = m_entries };
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
