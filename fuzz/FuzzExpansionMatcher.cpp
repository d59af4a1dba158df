// Random keystroke streams through the matcher, checked against the rules written out plainly: a
// buffer of the last 64 characters, and among the triggers that end in the last one, the longest
// that fits, passes the word boundary and is not excluded, the earlier on equal length.
//
// Input: trigger texts separated by 0x1F, then 0x00, then key events separated by 0x00. An event
// "\x01" is Delete, "\x02" forgets everything; an event starting with "\x03" comes from the
// excluded application. The first byte's lowest bit asks for word boundaries.
#include "Snippets/ExpansionMatcher.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <deque>
#include <string_view>

namespace {

using namespace zeph;

std::vector<Character> characters(std::string_view text)
{
    std::vector<Character> result;
    std::vector<std::uint32_t> boundaries;
    auto valid = sanitizedUTF8(text);
    graphemeBoundaries(valid, boundaries);
    for (std::size_t index = 0; index + 1 < boundaries.size(); ++index)
        result.push_back(characterCode(std::string_view(valid).substr(
            boundaries[index], boundaries[index + 1] - boundaries[index])));
    return result;
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        auto end = text.find(separator, start);
        parts.push_back(text.substr(start, end - start));
        if (end == std::string_view::npos)
            return parts;
        start = end + 1;
    }
}

const ExpansionTrigger* expected(const std::vector<ExpansionTrigger>& triggers,
    const std::deque<Character>& buffer, bool wordBoundary, bool excludedApp)
{
    const ExpansionTrigger* best = nullptr;
    std::size_t bestLength = 0;
    for (auto& trigger : triggers) {
        auto text = characters(trigger.text);
        if (text.empty() || text.size() > buffer.size() || text.size() <= bestLength)
            continue;
        if (!std::equal(text.begin(), text.end(), buffer.end() - static_cast<long>(text.size())))
            continue;
        if (wordBoundary && text.size() < buffer.size()) {
            auto before = characterText(buffer[buffer.size() - text.size() - 1]);
            std::size_t offset = 0;
            auto properties
                = characterProperties(before.empty() ? 0 : decodeScalar(before, offset));
            if (properties.isLetter || properties.isNumber)
                continue;
        }
        if (excludedApp && !trigger.excludedBundleIDs.empty())
            continue;
        best = &trigger;
        bestLength = text.size();
    }
    return best;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    bool wordBoundary = !bytes.empty() && (bytes[0] & 1);
    auto separator = bytes.find('\0');
    std::vector<SnippetCollection> collections(2);
    collections[1].excludedBundleIDs = { "excluded" };
    std::size_t count = 0;
    for (auto text : split(bytes.substr(0, separator), '\x1F')) {
        if (++count > 16)
            break;
        collections[count % 2].snippets.push_back(
            { .id = std::to_string(count), .keyword = sanitizedUTF8(text) });
    }
    auto triggers = ExpansionTrigger::triggers(collections);
    ExpansionMatcher matcher(triggers, wordBoundary);
    if (separator == std::string_view::npos)
        return 0;

    std::deque<Character> buffer;
    for (auto event : split(bytes.substr(separator + 1), '\0')) {
        if (event == "\x01") {
            matcher.deleteBackward();
            if (!buffer.empty())
                buffer.pop_back();
            continue;
        }
        if (event == "\x02") {
            matcher.reset();
            buffer.clear();
            continue;
        }
        bool excludedApp = event.starts_with('\x03');
        auto text = excludedApp ? event.substr(1) : event;
        auto* found = matcher.feed(
            text, excludedApp ? std::optional<std::string_view>("Excluded") : std::nullopt);
        const ExpansionTrigger* wanted = nullptr;
        for (auto character : characters(text)) {
            buffer.push_back(character);
            if (buffer.size() > ExpansionMatcher::bufferCapacity)
                buffer.pop_front();
            wanted = expected(triggers, buffer, wordBoundary, excludedApp);
        }
        verify((found == nullptr) == (wanted == nullptr));
        verify(!found || found->text == wanted->text);
        verify(matcher.bufferCount() == buffer.size());
    }
    return 0;
}
