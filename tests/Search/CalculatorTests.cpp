#include "Search/Calculator.h"

#include <cmath>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace zeph;

namespace zeph {
void PrintTo(const CalculatorResult& row, std::ostream* stream)
{
    *stream << '"' << row.expression << "\" \"" << row.value << '"';
}
} // namespace zeph

namespace {

constexpr double pi = 3.141592653589793;
constexpr double e = 2.718281828459045;

std::string repeated(std::string_view text, int count)
{
    std::string result;
    for (int index = 0; index < count; ++index)
        result += text;
    return result;
}

} // namespace

TEST(Calculator, EvaluatesTheGrammarWithItsPrecedence)
{
    struct Case {
        std::string text;
        double value;
    };
    const Case cases[] = {
        { "2+3*4", 14 },
        { "(2+3)*4", 20 },
        { "10-4-3", 3 }, // Left to right.
        { "100/10/5", 2 },
        { "2^3^2", 512 }, // Right to left.
        { "-2^2", 4 }, // The sign binds tighter than "^", on purpose.
        { "2^-1", 0.5 },
        { "-2^-2", 0.25 },
        { "--2+0", 2 },
        { "-+-2", 2 },
        { "2--3", 5 },
        // Implied products, and where they stop.
        { "2pi", 2 * pi },
        { "2(3+4)", 14 },
        { "(1+2)(3+4)", 21 },
        { "3sqrt(4)", 6 },
        { "sqrt(4)(2)", 4 },
        { "2^3(2)", 16 }, // The product takes the whole power on its left.
        { "2pi^2", 2 * pi * pi },
        { "2e+1", 2 * e + 1 },
        { "8/2(2)", 8 }, // One level: left to right.
        // Percent divides by 100 and binds tightest.
        { "10%", 0.1 },
        { "200*15%", 30 },
        { "15% * 80", 12 },
        { "-50%", -0.5 },
        { "sqrt(16)%", 0.04 },
        { "5%pi", 0.05 * pi },
        // Functions take a parenthesis; trigonometry is in radians.
        { "abs(-3)", 3 },
        { "round(2.5)", 3 },
        { "round(-2.5)", -3 }, // Halves away from zero.
        { "round(0.49)", 0 },
        { "floor(-1.5)", -2 },
        { "ceil(1.2)", 2 },
        { "ln(e^2)", 2 },
        { "log(1000)", 3 },
        { "sin(0)", 0 },
        { "cos(0)", 1 },
        { "cos(pi)", -1 },
        // Numbers, spaces, commas, signs and case.
        { ".5+.5", 1 },
        { "1.+1", 2 },
        { "1,234.5*2", 2469 },
        { "1 2+1", 13 }, // Spaces go before reading, so the digits join.
        { "2 + 3 \u00D7 4", 14 },
        { "6\u00F73", 2 },
        { "PI*2", 2 * pi },
        { "SQRT(16)+1", 5 },
        { "(7)", 7 },
        { "-5", -5 },
        { "((((1))))+0", 1 },
        { "\u00A0 2+2 \t\u3000", 4 }, // Space separators and tabs are trimmed.
        { "1/" + repeated("9", 400), 0 }, // The long run reads as infinity, and 1/inf is 0.
        { "0." + repeated("0", 400) + "1+1", 1 },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        auto value = Calculator::evaluate(testCase.text);
        ASSERT_TRUE(value.has_value());
        EXPECT_NEAR(*value, testCase.value, 1e-12 * std::max(1.0, std::fabs(testCase.value)));
    }
}

