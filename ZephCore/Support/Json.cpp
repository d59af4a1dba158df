#include "Support/Json.h"

#include "Support/Text.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace zeph::Json {

namespace {

// The document writer: nlohmann's pretty layout, written directly, because the library's own
// serialiser decodes every byte and cost most of a save.
class DocumentWriter {
public:
    // Appends to `text`.
    explicit DocumentWriter(std::string& text)
        : m_text(text)
    {
    }

    std::optional<Error> write(const Value& value, int depth)
    {
        switch (value.type()) {
        case Value::value_t::null:
            m_text += "null";
            return std::nullopt;
        case Value::value_t::boolean:
            m_text += value.get<bool>() ? "true" : "false";
            return std::nullopt;
        case Value::value_t::number_integer:
            return writeNumber(value.get<std::int64_t>());
        case Value::value_t::number_unsigned:
            return writeNumber(value.get<std::uint64_t>());
        case Value::value_t::number_float:
            return writeDouble(value.get<double>());
        case Value::value_t::string:
            return writeString(value.get_ref<const std::string&>());
        case Value::value_t::array:
            return writeContainer(value, depth, '[', ']');
        case Value::value_t::object:
            return writeContainer(value, depth, '{', '}');
        case Value::value_t::binary:
        case Value::value_t::discarded:
            break;
        }
        return Error { "The document holds a value that JSON cannot express." };
    }

    // The size of the text without escapes; containers count their layout. Reserving the whole
    // text at once matters: growing a string of a few hundred kilobytes step by step maps fresh
    // pages at every step, which cost more than the writing itself.
    static std::size_t estimatedSize(const Value& value, int depth)
    {
        switch (value.type()) {
        case Value::value_t::string:
            return value.get_ref<const std::string&>().size() + 2;
        case Value::value_t::array:
        case Value::value_t::object: {
            std::size_t size = 2 * static_cast<std::size_t>(depth) + 4;
            if (value.is_object()) {
                for (auto& [key, element] : value.items())
                    size += 2 * static_cast<std::size_t>(depth) + key.size() + 8
                        + estimatedSize(element, depth + 1);
            } else {
                for (auto& element : value)
                    size += 2 * static_cast<std::size_t>(depth) + 4
                        + estimatedSize(element, depth + 1);
            }
            return size;
        }
        default:
            return 24;
        }
    }

private:
    template <typename Number> std::optional<Error> writeNumber(Number number)
    {
        char buffer[32];
        auto end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
        m_text.append(buffer, end);
        return std::nullopt;
    }

    // Shortest text that reads back as the same double; a whole number keeps ".0" so that it
    // stays a floating-point number on the way back. JSON has no infinity or NaN.
    std::optional<Error> writeDouble(double number)
    {
        if (!std::isfinite(number)) {
            m_text += "null";
            return std::nullopt;
        }
        char buffer[32];
        auto end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
        std::string_view text(buffer, static_cast<std::size_t>(end - buffer));
        m_text += text;
        if (text.find_first_of(".e") == std::string_view::npos)
            m_text += ".0";
        return std::nullopt;
    }

    std::optional<Error> writeString(std::string_view text)
    {
        if (!isValidUTF8(text))
            return Error { "The document holds text that is not UTF-8." };
        m_text += '"';
        std::size_t plain = 0;
        for (std::size_t index = 0; index < text.size(); ++index) {
            auto byte = static_cast<unsigned char>(text[index]);
            if (byte >= 0x20 && byte != '"' && byte != '\\')
                continue;
            m_text.append(text.substr(plain, index - plain));
            plain = index + 1;
            switch (byte) {
            case '"':
                m_text += "\\\"";
                break;
            case '\\':
                m_text += "\\\\";
                break;
            case '\n':
                m_text += "\\n";
                break;
            case '\r':
                m_text += "\\r";
                break;
            case '\t':
                m_text += "\\t";
                break;
            case '\b':
                m_text += "\\b";
                break;
            case '\f':
                m_text += "\\f";
                break;
            default: {
                constexpr char hexDigits[] = "0123456789abcdef";
                m_text += "\\u00";
                m_text += hexDigits[byte >> 4];
                m_text += hexDigits[byte & 0x0F];
            }
            }
        }
        m_text.append(text.substr(plain));
        m_text += '"';
        return std::nullopt;
    }

