#pragma once

#include "Support/EnumTable.h"
#include "Support/IsoDate.h"
#include "Support/Result.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

// Reading fields of records: a value of the wrong type is an error that names the key, so that the
// whole document fails with a sentence someone can act on. Strict records also fail on a missing
// key; tolerant ones keep the field's default.
namespace zeph::Json {

using Value = nlohmann::json;

// Parses text without throwing; text that is not JSON yields nothing.
std::optional<Value> parse(std::string_view text);

// Parses text that must be one JSON array, handing each element to `each` as soon as it is whole
// and dropping it afterwards, so that a long document never stands as one tree: building and
// freeing that tree is most of reading one. `each` also gets the element's own text, from its
// first byte to its last. False when `parse` would refuse the text or the text is not an array;
// `each` has then seen the elements before the fault. `skip`, when given, sees the rest of the text
// where each element starts and may claim the element there as one it already knows, returning its
// length: those bytes, which must be one JSON value, are then passed over without being parsed.
bool parseEach(std::string_view text, const std::function<void(Value&&, std::string_view)>& each,
    const std::function<std::size_t(std::string_view)>& skip = {});

// The elements of an array read before, by their texts, for reading the array again: an element
// with the very bytes of one read before is that element again. Elements are looked for in their
// old order first, which costs one comparison of bytes each while the order holds; each is found
// once at most, so that two equal texts stay two elements.
class KnownElements {
public:
    explicit KnownElements(const std::vector<std::string>& texts);
    // The known element that `rest` begins with, when it is the one after the last found.
    std::optional<std::size_t> atStart(std::string_view rest);
    // The known element whose text is `text`, wherever it stood.
    std::optional<std::size_t> find(std::string_view text);

private:
    std::optional<std::size_t> take(std::size_t index);