TEST(Calculator, RejectsWhatIsNotACalculation)
{
    const std::string cases[]
        = { // The gate: no number and operator pair, or a character arithmetic does not use.
              "", "   ", "\t", "abc", "pi", "42", "version 2", "2e", "2+2=", "$5+1", "1\t+1",
              "1\u00A0+1", "2+2\n", "\u03C0*2", "\u0663+1",
              // The parser.
              "2-", "2**3", "5%%", "(2)3", "1e5", "1.2.3+1", "2+()", "(2+3", "2+3)", ".+1", "2^",
              "-", "+1+", "%5", "sin", "sin 0", "sin0", "sqrt-4", "pie*2", "2 pi x", "pi2",
              "mp3-player", "2*sqrt", "1e999999",
              // Values that are not finite.
              "1/0", "-1/0", "0/0", "ln(0)", "log(0)", "sqrt(-1)", "(-8)^(1/3)", "10^400",
              "-10^400", repeated("9", 400) + "+1", "0*" + repeated("9", 400)
          };
    for (auto& text : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Calculator::evaluate(text), std::nullopt);
        EXPECT_TRUE(Calculator::results(text).empty());
    }
}

TEST(Calculator, GateNeedsANumberAndAnOperator)
{
    struct Case {
        const char* text;
        bool looksLikeMath;
    };
    const Case cases[] = {
        { "2pi", true }, // A number and "pi" count as an operator.
        { "pi2", true },
        { "(7)", true },
        { "-5", true },
        { "5%", true },
        { "mp3-player", true }, // Passes here and fails in the parser.
        { "sqrt(2", true },
        { "PI*2", true },
        { "2\u00D73", true },
        { "1,234.5 / 2", true },
        { "", false },
        { "pi", false },
        { "ln(e)", false }, // Neither a digit nor "pi".
        { "sqrt(", false },
        { "42", false },
        { "version 2", false },
        { "2e", false },
        { "2 pi!", false },
        { "2+2=", false },
        { "2\t+2", false },
        { "\u0663+1", false }, // A digit outside ASCII is not in the allowed set.
        { "2+2\xFF", false },
        { "visual studio", false },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(Calculator::looksLikeMath(testCase.text), testCase.looksLikeMath);
    }
}

TEST(Calculator, FormatsValuesForShowingAndForCopying)
{
    struct Case {
        double value;
        const char* display; // Grouped, six decimals; exponent form outside [1e-6, 1e12).
        const char* plain; // Ten decimals; exponent form outside [1e-6, 1e15).
    };
    const Case cases[] = {
        { 0, "0", "0" },
        { -0.0, "0", "0" },
        { 12, "12", "12" },
        { 1000, "1,000", "1000" },
        { 123456, "123,456", "123456" },
        { -1234.5, "-1,234.5", "-1234.5" },
        { 1234567.5, "1,234,567.5", "1234567.5" },
        { 0.1 + 0.2, "0.3", "0.3" },
        { 100.0 / 3, "33.333333", "33.3333333333" },
        { 2.0 / 3, "0.666667", "0.6666666667" },
        { 0.9999999, "1", "0.9999999" },
        { -0.0000012, "-0.000001", "-0.0000012" },
        { 0.0000015, "0.000002", "0.0000015" },
        { 1234567.123456789, "1,234,567.123457", "1234567.1234567889" }, // The double's own digits.
        { 12.00000000001, "12", "12" }, // Trailing zeros and then the point go.
        { 999999999999, "999,999,999,999", "999999999999" },
        { 1e12, "1.0000e+12", "1000000000000" },
        { -2.5e13, "-2.5000e+13", "-25000000000000" },
        { 1e15, "1.0000e+15", "1e+15" },
        { 2.5e15, "2.5000e+15", "2.5e+15" },
        { 1e-7, "1.0000e-07", "1e-07" },
        { -4e-7, "-4.0000e-07", "-4e-07" },
        { 1.0 / 3 * 1e-6, "3.3333e-07", "3.333333333e-07" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.value);
        EXPECT_EQ(Calculator::displayText(testCase.value), testCase.display);
        EXPECT_EQ(Calculator::plainText(testCase.value), testCase.plain);
    }
}

