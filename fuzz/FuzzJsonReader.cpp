// Arbitrary bytes through the document reader and through the general JSON parser: both must accept
// the same texts and build the same values. Read element by element, an array must be the same too,
// and each element's text must read as that element.
#include "Support/Json.h"
#include "Support/Verify.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);
    // Printing recurses once a level; keep the stack safe.
    if (zeph::Json::nestsDeeperThan(text, 256))
        return 0;
    auto ours = zeph::Json::parse(text);
    auto theirs = zeph::Json::Value::parse(text, nullptr, /*allow_exceptions=*/false);
    zeph::verify(ours.has_value() == !theirs.is_discarded());
    if (ours) {
        zeph::verify(ours->type() == theirs.type());
        zeph::verify(ours->dump() == theirs.dump());
    }
    auto elements = zeph::Json::Value::array();
    std::vector<std::string> elementTexts;
    bool isArray = zeph::Json::parseEach(
        text, [&](zeph::Json::Value&& element, std::string_view elementText) {
            // An element's text is a part of the text that reads as the element alone.
            zeph::verify(elementText.data() >= text.data()
                && elementText.data() + elementText.size() <= text.data() + text.size());
            zeph::verify(zeph::Json::parse(elementText) == element);
            elements.push_back(std::move(element));
            elementTexts.emplace_back(elementText);
        });
    zeph::verify(isArray == (ours && ours->is_array()));
    if (isArray)
        zeph::verify(elements == *ours);
    // Read again knowing the elements of the first reading, even of one that failed half-way, the
    // text is refused or accepted as before, and the elements passed over and those parsed make up
    // the same array.
    zeph::Json::KnownElements known(elementTexts);
    auto again = zeph::Json::Value::array();
    bool isArrayAgain = zeph::Json::parseEach(
        text,
        [&](zeph::Json::Value&& element, std::string_view elementText) {
            // An element found by its text is the element read from that text before.
            if (auto index = known.find(elementText))
                zeph::verify(elements[*index] == element);
            again.push_back(std::move(element));
        },
        [&](std::string_view rest) -> std::size_t {
            auto index = known.atStart(rest);
            if (!index)
                return 0;
            again.push_back(elements[*index]);
            return elementTexts[*index].size();
        });
    zeph::verify(isArrayAgain == isArray);
    if (isArray)
        zeph::verify(again == *ours);
    return 0;
}
