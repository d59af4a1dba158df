#pragma once

#include "Support/IsoDate.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zeph {

// What the launcher learns: which item the user chose after typing what. Each pick strengthens one
// pair of query and item; strength halves every thirty days, and a lesson carries over to queries
// that share a beginning with it. One instance is shared by the engine and the application model,
// so every member function may be called from any thread.
class KnowledgeBase {
public:
    // One pair's strength: the number of picks, decayed as of the last one.
    struct Entry {
        double count = 0;
        Date lastUsed {};
        bool operator==(const Entry&) const = default;
    };
    // Item id to entry; `std::less<>` so that lookups take views.
    using ItemEntries = std::map<std::string, Entry, std::less<>>;
    // Query key to its items, sorted, so that the keys that begin with a query lie together.
    using Entries = std::map<std::string, ItemEntries, std::less<>>;

    // The persistent form, "knowledge.json".
    struct Snapshot {
        Entries entries {};
        bool operator==(const Snapshot&) const = default;
    };

    using Scores = std::unordered_map<std::string, double>;

    static constexpr double halfLifeSeconds = 2592000; // Thirty days.
    static constexpr std::size_t pruningThreshold = 4000; // Query keys, however many items each.
    static constexpr std::size_t keysAfterPruning = 3600;
    static constexpr double exactWeight = 1.0;
    static constexpr double typedPastWeight = 0.6; // The stored query is a beginning of the typed.
    static constexpr double typedBeginningWeight = 0.5; // The typed query begins a stored one.
    static constexpr double saturation = 3;

    KnowledgeBase();
    // Takes the stored entries as they are, and is not dirty.
    explicit KnowledgeBase(Snapshot snapshot);
    KnowledgeBase(const KnowledgeBase&) = delete;
    KnowledgeBase& operator=(const KnowledgeBase&) = delete;

    // The folded query without spaces: "Safari", "safari" and "sa fari" share one key.
    static std::string queryKey(std::string_view text);
    // How much of a pick's strength is left after the time from `lastUsed` to `now`; a pick from
    // the future counts as fresh, so that a clock that went backwards does no harm.
    static double decay(Date lastUsed, Date now);

    // Strengthens the pair; a query without characters is not learned. Above the threshold of
    // query keys, the keys used longest ago go.
    void record(std::string_view query, std::string_view itemID, Date now);
    // Item id to a boost from 0 up to, and never reaching, 1, for each item learned under the query
    // or under a key that begins it or that it begins.
    Scores boosts(std::string_view query, Date now) const;
    // Item id to its decayed picks under every key: how much each item is used at all.
    Scores usageScores(Date now) const;
    // Removes the item under every key, and the keys it leaves empty; true when there was any.
    bool forget(std::string_view itemID);
    void reset();
    // Everything learned becomes `snapshot`, as another program wrote it.
    void replace(Snapshot snapshot);

    Snapshot snapshot() const;
    bool isDirty() const;
    void markClean();

private:
    // Item ids are interned, so that a key's items are a small array of numbers and a boost is
    // summed in a dense array rather than a map of texts: the sum runs on every keystroke.
    using ItemIndex = std::uint32_t;
    struct StoredEntry {
        ItemIndex item = 0;
        Entry entry {};
    };
    using StoredItems = std::vector<StoredEntry>;

    ItemIndex intern(std::string_view itemID);
    void load(Snapshot snapshot);
    // Adds each item's decayed count times `weight` to its sum in the scratch.
    void addToSums(const StoredItems& items, double weight, Date now) const;
    // The sums of the scratch, each passed through `finish`; leaves the scratch empty.
    Scores takeSums(double (*finish)(double)) const;
    // Drops the interned ids that no key uses any more and renumbers the rest.
    void compactItems();
    void prune();

    mutable std::mutex m_lock;
    std::map<std::string, StoredItems, std::less<>> m_keys;
    std::vector<std::unique_ptr<const std::string>> m_itemIDs; // Stable, for m_itemIndex's views.
    std::unordered_map<std::string_view, ItemIndex> m_itemIndex;
    bool m_dirty = false;
    // Scratch of boosts and usageScores, kept between calls so that a keystroke allocates nothing
    // for it: a sum for each interned id, and the ids that have one.
    mutable std::vector<double> m_sums;
    mutable std::vector<bool> m_isSummed;
    mutable std::vector<ItemIndex> m_summed;
};

Json::Value toJSON(const KnowledgeBase::Snapshot& snapshot);
// Strict: every entry needs its count, a finite number not below 0, and its date.
Result<KnowledgeBase::Snapshot> knowledgeSnapshotFromJSON(const Json::Value& json);

template <> struct DocumentCoding<KnowledgeBase::Snapshot> {
    static Json::Value encode(const KnowledgeBase::Snapshot& snapshot) { return toJSON(snapshot); }
    static Result<KnowledgeBase::Snapshot> decode(const Json::Value& json)
    {
        return knowledgeSnapshotFromJSON(json);
    }
};

} // namespace zeph
