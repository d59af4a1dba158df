#pragma once

#include "Support/Json.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// One answer row: the left side as shown, and the answer as shown.
struct CalculatorResult {
    std::string expression {};
    std::string value {};
    bool operator==(const CalculatorResult&) const = default;
};

Json::Value toJSON(const CalculatorResult& result);

// Arithmetic and unit conversion for the search field: ASCII arithmetic on doubles, with no locale
// and no state, so every function is safe on any thread. The launcher asks on every keystroke, so
// what is not a calculation is turned away before any allocation. Nothing here fails loudly: text
// that cannot be computed, including invalid UTF-8, simply yields no answer.
namespace Calculator {

// The rows to show for typed text: the conversion rows when it reads as one, else one row for
// the arithmetic, else none.
std::vector<CalculatorResult> results(std::string_view text);

// "10 km", "5km to mi", "100 f in c": one row for each target unit, the wanted one first; none
// when the text is no conversion.
std::vector<CalculatorResult> convert(std::string_view text);

// The value of an arithmetic expression; nothing when the text is not one or the value is not
// finite.
std::optional<double> evaluate(std::string_view text);

// The cheap gate before parsing: a number, an operator, and only characters that arithmetic uses.
bool looksLikeMath(std::string_view text);

// The value for copying and pasting: "33.3333333333".
std::string plainText(double value);
// The value for showing, with digit grouping: "1,234,567.5".
std::string displayText(double value);

} // namespace Calculator

} // namespace zeph
