#include "Support/IsoDate.h"

#include "Support/Json.h"
#include "Support/UUID.h"

#include <cmath>
#include <set>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono;

Date utc(int y, unsigned m, unsigned d, int hour, int minute, int second)
{
    return sys_days(year(y) / m / d) + hours(hour) + minutes(minute) + seconds(second);
}

} // namespace

TEST(IsoDate, ReadsInternetDateTimeWithAZoneAndNothingElse)
{
    struct Case {
        const char* text;
        std::optional<Date> date;
    };
    auto instant = utc(2026, 11, 13, 5, 11, 39);
    const Case cases[] = {
        { "2026-11-13T05:11:39Z", instant },
        { "2026-11-13T06:11:39+01:00", instant },
        { "2026-11-13T00:41:39-04:30", instant },
        { "2024-02-29T00:00:00Z", utc(2024, 2, 29, 0, 0, 0) },
        { "0000-01-01T00:00:00Z", utc(0, 1, 1, 0, 0, 0) },
        { "9999-12-31T23:59:59Z", utc(9999, 12, 31, 23, 59, 59) },
        // Each of these is a near miss that a lax reader would take.
        { "", std::nullopt },
        { "2026-11-13", std::nullopt },
        { "2026-11-13T05:11:39", std::nullopt },
        { "2026-11-13T05:11:39.250Z", std::nullopt },
        { "2026-11-13 05:11:39Z", std::nullopt },
        { "2026-11-13T05:11:39z", std::nullopt },
        { "2026-11-13T05:11:39+0100", std::nullopt },
        { "2026-11-13T05:11:39+24:00", std::nullopt },
        { "2026-11-13T05:11:39Z ", std::nullopt },
        { "2026-13-01T00:00:00Z", std::nullopt },
        { "2023-02-29T00:00:00Z", std::nullopt },
        { "2026-11-13T24:00:00Z", std::nullopt },
        { "2026-11-13T05:60:00Z", std::nullopt },
        { "2026-11-13T05:11:60Z", std::nullopt },
        { "+2026-11-13T05:11:39Z", std::nullopt },
        { "2026-1a-13T05:11:39Z", std::nullopt },
        { "１０２６-11-13T05:11:39Z", std::nullopt },
        // In range as written, out of range in UTC.
        { "9999-12-31T23:59:59-01:00", std::nullopt },
        { "0000-01-01T00:00:00+01:00", std::nullopt },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(parseIsoDate(testCase.text), testCase.date);
    }
}

TEST(IsoDate, WritesWholeSecondsInUTCThatReadBack)
{
    EXPECT_EQ(isoDateText(utc(2026, 11, 13, 5, 11, 39)), "2026-11-13T05:11:39Z");
    EXPECT_EQ(isoDateText(utc(7, 1, 2, 3, 4, 5)), "0007-01-02T03:04:05Z");
    EXPECT_EQ(isoDateText(utc(1969, 12, 31, 23, 59, 59)), "1969-12-31T23:59:59Z");
    auto now = currentDate();
    EXPECT_EQ(parseIsoDate(isoDateText(now)), now);
    // Beyond the four-digit years a date is clamped, so that a saved document always reads back.
    EXPECT_EQ(isoDateText(Date(seconds(std::int64_t { 1 } << 50))), "9999-12-31T23:59:59Z");
    EXPECT_EQ(isoDateText(Date(seconds(-(std::int64_t { 1 } << 50)))), "0000-01-01T00:00:00Z");
}

