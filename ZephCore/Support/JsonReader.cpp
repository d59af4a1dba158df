// Json::parse. Documents are read on every start and after every change an agent makes, and the
// general-purpose parser spent most of its time keeping each token's text for error messages that
// nothing here shows. This reader accepts exactly the same texts and builds the same values: a
// byte-order mark is skipped, strings must be UTF-8 without raw control characters, non-negative
// integers are unsigned, negative ones signed, integers out of range become doubles, a double out
// of range is an error, of repeated keys the last wins, and a NUL byte after the value ends the
// text. It keeps its own stack, so nesting depth costs heap, not call stack.
#include "Support/Json.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace zeph::Json {

namespace {

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

class Reader {
public:
    explicit Reader(std::string_view text)
        : m_at(text.data())
        , m_end(text.data() + text.size())
    {
    }

    std::optional<Value> read()
    {
        skipByteOrderMark();
        Value root;
        if (!readWhole(root) || !isAtEnd())
            return std::nullopt;
        return root;
    }

    bool readEach(const std::function<void(Value&&, std::string_view)>& each,
        const std::function<std::size_t(std::string_view)>& skip)
    {
        skipByteOrderMark();
        skipSpace();
        if (m_at == m_end || *m_at != '[')
            return false;
        ++m_at;
        skipSpace();
        if (m_at != m_end && *m_at == ']') {
            ++m_at;
            return isAtEnd();
        }
        for (;;) {
            skipSpace();
            auto start = m_at;
            auto rest = std::string_view(m_at, static_cast<std::size_t>(m_end - m_at));
            if (auto known = skip ? skip(rest) : 0) {
                verify(known <= rest.size());
                m_at += known;
            } else {
                Value element;
                if (!readWhole(element))
                    return false;
                each(std::move(element), std::string_view(start, m_at - start));
            }
            skipSpace();
            if (m_at == m_end)
                return false;
            if (*m_at == ']') {
                ++m_at;
                return isAtEnd();
            }
            if (*m_at++ != ',')
                return false;
        }
    }

private:
    void skipByteOrderMark()
    {
        if (m_end - m_at >= 3 && std::memcmp(m_at, "\xEF\xBB\xBF", 3) == 0)
            m_at += 3;
    }

    // One value with everything inside it.
    bool readWhole(Value& value)
    {
        if (!readValue(value))
            return false;
        while (!m_open.empty()) {
            if (!readElement())
                return false;
        }
        return true;
    }

    // A NUL byte ends the text, as it ends a C string: a file padded with zeros still reads.
    bool isAtEnd()
    {
        skipSpace();
        return m_at == m_end || *m_at == '\0';
    }

    struct Container {
        Value* value;
        bool hasElements;
    };

    void skipSpace()
    {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t'))
            ++m_at;
    }

    // One step inside the innermost open container: its end, or one more element.
    bool readElement()
    {
        auto& container = m_open.back();
        skipSpace();
        if (m_at == m_end)
            return false;
        bool isObject = container.value->is_object();
        if (*m_at == (isObject ? '}' : ']')) {
            ++m_at;
            m_open.pop_back();
            return true;
        }
        if (container.hasElements) {
            if (*m_at != ',')
                return false;
            ++m_at;
        }
        container.hasElements = true;
        if (!isObject)
            return readValue(container.value->get_ref<Value::array_t&>().emplace_back());

        skipSpace();
        if (m_at == m_end || *m_at != '"')
            return false;
        ++m_at;
        std::string key;
        if (!readString(key))
            return false;
        skipSpace();
        if (m_at == m_end || *m_at != ':')
            return false;
        ++m_at;
        // Keys usually come in order, as documents are written sorted; then the place is known.
        auto& object = container.value->get_ref<Value::object_t&>();
        if (object.empty() || object.rbegin()->first < key)
            return readValue(object.emplace_hint(object.end(), std::move(key), Value())->second);
        auto& slot = object[std::move(key)];
        slot = Value();
        return readValue(slot);
    }

    // A scalar whole, or the opening of a container, which then joins the open ones.
    bool readValue(Value& target)
    {
        skipSpace();
        if (m_at == m_end)
            return false;
        switch (*m_at) {
        case '{':
            ++m_at;
            target = Value::object();
            m_open.push_back({ &target, false });
            return true;
        case '[':
            ++m_at;
            target = Value::array();
            m_open.push_back({ &target, false });
            return true;
        case '"': {
            ++m_at;
            std::string text;
            if (!readString(text))
                return false;
            target = std::move(text);
            return true;
        }
        case 't':
            return readLiteral("true", target, true);
        case 'f':
            return readLiteral("false", target, false);
        case 'n':
            return readLiteral("null", target, nullptr);
        default:
            return readNumber(target);
        }
    }

