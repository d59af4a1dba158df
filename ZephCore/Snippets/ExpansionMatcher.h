#pragma once

#include "Snippets/Snippet.h"
#include "Support/Text.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zeph {

// A snippet as it is typed: the full trigger text and where it came from.
struct ExpansionTrigger {
    std::string text {}; // prefix + keyword + suffix.
    Snippet snippet {};
    std::string collectionID {};
    std::vector<std::string> excludedBundleIDs {}; // The collection's list.
    bool operator==(const ExpansionTrigger&) const = default;

    // The triggers of enabled, auto-expanding snippets with a keyword, in the order of the
    // collections and their snippets; a text seen before is dropped, so the earlier one wins.
    static std::vector<ExpansionTrigger> triggers(
        const std::vector<SnippetCollection>& collections);
};

// Decides, character by character, whether what the user has just typed ends in a trigger. Every
// keystroke on the machine passes through it, so a character costs one hash look-up and, unless
// some trigger ends in it, nothing more. A value with no locking: one owner feeds it.
class ExpansionMatcher {
public:
    static constexpr std::size_t bufferCapacity = 64; // Longer triggers can never match.

    explicit ExpansionMatcher(
        std::vector<ExpansionTrigger> triggers = {}, bool requireWordBoundary = false);

    // `text` is what one key event produced, `bundleID` the frontmost application's id. The
    // answer is that of the event's last character, and stays valid until the next change of
    // the matcher. The buffer is kept after a match: clearing it is the caller's decision.
    const ExpansionTrigger* feed(
        std::string_view text, std::optional<std::string_view> bundleID = std::nullopt);
    // The last typed character goes, if there is one.
    void deleteBackward();
    // Forgets everything typed; the next character starts at a word boundary.
    void reset();

    // Whether the recent typing ends in the first two characters of a longer trigger: the moment
    // to get ready for an expansion that may follow.
    bool isWithinTrigger() const;

    // The recent typing, oldest first.
    std::string bufferText() const;
    std::size_t bufferCount() const { return m_count; }

private:
    struct Candidate {
        std::uint32_t trigger = 0;
        std::uint32_t first = 0; // Into m_characters.
        std::uint32_t length = 0;
    };

    void append(Character character);
    const ExpansionTrigger* match(std::optional<std::string_view> bundleID) const;
    Character bufferCharacter(std::size_t fromEnd) const;

    std::vector<ExpansionTrigger> m_triggers;
    std::vector<Character> m_characters; // The triggers' characters, one run each.
    // Under each character, the triggers that end in it, longest first.
    std::unordered_map<Character, std::vector<Candidate>> m_byLastCharacter;
    // The first two characters of each trigger of three or more, as one number.
    std::unordered_set<std::uint64_t> m_openings;
    // A ring of the last characters typed.
    std::array<Character, bufferCapacity> m_buffer {};
    std::size_t m_start = 0;
    std::size_t m_count = 0;
    bool m_requireWordBoundary = false;
};

} // namespace zeph
