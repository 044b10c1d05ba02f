#include <information_model/TimePoint.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <limits>
#include <locale>
#include <random>
#include <stdexcept>
#include <string>

namespace kx::information_model {

using ::testing::HasSubstr;

namespace {

TimePoint at_nanosecond(std::int64_t count) {
    return TimePoint(std::chrono::nanoseconds(count));
}

TimePoint at_second(std::int64_t count) {
    return TimePoint(std::chrono::seconds(count));
}

constexpr std::int64_t FIRST = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t LAST = std::numeric_limits<std::int64_t>::max();

}  // namespace

/// A time and its text.
struct TimeRow {
    std::int64_t nanoseconds;
    const char* text;
};

class WrittenTime : public ::testing::TestWithParam<TimeRow> {};

TEST_P(WrittenTime, HasTheText) {
    EXPECT_EQ(to_iso8601_string(at_nanosecond(GetParam().nanoseconds)), GetParam().text);
}

TEST_P(WrittenTime, IsReadBack) {
    EXPECT_EQ(date_time_from_iso8601_string(GetParam().text), at_nanosecond(GetParam().nanoseconds));
}

INSTANTIATE_TEST_SUITE_P(TimePoint, WrittenTime,
                         ::testing::Values(TimeRow{0, "1970-01-01T00:00:00Z"},
                                           TimeRow{1, "1970-01-01T00:00:00.000000001Z"},
                                           TimeRow{-1, "1969-12-31T23:59:59.999999999Z"},
                                           TimeRow{1'000, "1970-01-01T00:00:00.000001Z"},
                                           TimeRow{1'000'000, "1970-01-01T00:00:00.001Z"},
                                           TimeRow{500'000'000, "1970-01-01T00:00:00.500Z"},
                                           TimeRow{120'000'000, "1970-01-01T00:00:00.120Z"},
                                           TimeRow{123'456'000, "1970-01-01T00:00:00.123456Z"},
                                           TimeRow{123'456'700, "1970-01-01T00:00:00.123456700Z"},
                                           TimeRow{-500'000'000, "1969-12-31T23:59:59.500Z"},
                                           TimeRow{1'795'255'872'000'000'000, "2026-11-21T10:11:12Z"},
                                           TimeRow{951'782'400'000'000'000, "2000-02-29T00:00:00Z"},
                                           TimeRow{-86'400'000'000'000, "1969-12-31T00:00:00Z"},
                                           TimeRow{FIRST, "1677-09-21T00:12:43.145224192Z"},
                                           TimeRow{LAST, "2262-04-11T23:47:16.854775807Z"}));

/// A text that only the reader knows, and its time in seconds.
struct ReadRow {
    const char* text;
    std::int64_t seconds;
};

class ReadTime : public ::testing::TestWithParam<ReadRow> {};

TEST_P(ReadTime, IsTheTime) {
    EXPECT_EQ(date_time_from_iso8601_string(GetParam().text), at_second(GetParam().seconds));
}

INSTANTIATE_TEST_SUITE_P(
    TimePoint, ReadTime,
    ::testing::Values(ReadRow{"1970-01-01T00:00:00", 0}, ReadRow{"1970-01-01T00:00:00.0Z", 0},
                      ReadRow{"1970-01-01T00:00:00.0000000000000000000000Z", 0},
                      ReadRow{"1970-01-01T00:00:00+00:00", 0}, ReadRow{"1970-01-01T00:00:00-00:00", 0},
                      ReadRow{"1970-01-01T01:00:00+01:00", 0}, ReadRow{"1969-12-31T23:30:00-00:30", 0},
                      ReadRow{"1970-01-01T14:00:00+14:00", 0}, ReadRow{"1969-12-31T10:00:00-14:00", 0},
                      ReadRow{"1970-01-01T13:59:01+13:59", 1}, ReadRow{"1969-12-31T24:00:00Z", 0},
                      ReadRow{"1969-12-31T24:00:00.000", 0}, ReadRow{"1970-01-01T24:00:00-01:00", 90'000},
                      ReadRow{"2024-02-29T00:00:00Z", 1'709'164'800},
                      ReadRow{"1999-12-31T23:59:59Z", 946'684'799}, ReadRow{"1970-01-01T00:01:01", 61}));

TEST(ReadTime, DigitsBeyondTheNinthAreCut) {
    EXPECT_EQ(date_time_from_iso8601_string("1970-01-01T00:00:00.1234567899Z"), at_nanosecond(123'456'789));
    EXPECT_EQ(date_time_from_iso8601_string("1970-01-01T00:00:00.0000000009"), at_nanosecond(0));
    EXPECT_EQ(date_time_from_iso8601_string("1969-12-31T23:59:59.9999999999Z"), at_nanosecond(-1));
    EXPECT_EQ(date_time_from_iso8601_string("1970-01-01T00:00:00." + std::string(100'000, '9') + "Z"),
              at_nanosecond(999'999'999));
}

TEST(ReadTime, MidnightAtTheEndOfADayMayHaveAFractionOfZero) {
    EXPECT_EQ(date_time_from_iso8601_string("1969-12-31T24:00:00.000000000000Z"), at_nanosecond(0));
}

TEST(ReadTime, WhiteSpaceAtTheEndsIsSkipped) {
    EXPECT_EQ(date_time_from_iso8601_string(" \t\r\n1970-01-01T00:00:00Z"), at_nanosecond(0));
    EXPECT_EQ(date_time_from_iso8601_string("1970-01-01T00:00:00\n  "), at_nanosecond(0));
}

TEST(ReadTime, OffsetReachesBothEndsOfTheRange) {
    EXPECT_EQ(date_time_from_iso8601_string("2262-04-12T13:47:16.854775807+14:00"), at_nanosecond(LAST));
    EXPECT_EQ(date_time_from_iso8601_string("1677-09-20T10:12:43.145224192-14:00"), at_nanosecond(FIRST));
}

class RefusedTime : public ::testing::TestWithParam<std::string> {};

TEST_P(RefusedTime, ThrowsAndNamesTheText) {
    try {
        const TimePoint time = date_time_from_iso8601_string(GetParam());
        FAIL() << "read as " << to_iso8601_string(time);
    } catch (const std::invalid_argument& error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam()));
    }
}

INSTANTIATE_TEST_SUITE_P(
    MalformedTime, RefusedTime,
    ::testing::Values("", "Z", "T", "2026", "2026-11-21", "2026-11-21T", "2026-11-21T10:11", "10:11:12",
                      "2026-11-21T10:11:12ZZ", "2026-11-21T10:11:12 Z",
                      "\xC2\xA0"
                      "2026-11-21T10:11:12Z",
                      "2026-11-21T10:11:12Z x", " ", "2026-11-21 10:11:12Z", "2026-11-21t10:11:12Z",
                      "2026-11-21T10:11:12z", "2026-1-21T10:11:12Z", "2026-11-1T10:11:12Z",
                      "2026-11-21T1:11:12Z", "2026-11-21T10:1:12Z", "2026-11-21T10:11:2Z", "20261121T101112Z",
                      "2026-11-21T10:11:12.Z", "2026-11-21T10:11:12.", "2026-11-21T10:11:12,5Z",
                      "2026-11-21T10:11:12.5.5Z", "2026-11-21T10:11:12.-5Z", "2026-11-21T10:11:12+1:00",
                      "2026-11-21T10:11:12+0100", "2026-11-21T10:11:12+01", "2026-11-21T10:11:12+01:0",
                      "2026-11-21T10:11:12+01:00Z", "2026-11-21T10:11:12Z+01:00", "2026-11-21T10:11:12+",
                      "2026-11-21T10:11:12+-1:00", "+2026-11-21T10:11:12Z", "--2026-11-21T10:11:12Z",
                      "2026-+1-21T10:11:12Z", "2026-W47-6T10:11:12Z", "2026-325T10:11:12Z",
                      "2026-11-21T10:11:12 +01:00", "202-11-21T10:11:12Z", "02026-11-21T10:11:12Z",
                      "abcd-11-21T10:11:12Z", "2O26-11-21T10:11:12Z"));

INSTANTIATE_TEST_SUITE_P(
    ImpossibleTime, RefusedTime,
    ::testing::Values("0000-01-01T00:00:00Z", "2026-00-21T10:11:12Z", "2026-13-21T10:11:12Z",
                      "2026-11-00T10:11:12Z", "2026-11-31T10:11:12Z", "2026-12-32T10:11:12Z",
                      "2026-02-29T10:11:12Z", "2024-02-30T10:11:12Z", "1900-02-29T10:11:12Z",
                      "2100-02-29T00:00:00Z", "2026-11-21T25:00:00Z", "2026-11-21T24:00:01Z",
                      "2026-11-21T24:01:00Z", "2026-11-21T24:00:00.001Z", "2026-11-21T24:00:00.0000000001",
                      "2026-11-21T24:00:00.0000000000000000001Z", "2026-11-21T10:60:12Z",
                      "2026-11-21T10:11:60Z", "2016-12-31T23:59:60Z", "2026-11-21T10:11:12+14:01",
                      "2026-11-21T10:11:12+15:00", "2026-11-21T10:11:12-14:59", "2026-11-21T10:11:12+01:60",
                      "2026-11-21T10:11:12+99:99"));

INSTANTIATE_TEST_SUITE_P(UnrepresentableTime, RefusedTime,
                         ::testing::Values("1677-09-21T00:12:43.145224191Z", "1677-09-21T00:12:43Z",
                                           "1677-09-21T00:12:42.999999999Z", "2262-04-11T23:47:16.854775808Z",
                                           "2262-04-11T23:47:17Z", "1600-01-01T00:00:00Z",
                                           "2300-01-01T00:00:00Z", "0001-01-01T00:00:00Z",
                                           "9999-12-31T23:59:59Z", "9999-12-31T24:00:00Z",
                                           "-0001-01-01T00:00:00Z", "-2026-11-21T10:11:12Z",
                                           "10000-01-01T00:00:00Z", "99999999999999999999-01-01T00:00:00Z",
                                           "1677-09-21T00:12:43.145224192+00:01",
                                           "2262-04-11T23:47:16.854775807-00:01"));

TEST(RefusedTime, MessageStaysShortForALongText) {
    try {
        date_time_from_iso8601_string(std::string(1'000'000, '1'));
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_LT(std::string(error.what()).size(), 400U);
    }
}

TEST(TimePoint, RandomTimesMakeTheRoundTrip) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20'000; ++i) {
        const auto count = static_cast<std::int64_t>(random());
        const std::string text = to_iso8601_string(at_nanosecond(count));
        ASSERT_EQ(date_time_from_iso8601_string(text), at_nanosecond(count)) << text;
    }
}

TEST(TimePoint, DatesAreThoseOfTheSystem) {
    std::mt19937_64 random(2);
    std::uniform_int_distribution<std::time_t> seconds(FIRST / 1'000'000'000 + 1, LAST / 1'000'000'000);
    for (int i = 0; i < 20'000; ++i) {
        const std::time_t time = seconds(random);
        std::tm fields{};
        ASSERT_NE(gmtime_r(&time, &fields), nullptr);
        char expected[32];
        ASSERT_GT(std::strftime(expected, sizeof expected, "%Y-%m-%dT%H:%M:%SZ", &fields), 0U);
        ASSERT_EQ(to_iso8601_string(at_second(time)), expected);
    }
}

namespace {

struct GroupedDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

}  // namespace

TEST(TimePoint, TextsDoNotDependOnTheLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    const std::string text = to_iso8601_string(at_second(1'795'255'872));
    const TimePoint time = date_time_from_iso8601_string("2026-11-21T10:11:12Z");
    std::locale::global(before);
    EXPECT_EQ(text, "2026-11-21T10:11:12Z");
    EXPECT_EQ(time, at_second(1'795'255'872));
}

}  // namespace kx::information_model