    template <typename Literal>
    bool readLiteral(std::string_view word, Value& target, Literal value)
    {
        if (static_cast<std::size_t>(m_end - m_at) < word.size()
            || std::memcmp(m_at, word.data(), word.size()) != 0)
            return false;
        m_at += word.size();
        target = value;
        return true;
    }

    // After the opening quote; leaves m_at after the closing one.
    bool readString(std::string& text)
    {
        for (;;) {
            auto* run = m_at;
            bool isASCIIRun = true;
            while (m_at != m_end) {
                auto byte = static_cast<unsigned char>(*m_at);
                if (byte == '"' || byte == '\\' || byte < 0x20)
                    break;
                isASCIIRun &= byte < 0x80;
                ++m_at;
            }
            std::string_view piece(run, static_cast<std::size_t>(m_at - run));
            if (!isASCIIRun && !isValidUTF8(piece))
                return false;
            text.append(piece);
            if (m_at == m_end || static_cast<unsigned char>(*m_at) < 0x20)
                return false;
            if (*m_at++ == '"')
                return true;
            if (!readEscape(text))
                return false;
        }
    }

    bool readEscape(std::string& text)
    {
        if (m_at == m_end)
            return false;
        switch (*m_at++) {
        case '"':
            text += '"';
            return true;
        case '\\':
            text += '\\';
            return true;
        case '/':
            text += '/';
            return true;
        case 'b':
            text += '\b';
            return true;
        case 'f':
            text += '\f';
            return true;
        case 'n':
            text += '\n';
            return true;
        case 'r':
            text += '\r';
            return true;
        case 't':
            text += '\t';
            return true;
        case 'u':
            break;
        default:
            return false;
        }
        auto first = readHex4();
        if (first < 0 || (first >= 0xDC00 && first <= 0xDFFF))
            return false;
        auto scalar = static_cast<char32_t>(first);
        if (first >= 0xD800 && first <= 0xDBFF) {
            if (m_end - m_at < 2 || m_at[0] != '\\' || m_at[1] != 'u')
                return false;
            m_at += 2;
            auto second = readHex4();
            if (second < 0xDC00 || second > 0xDFFF)
                return false;
            scalar = 0x10000 + ((scalar - 0xD800) << 10) + static_cast<char32_t>(second - 0xDC00);
        }
        appendUTF8(text, scalar);
        return true;
    }

    int readHex4()
    {
        if (m_end - m_at < 4)
            return -1;
        int value = 0;
        for (int index = 0; index < 4; ++index) {
            auto digit = hexDigit(*m_at++);
            if (!digit)
                return -1;
            value = value * 16 + *digit;
        }
        return value;
    }

    bool readNumber(Value& target)
    {
        auto* start = m_at;
        bool isNegative = *m_at == '-';
        if (isNegative)
            ++m_at;
        if (m_at == m_end)
            return false;
        if (*m_at == '0')
            ++m_at;
        else if (isDigit(*m_at))
            skipDigits();
        else
            return false;
        bool isInteger = true;
        if (m_at != m_end && *m_at == '.') {
            ++m_at;
            if (m_at == m_end || !isDigit(*m_at))
                return false;
            skipDigits();
            isInteger = false;
        }
        if (m_at != m_end && (*m_at == 'e' || *m_at == 'E')) {
            ++m_at;
            if (m_at != m_end && (*m_at == '+' || *m_at == '-'))
                ++m_at;
            if (m_at == m_end || !isDigit(*m_at))
                return false;
            skipDigits();
            isInteger = false;
        }
        if (isInteger) {
            if (isNegative) {
                std::int64_t value = 0;
                if (std::from_chars(start, m_at, value).ec == std::errc {}) {
                    target = value;
                    return true;
                }
            } else {
                std::uint64_t value = 0;
                if (std::from_chars(start, m_at, value).ec == std::errc {}) {
                    target = value;
                    return true;
                }
            }
        }
        // strtod, unlike from_chars, reads an underflow as the nearest value instead of failing.
        static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t {});
        verify(cLocale != locale_t {});
        std::string terminated(start, m_at);
        double value = strtod_l(terminated.c_str(), nullptr, cLocale);
        if (!std::isfinite(value))
            return false;
        target = value;
        return true;
    }

    void skipDigits()
    {
        while (m_at != m_end && isDigit(*m_at))
            ++m_at;
    }

    const char* m_at;
    const char* m_end;
    // Pointers stay valid: only the innermost container grows while it is open.
    std::vector<Container> m_open;
};

} // namespace

std::optional<Value> parse(std::string_view text)
{
    return Reader(text).read();
}

bool parseEach(std::string_view text, const std::function<void(Value&&, std::string_view)>& each,
    const std::function<std::size_t(std::string_view)>& skip)
{
    return Reader(text).readEach(each, skip);
}

} // namespace zeph::Json
