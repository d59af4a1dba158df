#include "Snippets/ExpansionMatcher.h"

#include <algorithm>

namespace zeph {

namespace {

// Calls `visit` with the code of each user-perceived character of `text`; a lone ASCII byte, what
// almost every key event carries, needs no segmentation.
template <typename Visit> void forEachCharacter(std::string_view text, Visit visit)
{
    if (text.size() == 1 && static_cast<unsigned char>(text[0]) < 0x80) {
        visit(static_cast<Character>(text[0]));
        return;
    }
    std::string valid;
    if (!isValidUTF8(text)) {
        valid = sanitizedUTF8(text);
        text = valid;
    }
    thread_local std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(text, boundaries);
    for (std::size_t index = 0; index + 1 < boundaries.size(); ++index)
        visit(characterCode(
            text.substr(boundaries[index], boundaries[index + 1] - boundaries[index])));
}

std::uint64_t opening(Character first, Character second)
{
    return (std::uint64_t { first } << 32) | second;
}

bool isLetterOrNumber(Character character)
{
    char32_t scalar = character;
    if (character >= firstInternedCharacter) {
        auto text = characterText(character);
        std::size_t offset = 0;
        scalar = text.empty() ? 0 : decodeScalar(text, offset);
    }
    auto properties = characterProperties(scalar);
    return properties.isLetter || properties.isNumber;
}

} // namespace

std::vector<ExpansionTrigger> ExpansionTrigger::triggers(
    const std::vector<SnippetCollection>& collections)
{
    std::vector<ExpansionTrigger> result;
    std::unordered_set<std::string> seen;
    for (auto& collection : collections) {
        if (!collection.isEnabled)
            continue;
        for (auto& snippet : collection.snippets) {
            if (!snippet.isEnabled || !snippet.autoExpands)
                continue;
            auto text = collection.triggerText(snippet);
            if (!text || !seen.insert(*text).second)
                continue;
            result.push_back({ .text = std::move(*text),
                .snippet = snippet,
                .collectionID = collection.id,
                .excludedBundleIDs = collection.excludedBundleIDs });
        }
    }
    return result;
}

ExpansionMatcher::ExpansionMatcher(std::vector<ExpansionTrigger> triggers, bool requireWordBoundary)
    : m_triggers(std::move(triggers))
    , m_requireWordBoundary(requireWordBoundary)
{
    for (std::size_t index = 0; index < m_triggers.size(); ++index) {
        Candidate candidate { .trigger = static_cast<std::uint32_t>(index),
            .first = static_cast<std::uint32_t>(m_characters.size()) };
        forEachCharacter(m_triggers[index].text, [&](Character character) {
            m_characters.push_back(character);
            ++candidate.length;
        });
        if (candidate.length)
            m_byLastCharacter[m_characters.back()].push_back(candidate);
        if (candidate.length > 2)
            m_openings.insert(
                opening(m_characters[candidate.first], m_characters[candidate.first + 1]));
    }
    for (auto& [character, candidates] : m_byLastCharacter) {
        std::stable_sort(candidates.begin(), candidates.end(),
            [](const Candidate& first, const Candidate& second) {
                return first.length > second.length;
            });
    }
}

const ExpansionTrigger* ExpansionMatcher::feed(
    std::string_view text, std::optional<std::string_view> bundleID)
{
    const ExpansionTrigger* result = nullptr;
    forEachCharacter(text, [&](Character character) {
        append(character);
        result = match(bundleID);
    });
    return result;
}

void ExpansionMatcher::deleteBackward()
{
    if (m_count)
        --m_count;
}

void ExpansionMatcher::reset()
{
    m_start = 0;
    m_count = 0;
}

bool ExpansionMatcher::isWithinTrigger() const
{
    return m_count >= 2 && m_openings.contains(opening(bufferCharacter(1), bufferCharacter(0)));
}

std::string ExpansionMatcher::bufferText() const
{
    std::string text;
    for (auto fromEnd = m_count; fromEnd > 0; --fromEnd)
        text += characterText(bufferCharacter(fromEnd - 1));
    return text;
}

void ExpansionMatcher::append(Character character)
{
    if (m_count == bufferCapacity) {
        m_start = (m_start + 1) % bufferCapacity;
        --m_count;
    }
    m_buffer[(m_start + m_count) % bufferCapacity] = character;
    ++m_count;
}

Character ExpansionMatcher::bufferCharacter(std::size_t fromEnd) const
{
    return m_buffer[(m_start + m_count - 1 - fromEnd) % bufferCapacity];
}

const ExpansionTrigger* ExpansionMatcher::match(std::optional<std::string_view> bundleID) const
{
    if (!m_count || m_byLastCharacter.empty())
        return nullptr;
    auto found = m_byLastCharacter.find(bufferCharacter(0));
    if (found == m_byLastCharacter.end())
        return nullptr;
    for (auto& candidate : found->second) {
        if (candidate.length > m_count)
            continue;
        bool equal = true;
        for (std::size_t fromEnd = 1; equal && fromEnd < candidate.length; ++fromEnd) {
            equal = bufferCharacter(fromEnd)
                == m_characters[candidate.first + candidate.length - 1 - fromEnd];
        }
        if (!equal)
            continue;
        if (m_requireWordBoundary && candidate.length < m_count
            && isLetterOrNumber(bufferCharacter(candidate.length)))
            continue;
        auto& trigger = m_triggers[candidate.trigger];
        if (bundleID
            && std::any_of(trigger.excludedBundleIDs.begin(), trigger.excludedBundleIDs.end(),
                [&](const std::string& excluded) {
                    return equalIgnoringASCIICase(excluded, *bundleID);
                }))
            continue;
        return &trigger;
    }
    return nullptr;
}

} // namespace zeph