    const std::vector<std::string>& m_texts;
    // Filled when the old order first fails.
    std::unordered_multimap<std::string_view, std::size_t> m_indices;
    std::vector<bool> m_isTaken;
    std::size_t m_next = 0;
};

// Whether arrays and objects in `text` nest deeper than `depth`, judged from the bytes alone. Text
// from outside is checked before it is parsed, for printing a parsed value recurses once for each
// level, and a hostile line of ten megabytes could nest five million levels deep.
bool nestsDeeperThan(std::string_view text, std::size_t depth = 512);

// A document as it goes to disk: two-space indentation, keys in byte order (so that equal content
// gives equal bytes), a final newline. Fails on a string that is not UTF-8.
Result<std::string> documentText(const Value& value);
// The document text of an array of `count` elements, each made by `element(index)` when its turn
// comes, so that the whole tree never stands at once; the same bytes as `documentText`.
Result<std::string> arrayDocumentText(
    std::size_t count, const std::function<Value(std::size_t)>& element);
// The same from the elements' texts, each from `elementText`, which may be kept and used again.
Result<std::string> elementText(const Value& value);
std::string arrayDocumentText(const std::vector<std::string>& elementTexts);

Value toJSON(Date date);

// How one field type is read from a JSON value: nothing when the value has another type.
template <typename T> struct Field;

template <> struct Field<std::string> {
    static constexpr const char* expected = "a string";
    static std::optional<std::string> decode(const Value& value);
};
template <> struct Field<bool> {
    static constexpr const char* expected = "true or false";
    static std::optional<bool> decode(const Value& value);
};
template <> struct Field<double> {
    static constexpr const char* expected = "a number";
    static std::optional<double> decode(const Value& value);
};
template <> struct Field<std::int64_t> {
    static constexpr const char* expected = "a whole number";
    static std::optional<std::int64_t> decode(const Value& value);
};
template <> struct Field<std::uint32_t> {
    static constexpr const char* expected = "a whole number from 0 to 4294967295";
    static std::optional<std::uint32_t> decode(const Value& value);
};
template <> struct Field<std::vector<std::string>> {
    static constexpr const char* expected = "an array of strings";
    static std::optional<std::vector<std::string>> decode(const Value& value);
};
template <> struct Field<std::map<std::string, std::string>> {
    static constexpr const char* expected = "an object of strings";
    static std::optional<std::map<std::string, std::string>> decode(const Value& value);
};
template <> struct Field<Date> {
    static constexpr const char* expected = "an ISO 8601 date such as \"2026-11-13T05:11:39Z\"";
    static std::optional<Date> decode(const Value& value);
};

// A hash over every value of a record, through its document form, which holds every field.
std::size_t hashOf(const Value& value);

// Writes `value` under `key` when there is one; an absent value stays an absent key.
void putOptional(Value& object, const char* key, const std::optional<std::string>& value);

// An absent key and a null value both mean "not given".
bool isAbsent(const Value& object, const char* key);

// "\"key\" is missing." or "\"key\" must be <expected>."
Error fieldError(const Value& object, const char* key, const char* expected);

template <typename T> Result<T> required(const Value& object, const char* key)
{
    if (auto found = object.find(key); found != object.end()) {
        if (auto value = Field<T>::decode(*found))
            return std::move(*value);
    }
    return fieldError(object, key, Field<T>::expected);
}

// Absent or null is nothing; any other type than T is an error.
template <typename T> Result<std::optional<T>> optional(const Value& object, const char* key)
{
    if (isAbsent(object, key))
        return std::optional<T> {};
    if (auto value = Field<T>::decode(object[key]))
        return std::optional<T>(std::move(*value));
    return fieldError(object, key, Field<T>::expected);
}

// The readers of record fields: each returns the error, if any, and fills `field` otherwise.
template <typename T> std::optional<Error> read(const Value& object, const char* key, T& field)
{
    auto value = required<T>(object, key);
    if (!value)
        return value.error();
    field = std::move(*value);
    return std::nullopt;
}

template <typename T>
std::optional<Error> read(const Value& object, const char* key, std::optional<T>& field)
{
    auto value = optional<T>(object, key);
    if (!value)
        return value.error();
    field = std::move(*value);
    return std::nullopt;
}

// For tolerant records: an absent or null key keeps the field's default.
template <typename T>
std::optional<Error> readTolerant(const Value& object, const char* key, T& field)
{
    auto value = optional<T>(object, key);
    if (!value)
        return value.error();
    if (*value)
        field = std::move(**value);
    return std::nullopt;
}

// Moves a field that was read into place, or hands back its error, for fields whose reader is not
// a plain type: `firstError({ readInto(requiredEnum<Kind>(json, "kind"), item.kind), … })`.
template <typename T, typename Field> std::optional<Error> readInto(Result<T> result, Field& field)
{
    if (!result)
        return result.error();
    field = std::move(*result);
    return std::nullopt;
}

// The first error of a record's field readers, which are all evaluated in order.
std::optional<Error> firstError(std::initializer_list<std::optional<Error>> errors);

inline Result<std::string> requiredString(const Value& object, const char* key)
{
    return required<std::string>(object, key);
}
inline Result<double> requiredNumber(const Value& object, const char* key)
{
    return required<double>(object, key);
}
inline Result<bool> requiredBool(const Value& object, const char* key)
{
    return required<bool>(object, key);
}
inline Result<std::vector<std::string>> requiredStrings(const Value& object, const char* key)
{
    return required<std::vector<std::string>>(object, key);
}
inline Result<std::optional<std::string>> optionalString(const Value& object, const char* key)
{
    return optional<std::string>(object, key);
}

// "snippet 3: …", of the element at `index`.
Error elementError(const char* noun, std::size_t index, const Error& error);

// Decodes each element of an array, naming the failing one: "snippet 3: …". The plural names the
// whole in the error for a value that is no array; without one, an "s" is added to the noun.
template <typename Record, typename Decode>
Result<std::vector<Record>> decodeArray(
    const Value& json, const char* noun, Decode decode, const char* plural = nullptr)
{
    if (!json.is_array())
        return Error { "The " + (plural ? std::string(plural) : std::string(noun) + "s")
            + " must be a JSON array." };
    std::vector<Record> records;
    records.reserve(json.size());
    for (std::size_t index = 0; index < json.size(); ++index) {
        auto record = decode(json[index]);
        if (!record)
            return elementError(noun, index, record.error());
        records.push_back(std::move(*record));
    }
    return records;
}

// What a reader of a list of records gives and gets beside the list.
template <typename Record> struct RecordTexts {
    // The records of an earlier reading or writing, each with its text: a record whose bytes come
    // back is that record again, moved from here, neither parsed nor decoded, so that reading a
    // long list that someone else has just rewritten costs what changed.
    std::vector<Record>* known = nullptr;
    const std::vector<std::string>* knownTexts = nullptr;
    // The text of each record read, within the text read.
    std::vector<std::string_view> texts {};
};

// `decodeArray` straight from the text, one element's tree at a time. Nothing when the text is not
// a JSON array: parsing it whole then tells what is wrong, with the same message as ever. With
// `recordTexts`, a decoded list also gives the text of each record within `text`, and takes the
// records that it knows from there.
template <typename Record, typename Decode>
std::optional<Result<std::vector<Record>>> decodeArrayText(std::string_view text, const char* noun,
    Decode decode, RecordTexts<Record>* recordTexts = nullptr)
{
    std::vector<Record> records;
    std::vector<std::string_view> texts;
    std::optional<Error> error;
    std::optional<KnownElements> known;
    if (recordTexts && recordTexts->known && recordTexts->knownTexts
        && recordTexts->known->size() == recordTexts->knownTexts->size())
        known.emplace(*recordTexts->knownTexts);
    auto reuse = [&](std::size_t index, std::string_view elementText) {
        records.push_back(std::move((*recordTexts->known)[index]));
        texts.push_back(elementText);
    };
    std::function<std::size_t(std::string_view)> skip;
    if (known) {
        skip = [&](std::string_view rest) -> std::size_t {
            auto index = known->atStart(rest);
            if (!index || error)
                return 0;
            auto length = (*recordTexts->knownTexts)[*index].size();
            reuse(*index, rest.substr(0, length));
            return length;
        };
    }
    // After a failed record the rest is still parsed: text that is not JSON is that error first.
    bool isArray = parseEach(
        text,
        [&](Value&& element, std::string_view elementText) {
            if (error)
                return;
            if (known) {
                if (auto index = known->find(elementText))
                    return reuse(*index, elementText);
            }
            auto record = decode(element);
            if (!record) {
                error = elementError(noun, records.size(), record.error());
                return;
            }
            records.push_back(std::move(*record));
            texts.push_back(elementText);
        },
        skip);
    if (!isArray)
        return std::nullopt;
    if (error)
        return Result<std::vector<Record>>(std::move(*error));
    if (recordTexts)
        recordTexts->texts = std::move(texts);
    return Result<std::vector<Record>>(std::move(records));
}

// For tolerant records whose field is itself a record or a list: an absent or null key keeps the
// field's default, and an error names the key, "search: …".
template <typename T, typename Decode>
std::optional<Error> readTolerant(const Value& object, const char* key, T& field, Decode decode)
{
    if (isAbsent(object, key))
        return std::nullopt;
    Result<T> value = decode(object[key]);
    if (!value)
        return Error { std::string(key) + ": " + value.error().message };
    field = std::move(*value);
    return std::nullopt;
}

template <typename Enum> Result<Enum> requiredEnum(const Value& object, const char* key)
{
    auto text = requiredString(object, key);
    if (!text)
        return text.error();
    if (auto value = fromString<Enum>(*text))
        return *value;
    return Error { "\"" + *text + "\" is not a valid \"" + key + "\"." };
}

} // namespace zeph::Json

namespace zeph {

// How a whole document meets JSON. Each document type specialises this beside its records with
// `static Json::Value encode(const Document&)` and `static Result<Document> decode(const
// Json::Value&)`.
template <typename Document> struct DocumentCoding;

// The text of a document, written a record at a time where the document knows how.
template <typename Document> Result<std::string> encodeDocument(const Document& document)
{
    using Coding = DocumentCoding<Document>;
    if constexpr (requires { Coding::encodeText(document); })
        return Coding::encodeText(document);
    else
        return Json::documentText(Coding::encode(document));
}

// The document in `text`, read a record at a time where the document knows how; nothing when the
// text is not JSON at all. Such a document also takes and gives `recordTexts`, a
// Json::RecordTexts of its records.
template <typename Document, typename Records = std::nullptr_t>
std::optional<Result<Document>> decodeDocument(std::string_view text, Records recordTexts = nullptr)
{
    using Coding = DocumentCoding<Document>;
    if constexpr (requires { Coding::decodeText(text, recordTexts); }) {
        if (auto document = Coding::decodeText(text, recordTexts))
            return document;
    }
    auto json = Json::parse(text);
    if (!json)
        return std::nullopt;
    return Coding::decode(*json);
}

} // namespace zeph
