// Arbitrary bytes as a query and a target: preparation never fails, and a match stays in its
// bands with ascending indices inside the target, within the bounds that indexes prune by. The
// target's sort key is its lower-cased, normalised text, however it was worked out.
#include "Search/FuzzyMatcher.h"
#include "Search/Ranker.h"
#include "Support/Verify.h"

#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    auto split = bytes.find('\0');
    auto query = zeph::makeQueryText(bytes.substr(0, split));
    auto target = zeph::makeMatchText(split == std::string_view::npos ? bytes : bytes.substr(split + 1));
    zeph::verify(target.wordStart.size() == target.chars.size());
    zeph::verify(zeph::isValidUTF8(target.original));
    std::string sortKey;
    zeph::Ranker::appendSortKey(target.original, sortKey);
    zeph::verify(sortKey == zeph::normalizedText(zeph::lowercasedText(target.original)));
    auto match = zeph::FuzzyMatcher::match(query, target);
    if (!match)
        return 0;
    zeph::verify(match->score >= 0.1 && match->score <= 1.0);
    zeph::verify(!match->indices.empty());
    for (std::size_t index = 0; index < match->indices.size(); ++index) {
        zeph::verify(match->indices[index] >= 0 && static_cast<std::size_t>(match->indices[index]) < target.chars.size());
        zeph::verify(index == 0 || match->indices[index] > match->indices[index - 1]);
    }
    // Every stage that succeeds holds the compacted query as a subsequence.
    auto pattern = zeph::FuzzyMatcher::makePattern(query);
    zeph::FuzzyMatcher::MatchTextTarget shape(target);
    zeph::verify(zeph::FuzzyMatcher::contains(pattern, shape));
    // Pruning bounds never fall below a real score, and skipping bands never raises one.
    auto count = static_cast<std::uint32_t>(target.chars.size());
    zeph::verify(zeph::FuzzyMatcher::bestPossibleScore(pattern, count, target.chars[0]) >= match->score);
    for (std::size_t band = 0; band < zeph::FuzzyMatcher::bandCount; ++band) {
        auto later = zeph::FuzzyMatcher::score(pattern, shape, 0, nullptr, zeph::FuzzyMatcher::Band(band));
        zeph::verify(!later || *later <= match->score);
    }
    return 0;
}