TEST(Calculator, ConvertsEveryUnitFamilyToItsTargetsInOrder)
{
    struct Case {
        const char* text;
        std::vector<CalculatorResult> rows;
    };
    const Case cases[] = {
        { "10 km",
            { { "10 km in mi", "6.21371 mi" }, { "10 km in m", "10,000 m" },
                { "10 km in ft", "32,808.4 ft" } } },
        { "2 mi",
            { { "2 mi in km", "3.21869 km" }, { "2 mi in m", "3,218.69 m" },
                { "2 mi in ft", "10,560 ft" } } },
        { "100 m",
            { { "100 m in ft", "328.084 ft" }, { "100 m in km", "0.1 km" },
                { "100 m in mi", "0.062137 mi" } } },
        { "5280 ft",
            { { "5280 ft in m", "1,609.34 m" }, { "5280 ft in mi", "1 mi" },
                { "5280 ft in km", "1.60934 km" } } },
        { "1 kg", { { "1 kg in lb", "2.20462 lb" }, { "1 kg in g", "1,000 g" } } },
        { "1.5 lb", { { "1.5 lb in kg", "0.680388 kg" }, { "1.5 lb in oz", "24 oz" } } },
        { "100 c",
            { { "100 \u00B0C in \u00B0F", "212 \u00B0F" }, { "100 \u00B0C in K", "373.15 K" } } },
        { "100 f in c",
            { { "100 \u00B0F in \u00B0C", "37.7778 \u00B0C" },
                { "100 \u00B0F in K", "310.928 K" } } },
        { "-40 c to f",
            { { "-40 \u00B0C in \u00B0F", "-40 \u00B0F" }, { "-40 \u00B0C in K", "233.15 K" } } },
        // The wanted target comes first and the others follow in their order.
        { "10 km to ft",
            { { "10 km in ft", "32,808.4 ft" }, { "10 km in mi", "6.21371 mi" },
                { "10 km in m", "10,000 m" } } },
        { "32 F TO K",
            { { "32 \u00B0F in K", "273.15 K" }, { "32 \u00B0F in \u00B0C", "0 \u00B0C" } } },
        // Six significant digits, halves away from zero (100000.5 is exact in binary).
        { "1234.5678 kg to g",
            { { "1234.5678 kg in g", "1,234,570 g" }, { "1234.5678 kg in lb", "2,721.75 lb" } } },
        { "6250.03125 lb to oz",
            { { "6250.03125 lb in oz", "100,001 oz" }, { "6250.03125 lb in kg", "2,834.96 kg" } } },
        { "-6250.03125 lb to oz",
            { { "-6250.03125 lb in oz", "-100,001 oz" },
                { "-6250.03125 lb in kg", "-2,834.96 kg" } } },
        // How the amount is written back.
        { "+5 kg", { { "5 kg in lb", "11.0231 lb" }, { "5 kg in g", "5,000 g" } } },
        { "1e3 kg", { { "1000 kg in lb", "2,204.62 lb" }, { "1000 kg in g", "1,000,000 g" } } },
        { "0.00001 kg", { { "1e-05 kg in lb", "0.000022 lb" }, { "1e-05 kg in g", "0.01 g" } } },
        { "2e15 kg",
            { { "2e+15 kg in lb", "4.4092e+15 lb" }, { "2e+15 kg in g", "2.0000e+18 g" } } },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(Calculator::convert(testCase.text), testCase.rows);
        EXPECT_EQ(Calculator::results(testCase.text), testCase.rows);
    }
}