    std::optional<Error> writeContainer(const Value& value, int depth, char open, char close)
    {
        m_text += open;
        if (value.empty()) {
            m_text += close;
            return std::nullopt;
        }
        m_text += '\n';
        bool isFirst = true;
        auto writeElement
            = [&](const std::string* key, const Value& element) -> std::optional<Error> {
            if (!isFirst)
                m_text += ",\n";
            isFirst = false;
            m_text.append(static_cast<std::size_t>(2 * (depth + 1)), ' ');
            if (key) {
                if (auto error = writeString(*key))
                    return error;
                m_text += ": ";
            }
            return write(element, depth + 1);
        };
        if (value.is_object()) {
            for (auto& [key, element] : value.items()) {
                if (auto error = writeElement(&key, element))
                    return error;
            }
        } else {
            for (auto& element : value) {
                if (auto error = writeElement(nullptr, element))
                    return error;
            }
        }
        m_text += '\n';
        m_text.append(static_cast<std::size_t>(2 * depth), ' ');
        m_text += close;
        return std::nullopt;
    }

    std::string& m_text;
};

} // namespace

bool nestsDeeperThan(std::string_view text, std::size_t depth)
{
    std::size_t level = 0;
    bool isInString = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        char character = text[index];
        if (isInString) {
            if (character == '\\')
                ++index;
            else if (character == '"')
                isInString = false;
            continue;
        }
        switch (character) {
        case '"':
            isInString = true;
            break;
        case '[':
        case '{':
            if (++level > depth)
                return true;
            break;
        case ']':
        case '}':
            if (level > 0)
                --level;
            break;
        default:
            break;
        }
    }
    return false;
}

Result<std::string> documentText(const Value& value)
{
    std::string text;
    text.reserve(DocumentWriter::estimatedSize(value, 0));
    if (auto error = DocumentWriter(text).write(value, 0))
        return *error;
    text.push_back('\n');
    return text;
}

Result<std::string> elementText(const Value& value)
{
    std::string text;
    text.reserve(DocumentWriter::estimatedSize(value, 1));
    if (auto error = DocumentWriter(text).write(value, 1))
        return *error;
    return text;
}

std::string arrayDocumentText(const std::vector<std::string>& elementTexts)
{
    if (elementTexts.empty())
        return "[]\n";
    std::size_t size = 4;
    for (auto& element : elementTexts)
        size += element.size() + 4;
    std::string text;
    text.reserve(size);
    text.append("[\n  ");
    for (std::size_t index = 0; index < elementTexts.size(); ++index)
        text.append(index == 0 ? "" : ",\n  ").append(elementTexts[index]);
    text.append("\n]\n");
    return text;
}

Result<std::string> arrayDocumentText(
    std::size_t count, const std::function<Value(std::size_t)>& element)
{
    std::vector<std::string> texts;
    texts.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        auto text = elementText(element(index));
        if (!text)
            return text.error();
        texts.push_back(std::move(*text));
    }
    return arrayDocumentText(texts);
}

Value toJSON(Date date)
{
    return isoDateText(date);
}

std::size_t hashOf(const Value& value)
{
    return std::hash<std::string> {}(value.dump(-1, ' ', false, Value::error_handler_t::replace));
}

void putOptional(Value& object, const char* key, const std::optional<std::string>& value)
{
    if (value)
        object[key] = *value;
}

bool isAbsent(const Value& object, const char* key)
{
    auto found = object.find(key);
    return found == object.end() || found->is_null();
}

Error fieldError(const Value& object, const char* key, const char* expected)
{
    if (!object.contains(key))
        return Error { std::string("\"") + key + "\" is missing." };
    return Error { std::string("\"") + key + "\" must be " + expected + "." };
}

