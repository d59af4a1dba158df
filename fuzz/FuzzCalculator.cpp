// Arbitrary typed text: the calculator answers or stays silent, and never crashes, hangs or
// throws, whatever the nesting, the size of the numbers or the bytes.
#include "Search/Calculator.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <cmath>
#include <cstring>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);
    for (auto& row : zeph::Calculator::results(text)) {
        zeph::verify(zeph::isValidUTF8(row.expression) && !row.expression.empty());
        zeph::verify(zeph::isValidUTF8(row.value) && !row.value.empty());
    }
    auto value = zeph::Calculator::evaluate(text);
    zeph::verify(!value || std::isfinite(*value));
    // The gate comes first: what it turns away is never a value.
    zeph::verify(!value || zeph::Calculator::looksLikeMath(zeph::trimmedWhitespace(zeph::sanitizedUTF8(text))));
    zeph::verify(zeph::Calculator::convert(text).size() <= 3);

    // The formatters take any double, the leading bytes read as one.
    if (size >= sizeof(double)) {
        double number;
        std::memcpy(&number, data, sizeof number);
        zeph::verify(!zeph::Calculator::plainText(number).empty());
        zeph::verify(!zeph::Calculator::displayText(number).empty());
    }
    return 0;
}