TEST(Calculator, ConversionTextForms)
{
    // A number glued to its unit splits off, in any case, with any space separator.
    auto rows = Calculator::convert("5 km");
    ASSERT_EQ(rows.size(), 3u);
    for (auto text : { "5km", "5KM", " 5\u00A0km ", "5 \u212Am", "5km to mi", "5 km in mi" }) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Calculator::convert(text), rows);
    }
    EXPECT_EQ(
        Calculator::convert("-5km").front(), (CalculatorResult { "-5 km in mi", "-3.10686 mi" }));

    for (auto text : { "10 km to lightyear", "10 lightyear", "10 g", "10 oz", "10 k", "10 km mi",
             "10 km at mi", "km 10", "10", "", "   ", "5-km", "1.5.2 km", "10 km to mi extra",
             "10km to mi x", "nan km", "inf km", "1e999 km", "10 km to g", "10 mile" }) {
        SCOPED_TRACE(text);
        EXPECT_TRUE(Calculator::convert(text).empty());
    }
    // Neither a conversion nor arithmetic: no row at all.
    EXPECT_TRUE(Calculator::results("10 km to lightyear").empty());
}

TEST(Calculator, ArithmeticRowShowsTheExpressionWithSpacedSigns)
{
    struct Case {
        const char* text;
        CalculatorResult row;
    };
    const Case cases[] = {
        { "3*4", { "3 \u00D7 4 =", "12" } },
        { "6/3", { "6 \u00F7 3 =", "2" } },
        { "  15%   *  80 ", { "15% \u00D7 80 =", "12" } },
        { "2\u00D73", { "2\u00D73 =", "6" } }, // Typed signs stay as typed.
        { "PI*2", { "PI \u00D7 2 =", "6.283185" } },
        { "1234567*1", { "1234567 \u00D7 1 =", "1,234,567" } },
        { "10^15", { "10^15 =", "1.0000e+15" } },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(Calculator::results(testCase.text), std::vector { testCase.row });
    }
}

TEST(Calculator, HostileInputNeverCrashesOrHangs)
{
    // Nesting beyond any typed expression is refused, not followed down the stack.
    EXPECT_EQ(
        Calculator::evaluate(repeated("(", 10000) + "1" + repeated(")", 10000)), std::nullopt);
    EXPECT_EQ(
        Calculator::evaluate(repeated("sqrt(", 10000) + "4" + repeated(")", 10000)), std::nullopt);
    EXPECT_EQ(Calculator::evaluate(repeated("2^", 10000) + "1"), std::nullopt);
    EXPECT_EQ(Calculator::evaluate(repeated("(", 10000)), std::nullopt);
    EXPECT_EQ(Calculator::evaluate(repeated("(", 99) + "1" + repeated(")", 99) + "+1"), 2);
    EXPECT_EQ(
        Calculator::evaluate(repeated("(", 100) + "1" + repeated(")", 100) + "+1"), std::nullopt);
    // Signs do not nest, so any number of them is fine.
    EXPECT_EQ(Calculator::evaluate(repeated("-", 10001) + "1"), -1);

    // Long input stays linear.
    EXPECT_EQ(Calculator::evaluate(repeated("1+", 500000) + "1"), 500001);
    EXPECT_TRUE(Calculator::results(repeated("9", 1000000) + " km").empty());
    EXPECT_TRUE(Calculator::results(std::string(1000000, ' ')).empty());

    // Invalid UTF-8, including cut-off forms of the characters the calculator reads.
    for (const std::string& text :
        std::vector<std::string> { "2+2\xFF", "\xC3", "1\xC3", "1\xE2\x84", "\xC3\x97",
            "5 \xE2\x84 m", "\xED\xA0\x80+1", std::string("2+\0002", 4) }) {
        SCOPED_TRACE(text);
        EXPECT_TRUE(Calculator::results(text).empty());
        EXPECT_FALSE(Calculator::looksLikeMath(text));
    }
}

namespace {

// Random arithmetic written out with as few parentheses as the grammar allows, evaluated alongside
// in long double straight from the tree, so that the parser and the reference share nothing.
class ExpressionGenerator {
public:
    struct Expression {
        std::string text;
        int level = 0; // 1 sum, 2 product, 3 power, 4 sign, 5 percent, 6 primary.
        long double value = 0;
        bool isStable = true; // False where double and long double may part: cancellation, edges.
    };