TEST(JsonField, ReadsWholeNumbersInRangeAndNothingLoose)
{
    struct Case {
        const char* json;
        std::optional<std::int64_t> whole;
        std::optional<std::uint32_t> unsigned32;
    };
    const Case cases[] = {
        { "30", 30, 30u },
        { "30.0", 30, 30u },
        { "-1", -1, std::nullopt },
        { "30.5", std::nullopt, std::nullopt },
        { "4294967295", 4294967295, 4294967295u },
        { "4294967296", 4294967296, std::nullopt },
        { "9223372036854775807", INT64_MAX, std::nullopt },
        { "9223372036854775808", std::nullopt, std::nullopt },
        { "1e300", std::nullopt, std::nullopt },
        { "\"30\"", std::nullopt, std::nullopt },
        { "true", std::nullopt, std::nullopt },
        { "null", std::nullopt, std::nullopt },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.json);
        auto value = Json::parse(testCase.json);
        ASSERT_TRUE(value);
        EXPECT_EQ(Json::Field<std::int64_t>::decode(*value), testCase.whole);
        EXPECT_EQ(Json::Field<std::uint32_t>::decode(*value), testCase.unsigned32);
    }
}

TEST(JsonField, TolerantReadKeepsTheDefaultOnlyForAnAbsentOrNullKey)
{
    auto object = *Json::parse(R"({"present": "yes", "empty": null, "wrong": 1})");
    std::string field = "default";
    EXPECT_FALSE(Json::readTolerant(object, "absent", field));
    EXPECT_FALSE(Json::readTolerant(object, "empty", field));
    EXPECT_EQ(field, "default");
    EXPECT_FALSE(Json::readTolerant(object, "present", field));
    EXPECT_EQ(field, "yes");
    auto error = Json::readTolerant(object, "wrong", field);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message, "\"wrong\" must be a string.");
    EXPECT_EQ(Json::read(object, "absent", field)->message, "\"absent\" is missing.");
}

TEST(JsonDocument, IsLaidOutAsTheLibraryWouldWithSortedKeys)
{
    // The writer is our own for speed; the library's pretty printer is the reference layout.
    auto value = Json::parse(
        R"({"b": [1, -2, 18446744073709551615, 0.1, 30.0, -0.0, 1e300, 1e-7, 123456.789],
        "a": {"nested": {}, "list": [], "deep": [[{"x": null}], true, false]},
        "text": "quote \" backslash \\ tab \t nl \n cr \r \u0001 \u001f \u007f é ✓ 😀 \/"})")
                     .value();
    EXPECT_EQ(Json::documentText(value).value(), value.dump(2) + "\n");
    EXPECT_EQ(Json::documentText(Json::Value::array()).value(), "[]\n");
    EXPECT_EQ(Json::documentText(Json::Value(std::nan(""))).value(), "null\n");
    EXPECT_FALSE(Json::documentText(Json::Value { { "text", "\xC3" } }));
    EXPECT_FALSE(Json::documentText(Json::Value { { "\xFF", 1 } }));

    // An array written an element at a time is laid out the same, and fails the same.
    auto elements = Json::Value::array({ value, 1, Json::Value::array(), "two" });
    auto element = [&](std::size_t index) { return elements[index]; };
    EXPECT_EQ(Json::arrayDocumentText(elements.size(), element).value(),
        Json::documentText(elements).value());
    EXPECT_EQ(Json::arrayDocumentText(0, element).value(), "[]\n");
    EXPECT_EQ(Json::arrayDocumentText(1, element).value(),
        Json::documentText(Json::Value::array({ value })).value());
    EXPECT_FALSE(Json::arrayDocumentText(
        2, [](std::size_t index) { return index == 0 ? Json::Value(1) : Json::Value("\xC3"); }));
}

TEST(UUID, IsAnUpperCaseVersionFourTextThatDoesNotRepeat)
{
    std::set<std::string> seen;
    for (int index = 0; index < 2000; ++index) {
        auto uuid = makeUUID();
        ASSERT_EQ(uuid.size(), 36u);
        for (std::size_t position = 0; position < uuid.size(); ++position) {
            SCOPED_TRACE(uuid);
            if (position == 8 || position == 13 || position == 18 || position == 23)
                EXPECT_EQ(uuid[position], '-');
            else
                EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(uuid[position]))
                    || (uuid[position] >= 'A' && uuid[position] <= 'F'));
        }
        EXPECT_EQ(uuid[14], '4');
        EXPECT_NE(std::string("89AB").find(uuid[19]), std::string::npos);
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 2000u);
}

} // namespace zeph