KnownElements::KnownElements(const std::vector<std::string>& texts)
    : m_texts(texts)
    , m_isTaken(texts.size())
{
}

std::optional<std::size_t> KnownElements::atStart(std::string_view rest)
{
    if (m_next >= m_texts.size() || m_isTaken[m_next])
        return std::nullopt;
    auto& text = m_texts[m_next];
    // The byte after it must end the element (a NUL byte ends the text), or a number would be
    // known by its first digits.
    if (!rest.starts_with(text)
        || (rest.size() > text.size() && !std::strchr(" \t\r\n,]", rest[text.size()])))
        return std::nullopt;
    return take(m_next);
}

std::optional<std::size_t> KnownElements::find(std::string_view text)
{
    if (m_indices.empty()) {
        m_indices.reserve(m_texts.size());
        for (std::size_t index = 0; index < m_texts.size(); ++index)
            m_indices.emplace(m_texts[index], index);
    }
    // Of equal texts, the first one not taken, so that repeated elements keep their order.
    std::optional<std::size_t> earliest;
    auto [first, last] = m_indices.equal_range(text);
    for (auto found = first; found != last; ++found) {
        if (!m_isTaken[found->second] && (!earliest || found->second < *earliest))
            earliest = found->second;
    }
    if (!earliest)
        return std::nullopt;
    return take(*earliest);
}

std::optional<std::size_t> KnownElements::take(std::size_t index)
{
    m_isTaken[index] = true;
    m_next = index + 1;
    return index;
}

Error elementError(const char* noun, std::size_t index, const Error& error)
{
    return Error { std::string(noun) + " " + std::to_string(index + 1) + ": " + error.message };
}

std::optional<Error> firstError(std::initializer_list<std::optional<Error>> errors)
{
    for (auto& error : errors) {
        if (error)
            return error;
    }
    return std::nullopt;
}

std::optional<std::string> Field<std::string>::decode(const Value& value)
{
    if (!value.is_string())
        return std::nullopt;
    return value.get<std::string>();
}

std::optional<bool> Field<bool>::decode(const Value& value)
{
    if (!value.is_boolean())
        return std::nullopt;
    return value.get<bool>();
}

std::optional<double> Field<double>::decode(const Value& value)
{
    if (!value.is_number())
        return std::nullopt;
    return value.get<double>();
}

std::optional<std::int64_t> Field<std::int64_t>::decode(const Value& value)
{
    if (value.is_number_unsigned()) {
        auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer())
        return value.get<std::int64_t>();
    // "30.0" is the whole number 30, as other JSON writers may put it.
    if (value.is_number_float()) {
        auto number = value.get<double>();
        if (std::isfinite(number) && number == std::trunc(number) && number >= -0x1p63
            && number < 0x1p63)
            return static_cast<std::int64_t>(number);
    }
    return std::nullopt;
}

std::optional<std::uint32_t> Field<std::uint32_t>::decode(const Value& value)
{
    auto number = Field<std::int64_t>::decode(value);
    if (!number || *number < 0 || *number > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

std::optional<std::vector<std::string>> Field<std::vector<std::string>>::decode(const Value& value)
{
    if (!value.is_array())
        return std::nullopt;
    std::vector<std::string> strings;
    strings.reserve(value.size());
    for (auto& element : value) {
        if (!element.is_string())
            return std::nullopt;
        strings.push_back(element.get<std::string>());
    }
    return strings;
}

std::optional<std::map<std::string, std::string>> Field<std::map<std::string, std::string>>::decode(
    const Value& value)
{
    if (!value.is_object())
        return std::nullopt;
    std::map<std::string, std::string> strings;
    for (auto& [key, element] : value.items()) {
        if (!element.is_string())
            return std::nullopt;
        strings.emplace_hint(strings.end(), key, element.get<std::string>());
    }
    return strings;
}

std::optional<Date> Field<Date>::decode(const Value& value)
{
    if (!value.is_string())
        return std::nullopt;
    return parseIsoDate(value.get_ref<const std::string&>());
}

} // namespace zeph::Json