    explicit ExpressionGenerator(unsigned seed)
        : m_random(seed)
    {
    }

    Expression generate(int depth)
    {
        if (depth == 0 || chance(0.2))
            return leaf();
        switch (pick(10)) {
        case 0:
        case 1:
            return sum(depth);
        case 2:
        case 3:
            return product(depth);
        case 4:
            return implied(depth);
        case 5:
            return power(depth);
        case 6:
            return sign(depth);
        case 7:
            return percent(depth);
        case 8:
            return function(depth);
        default:
            return parenthesized(generate(depth - 1));
        }
    }

private:
    bool chance(double probability)
    {
        return std::uniform_real_distribution<>(0, 1)(m_random) < probability;
    }
    int pick(int count) { return std::uniform_int_distribution<>(0, count - 1)(m_random); }
    std::string space() { return chance(0.3) ? " " : ""; }

    static Expression parenthesized(Expression inner)
    {
        return { "(" + inner.text + ")", 6, inner.value, inner.isStable };
    }
    static Expression atLeast(Expression expression, int level)
    {
        return expression.level >= level ? expression : parenthesized(std::move(expression));
    }
    static Expression checked(Expression expression)
    {
        auto magnitude = std::fabs(expression.value);
        // Beyond the range of double, long double carries on where double overflows or flushes.
        if (std::isfinite(expression.value)
            && (magnitude > 1e300L || (magnitude != 0 && magnitude < 1e-300L)))
            expression.isStable = false;
        return expression;
    }

    Expression leaf()
    {
        switch (pick(5)) {
        case 0: {
            int whole = pick(1000);
            return { std::to_string(whole), 6, static_cast<long double>(whole) };
        }
        case 1: {
            int hundredths = pick(100000);
            auto text = std::to_string(hundredths / 100) + "."
                + std::to_string(hundredths / 10 % 10) + std::to_string(hundredths % 10);
            return { text, 6, hundredths / 100.0L };
        }
        case 2: {
            int thousands = 1 + pick(99);
            int rest = pick(1000);
            auto restText = std::to_string(rest);
            return { std::to_string(thousands) + "," + std::string(3 - restText.size(), '0')
                    + restText,
                6, thousands * 1000.0L + rest };
        }
        case 3:
            return { "pi", 6, static_cast<long double>(pi) };
        default:
            return { "e", 6, static_cast<long double>(e) };
        }
    }

    Expression sum(int depth)
    {
        auto left = atLeast(generate(depth - 1), 1);
        auto right = atLeast(generate(depth - 1), 2);
        bool isAddition = chance(0.5);
        auto value = isAddition ? left.value + right.value : left.value - right.value;
        auto scale = std::max(std::fabs(left.value), std::fabs(right.value));
        bool cancels = std::fabs(value) <= 1e-6L * scale;
        return checked({ left.text + space() + (isAddition ? "+" : "-") + space() + right.text, 1,
            value, left.isStable && right.isStable && !cancels });
    }

    Expression product(int depth)
    {
        auto left = atLeast(generate(depth - 1), 2);
        auto right = atLeast(generate(depth - 1), 3);
        bool isDivision = chance(0.5);
        std::string sign
            = isDivision ? (chance(0.8) ? "/" : "\u00F7") : (chance(0.8) ? "*" : "\u00D7");
        return checked({ left.text + space() + sign + space() + right.text, 2,
            isDivision ? left.value / right.value : left.value * right.value,
            left.isStable && right.isStable });
    }

    Expression implied(int depth)
    {
        auto left = atLeast(generate(depth - 1), 2);
        auto right = atLeast(generate(depth - 1), 3);
        auto isLetter = [](char byte) { return byte >= 'a' && byte <= 'z'; };
        // Only a parenthesis or a letter multiplies without a sign, and two letter runs would
        // merge.
        if (!(right.text[0] == '(' || isLetter(right.text[0]))
            || (isLetter(left.text.back()) && isLetter(right.text[0])))
            right = parenthesized(std::move(right));
        return checked({ left.text + right.text, 2, left.value * right.value,
            left.isStable && right.isStable });
    }

