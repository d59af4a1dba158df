#include "Search/Calculator.h"

#include "Support/Text.h"
#include "Support/Verify.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <locale.h>

namespace zeph {

Json::Value toJSON(const CalculatorResult& result)
{
    return { { "expression", result.expression }, { "value", result.value } };
}

namespace Calculator {

namespace {

constexpr char32_t multiplicationSign = U'\u00D7';
constexpr char32_t divisionSign = U'\u00F7';
// The one character outside ASCII that lower-cases into it.
constexpr char32_t kelvinSign = U'\u212A';

char32_t lowercased(char32_t scalar)
{
    if (scalar >= U'A' && scalar <= U'Z')
        return scalar + (U'a' - U'A');
    return scalar == kelvinSign ? U'k' : scalar;
}

// The scalar at `offset` of valid UTF-8, moving past it. ASCII is read inline, because these loops
// run over the whole text on every keystroke.
char32_t nextScalar(std::string_view validText, std::size_t& offset)
{
    auto byte = static_cast<unsigned char>(validText[offset]);
    if (byte >= 0x80)
        return decodeScalar(validText, offset);
    ++offset;
    return byte;
}

// What trimming removes, with the ASCII answer inline.
bool isSpace(char32_t scalar)
{
    if (scalar < 0x80)
        return scalar == U' ' || scalar == U'\t';
    return isTrimmedWhitespace(scalar);
}

constexpr bool isDigit(char32_t character)
{
    return character >= U'0' && character <= U'9';
}
constexpr bool isLetter(char32_t character)
{
    return character >= U'a' && character <= U'z';
}

// Calls `visit` with each whitespace-separated word of valid UTF-8 text, until it returns false.
template<typename Visit>
void forEachWord(std::string_view text, Visit visit)
{
    std::size_t wordStart = std::string_view::npos;
    for (std::size_t offset = 0; offset < text.size();) {
        auto start = offset;
        auto isSeparator = isSpace(nextScalar(text, offset));
        if (isSeparator && wordStart != std::string_view::npos) {
            if (!visit(text.substr(wordStart, start - wordStart)))
                return;
            wordStart = std::string_view::npos;
        } else if (!isSeparator && wordStart == std::string_view::npos) {
            wordStart = start;
        }
    }
    if (wordStart != std::string_view::npos)
        visit(text.substr(wordStart));
}

std::string_view trimmed(std::string_view validText)
{
    std::size_t first = std::string_view::npos;
    std::size_t end = 0;
    forEachWord(validText, [&](std::string_view word) {
        auto offset = static_cast<std::size_t>(word.data() - validText.data());
        first = std::min(first, offset);
        end = offset + word.size();
        return true;
    });
    return first == std::string_view::npos ? std::string_view {}
                                           : validText.substr(first, end - first);
}

// Reads all of `text` as a number with the C library's rules in the C locale, so that a decimal
// comma of the user's locale never changes an answer. The words "inf" and "nan" are no numbers
// here, but an amount too large for a double reads as infinity.
std::optional<double> readNumber(std::string_view text)
{
    // A number starts with a digit, a point or a sign; this turns words away before any copy.
    if (text.empty() || !(isDigit(text[0]) || text[0] == '.' || text[0] == '+' || text[0] == '-'))
        return std::nullopt;
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t {});
    verify(cLocale != locale_t {});
    std::string terminated(text);
    char* end = nullptr;
    double value = strtod_l(terminated.c_str(), &end, cLocale);
    if (end != terminated.c_str() + terminated.size())
        return std::nullopt;
    return value;
}

// Both a number and an operator, and no character that arithmetic does not use: "pi", "42" and
// "version 2" stop here, while "mp3-player" gets through and fails in the parser.
bool passesGate(std::string_view validText)
{
    bool hasDigit = false;
    bool hasPi = false;
    bool hasOperatorSign = false;
    char32_t previous = 0;
    for (std::size_t offset = 0; offset < validText.size();) {
        auto character = lowercased(nextScalar(validText, offset));
        if (isDigit(character)) {
            hasDigit = true;
        } else if (isLetter(character)) {
            hasPi = hasPi || (previous == U'p' && character == U'i');
        } else if (character == multiplicationSign || character == divisionSign || character == U'+'
            || character == U'-' || character == U'*' || character == U'/' || character == U'^'
            || character == U'%' || character == U'(') {
            // "(" covers a function name followed by its parenthesis.
            hasOperatorSign = true;
        } else if (character != U'.' && character != U',' && character != U')'
            && character != U' ') {
            return false;
        }
        previous = character;
    }
    return (hasDigit || hasPi) && (hasOperatorSign || (hasDigit && hasPi));
}

// Recursive descent over normalised text: lower-case ASCII without spaces and commas.
class Parser {
public:
    explicit Parser(std::string_view text)
        : m_text(text)
    {
    }