    Expression power(int depth)
    {
        auto base = atLeast(generate(depth - 1), 4);
        // Small whole exponents keep the values in range and well conditioned.
        int exponent = pick(4);
        bool isNegative = chance(0.2);
        auto exponentText = (isNegative ? "-" : "") + std::to_string(exponent);
        auto value = std::pow(base.value, isNegative ? -exponent : exponent);
        return checked({ base.text + "^" + exponentText, 3, value, base.isStable });
    }

    Expression sign(int depth)
    {
        auto operand = atLeast(generate(depth - 1), 4);
        bool isMinus = chance(0.8);
        return { (isMinus ? "-" : "+") + operand.text, 4, isMinus ? -operand.value : operand.value,
            operand.isStable };
    }

    Expression percent(int depth)
    {
        auto operand = atLeast(generate(depth - 1), 6);
        return checked({ operand.text + "%", 5, operand.value / 100, operand.isStable });
    }

    Expression function(int depth)
    {
        auto argument = generate(depth - 1);
        auto x = argument.value;
        auto nearWhole = [](long double value, long double offset) {
            auto shifted = value - offset;
            return std::fabs(shifted - std::round(shifted))
                < 1e-9L * std::max(1.0L, std::fabs(value));
        };
        struct Function {
            const char* name;
            long double value;
            bool isStable;
        };
        const Function functions[] = {
            { "sqrt", std::sqrt(x), std::fabs(x) > 1e-9L },
            { "abs", std::fabs(x), true },
            { "round", std::round(x), !nearWhole(x, 0.5L) },
            { "floor", std::floor(x), !nearWhole(x, 0) },
            { "ceil", std::ceil(x), !nearWhole(x, 0) },
            { "ln", std::log(x), std::fabs(x) > 1e-9L && std::fabs(std::log(x)) > 1e-6L },
            { "log", std::log10(x), std::fabs(x) > 1e-9L && std::fabs(std::log10(x)) > 1e-6L },
            { "sin", std::sin(x), std::fabs(x) < 1e6L && std::fabs(std::sin(x)) > 1e-6L },
            { "cos", std::cos(x), std::fabs(x) < 1e6L && std::fabs(std::cos(x)) > 1e-6L },
            { "tan", std::tan(x),
                std::fabs(x) < 1e6L && std::fabs(std::tan(x)) > 1e-6L
                    && std::fabs(std::tan(x)) < 1e6L },
        };
        auto& function = functions[pick(std::size(functions))];
        return checked({ std::string(function.name) + "(" + argument.text + ")", 6, function.value,
            argument.isStable && function.isStable });
    }

    std::mt19937 m_random;
};

} // namespace

TEST(Calculator, AgreesWithAnIndependentEvaluationOfRandomExpressions)
{
    ExpressionGenerator generator(20261123);
    int compared = 0;
    constexpr int count = 4000;
    for (int index = 0; index < count; ++index) {
        auto expression = generator.generate(1 + index % 5);
        if (!expression.isStable)
            continue;
        ++compared;
        SCOPED_TRACE(expression.text);
        auto value = Calculator::evaluate(expression.text);
        if (!Calculator::looksLikeMath(expression.text) || !std::isfinite(expression.value)) {
            EXPECT_EQ(value, std::nullopt);
            continue;
        }
        ASSERT_TRUE(value.has_value());
        // Far tighter than the six decimals shown.
        auto tolerance = 1e-9L * std::fabs(expression.value);
        EXPECT_LE(std::fabs(*value - expression.value), tolerance)
            << "reference " << static_cast<double>(expression.value);
    }
    // Most expressions must be comparable, or the check proves little.
    EXPECT_GT(compared, count * 3 / 4);
}