    std::optional<double> parse()
    {
        auto value = expression();
        if (!value || m_position != m_text.size() || !std::isfinite(*value))
            return std::nullopt;
        return value;
    }

private:
    // Every cycle of the grammar passes through `power`, so this bounds the recursion: deeper
    // nesting than anyone types is refused rather than risking the stack of whichever thread asks
    // (a level takes up to 3 KB under the address sanitizer).
    static constexpr int maximumDepth = 100;

    char next() const { return m_position < m_text.size() ? m_text[m_position] : '\0'; }

    std::optional<double> expression()
    {
        auto value = term();
        while (value && (next() == '+' || next() == '-')) {
            bool isAddition = m_text[m_position++] == '+';
            auto right = term();
            if (!right)
                return std::nullopt;
            *value = isAddition ? *value + *right : *value - *right;
        }
        return value;
    }

    std::optional<double> term()
    {
        auto value = power();
        while (value) {
            char operation = next();
            bool isExplicit = operation == '*' || operation == '/';
            // "2pi", "2(3+4)": a parenthesis or a letter multiplies without a sign. A digit after
            // ")" does not, so "(2)3" stops here.
            if (!isExplicit && operation != '(' && !isLetter(operation))
                break;
            if (isExplicit)
                ++m_position;
            auto right = power();
            if (!right)
                return std::nullopt;
            *value = operation == '/' ? *value / *right : *value * *right;
        }
        return value;
    }

    // Right-associative, and looser than a sign in front: "-2^2" is 4.
    std::optional<double> power()
    {
        if (m_depth == maximumDepth)
            return std::nullopt;
        ++m_depth;
        auto base = unary();
        if (base && next() == '^') {
            ++m_position;
            auto exponent = power();
            base = exponent ? std::optional(std::pow(*base, *exponent)) : std::nullopt;
        }
        --m_depth;
        return base;
    }

    std::optional<double> unary()
    {
        bool isNegative = false;
        while (next() == '-' || next() == '+')
            isNegative ^= m_text[m_position++] == '-';
        auto value = postfix();
        if (value && isNegative)
            *value = -*value;
        return value;
    }

    std::optional<double> postfix()
    {
        auto value = primary();
        if (value && next() == '%') {
            ++m_position;
            *value /= 100;
        }
        return value;
    }

    std::optional<double> primary()
    {
        char first = next();
        if (first == '(') {
            ++m_position;
            auto value = expression();
            if (!value || next() != ')')
                return std::nullopt;
            ++m_position;
            return value;
        }
        if (isDigit(first) || first == '.')
            return readNumber(
                takeRun([](char character) { return isDigit(character) || character == '.'; }));
        if (isLetter(first)) {
            auto name = takeRun([](char character) { return isLetter(character); });
            if (auto* function = findFunction(name)) {
                // The argument is the parenthesis itself, so "sqrt(16)%" is a percentage.
                if (next() != '(')
                    return std::nullopt;
                auto argument = primary();
                return argument ? std::optional(function(*argument)) : std::nullopt;
            }
            if (name == "pi")
                return 3.141592653589793;
            if (name == "e")
                return 2.718281828459045;
        }
        return std::nullopt;
    }

    template<typename Predicate>
    std::string_view takeRun(Predicate belongs)
    {
        auto start = m_position;
        while (m_position < m_text.size() && belongs(m_text[m_position]))
            ++m_position;
        return m_text.substr(start, m_position - start);
    }

    using Function = double (*)(double);
    static Function findFunction(std::string_view name)
    {
        static constexpr std::pair<std::string_view, Function> functions[] = {
            { "sqrt", [](double x) { return std::sqrt(x); } },
            { "abs", [](double x) { return std::fabs(x); } },
            { "round", [](double x) { return std::round(x); } }, // Halves away from zero.
            { "floor", [](double x) { return std::floor(x); } },
            { "ceil", [](double x) { return std::ceil(x); } },
            { "ln", [](double x) { return std::log(x); } },
            { "log", [](double x) { return std::log10(x); } },
            { "sin", [](double x) { return std::sin(x); } },
            { "cos", [](double x) { return std::cos(x); } },
            { "tan", [](double x) { return std::tan(x); } },
        };
        for (auto& [candidate, function] : functions) {
            if (candidate == name)
                return function;
        }
        return nullptr;
    }

    std::string_view m_text;
    std::size_t m_position = 0;
    int m_depth = 0;
};

std::optional<double> evaluateTrimmed(std::string_view text)
{
    if (!passesGate(text))
        return std::nullopt;
    std::string normalised;
    normalised.reserve(text.size());
    for (std::size_t offset = 0; offset < text.size();) {
        auto character = lowercased(nextScalar(text, offset));
        if (character == multiplicationSign)
            normalised += '*';
        else if (character == divisionSign)
            normalised += '/';
        else if (character != U',' && character != U' ')
            normalised += static_cast<char>(character); // The gate let only ASCII through.
    }
    return Parser(normalised).parse();
}

// "3*4" is shown as "3 × 4 =".
std::string expressionText(std::string_view trimmedText)
{
    std::string spaced;
    for (char byte : trimmedText) {
        if (byte == '*')
            spaced += " \u00D7 ";
        else if (byte == '/')
            spaced += " \u00F7 ";
        else
            spaced += byte;
    }
    std::string text;
    forEachWord(spaced, [&](std::string_view word) {
        text.append(word).push_back(' ');
        return true;
    });
    return text + "=";
}

struct Target {
    std::string_view unit {};
    double (*convert)(double) = nullptr;
};

struct Unit {
    std::string_view name {};
    std::array<Target, 3> targets {};
};

// The factors stand as given, deliberately not reciprocals of each other (0.621371 against
// 1.609344), so that each direction shows its familiar figure.
constexpr Unit units[] = {
    { "km",
        { { { "mi", [](double v) { return v * 0.621371; } },
            { "m", [](double v) { return v * 1000; } },
            { "ft", [](double v) { return v * 3280.84; } } } } },
    { "mi",
        { { { "km", [](double v) { return v * 1.609344; } },
            { "m", [](double v) { return v * 1609.344; } },
            { "ft", [](double v) { return v * 5280; } } } } },
    { "m",
        { { { "ft", [](double v) { return v * 3.28084; } },
            { "km", [](double v) { return v / 1000; } },
            { "mi", [](double v) { return v / 1609.344; } } } } },
    { "ft",
        { { { "m", [](double v) { return v * 0.3048; } },
            { "mi", [](double v) { return v / 5280; } },
            { "km", [](double v) { return v * 0.0003048; } } } } },
    { "kg",
        { { { "lb", [](double v) { return v * 2.20462; } },
            { "g", [](double v) { return v * 1000; } } } } },
    { "lb",
        { { { "kg", [](double v) { return v * 0.453592; } },
            { "oz", [](double v) { return v * 16; } } } } },
    { "c",
        { { { "f", [](double v) { return v * 9 / 5 + 32; } },
            { "k", [](double v) { return v + 273.15; } } } } },
    { "f",
        { { { "c", [](double v) { return (v - 32) * 5 / 9; } },
            { "k", [](double v) { return (v - 32) * 5 / 9 + 273.15; } } } } },
};

const Unit* findUnit(std::string_view name)
{
    for (auto& unit : units) {
        if (unit.name == name)
            return &unit;
    }
    return nullptr;
}

std::string_view displayName(std::string_view unit)
{
    if (unit == "c")
        return "\u00B0C";
    if (unit == "f")
        return "\u00B0F";
    if (unit == "k")
        return "K";
    return unit;
}

// A piece of a conversion, lower-cased for comparing with unit names and "in" or "to". These are
// all short, so a longer piece, or one with a character that lower-cases outside ASCII, becomes
// the empty word that matches none of them.
std::string lowercasedWord(std::string_view piece)
{
    std::string word;
    for (std::size_t offset = 0; offset < piece.size() && word.size() <= 2;) {
        auto character = lowercased(nextScalar(piece, offset));
        if (character >= 0x80)
            return {};
        word += static_cast<char>(character);
    }
    return word.size() <= 2 ? word : std::string {};
}

// Six significant digits, halves away from zero.
double roundedForDisplay(double value)
{
    if (value == 0 || !std::isfinite(value))
        return value;
    double scale = std::pow(10.0, 6 - std::ceil(std::log10(std::fabs(value))));
    return std::round(value * scale) / scale;
}

std::string formatted(
    double value, std::chars_format format, std::optional<int> precision = std::nullopt)
{
    // Enough for any double in fixed notation, which the callers keep below 1e15 anyway.
    char buffer[400];
    auto end = precision ? std::to_chars(buffer, std::end(buffer), value, format, *precision).ptr
                         : std::to_chars(buffer, std::end(buffer), value, format).ptr;
    return std::string(buffer, end);
}

bool isWholeBelowLimit(double value)
{
    return value == std::trunc(value) && std::fabs(value) < 1e15;
}

std::string wholeNumberText(double value)
{
    return std::to_string(static_cast<long long>(value));
}

// The amount as typed back: whole numbers plainly, others in their shortest exact form.
std::string amountText(double value)
{
    if (isWholeBelowLimit(value))
        return wholeNumberText(value);
    double magnitude = std::fabs(value);
    bool isFixed = magnitude >= 1e-4 && magnitude < 1e15;
    return formatted(value, isFixed ? std::chars_format::fixed : std::chars_format::scientific);
}

std::vector<CalculatorResult> convertValid(std::string_view text)
{
    // The amount comes first, so most words are turned away before the text is split.
    auto start = text.find_first_not_of(" \t");
    if (start == std::string_view::npos)
        return {};
    if (auto byte = static_cast<unsigned char>(text[start]);
        byte < 0x80 && !isDigit(byte) && byte != '.' && byte != '+' && byte != '-')
        return {};
    // The longest form is "5 km to mi", and a first piece such as "5km" may still split in two.
    std::array<std::string_view, 5> pieces;
    std::size_t count = 0;
    forEachWord(text, [&](std::string_view word) {
        pieces[count++] = word;
        return count < pieces.size();
    });
    if (count == 0 || count > 4)
        return {};
    auto amount = readNumber(pieces[0]);
    if (!amount) {
        auto& first = pieces[0];
        auto prefix = first.find_first_not_of("0123456789.-");
        if (prefix != 0 && prefix != std::string_view::npos) {
            std::move_backward(pieces.begin() + 1, pieces.begin() + 4, pieces.end());
            pieces[1] = first.substr(prefix);
            first = first.substr(0, prefix);
            ++count;
            amount = readNumber(first);
        }
    }
    if (!amount || !std::isfinite(*amount))
        return {};
    auto joiner = count == 4 ? lowercasedWord(pieces[2]) : std::string {};
    if (count != 2 && !(count == 4 && (joiner == "in" || joiner == "to")))
        return {};
    auto* unit = findUnit(lowercasedWord(pieces[1]));
    if (!unit)
        return {};

    auto targets = unit->targets;
    auto targetsEnd = std::find_if(
        targets.begin(), targets.end(), [](auto& target) { return !target.convert; });
    if (count == 4) {
        auto wanted = std::find_if(targets.begin(), targetsEnd,
            [name = lowercasedWord(pieces[3])](auto& target) { return target.unit == name; });
        if (wanted == targetsEnd)
            return {};
        std::rotate(targets.begin(), wanted, wanted + 1);
    }
    auto left = amountText(*amount) + " " + std::string(displayName(unit->name)) + " in ";
    std::vector<CalculatorResult> rows;
    for (auto target = targets.begin(); target != targetsEnd; ++target) {
        auto name = std::string(displayName(target->unit));
        rows.push_back({ .expression = left + name,
            .value = displayText(roundedForDisplay(target->convert(*amount))) + " " + name });
    }
    return rows;
}

} // namespace

std::vector<CalculatorResult> results(std::string_view text)
{
    if (!isValidUTF8(text))
        return {};
    if (auto rows = convertValid(text); !rows.empty())
        return rows;
    auto trimmedText = trimmed(text);
    auto value = evaluateTrimmed(trimmedText);
    if (!value)
        return {};
    return { { .expression = expressionText(trimmedText), .value = displayText(*value) } };
}

std::vector<CalculatorResult> convert(std::string_view text)
{
    return isValidUTF8(text) ? convertValid(text) : std::vector<CalculatorResult> {};
}

std::optional<double> evaluate(std::string_view text)
{
    return isValidUTF8(text) ? evaluateTrimmed(trimmed(text)) : std::nullopt;
}

bool looksLikeMath(std::string_view text)
{
    // Invalid UTF-8 has a byte outside the allowed set in any reading.
    return isValidUTF8(text) && passesGate(text);
}

std::string plainText(double value)
{
    if (isWholeBelowLimit(value))
        return wholeNumberText(value);
    double magnitude = std::fabs(value);
    if (magnitude >= 1e15 || (value != 0 && magnitude < 1e-6))
        return formatted(value, std::chars_format::general, 10);
    auto text = formatted(value, std::chars_format::fixed, 10);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.'))
        text.pop_back();
    return text;
}

std::string displayText(double value)
{
    double magnitude = std::fabs(value);
    if (magnitude >= 1e12 || (value != 0 && magnitude < 1e-6))
        return formatted(value, std::chars_format::scientific, 4);
    auto fixed = formatted(magnitude, std::chars_format::fixed, 6);
    auto point = fixed.find('.');
    std::string_view integer = std::string_view(fixed).substr(0, point);
    std::string_view fraction
        = point == std::string::npos ? "" : std::string_view(fixed).substr(point + 1);
    fraction = fraction.substr(0, fraction.find_last_not_of('0') + 1);

    std::string text;
    if (value < 0 && !(integer == "0" && fraction.empty()))
        text += '-';
    for (std::size_t index = 0; index < integer.size(); ++index) {
        if (index > 0 && (integer.size() - index) % 3 == 0)
            text += ',';
        text += integer[index];
    }
    if (!fraction.empty())
        text.append(".").append(fraction);
    return text;
}

} // namespace Calculator

} // namespace zeph
