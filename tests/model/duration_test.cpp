#include <information_model/Duration.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>

namespace kx::information_model {

using ::testing::HasSubstr;

namespace {

constexpr std::int64_t SECOND = 1'000'000'000;
constexpr std::int64_t DAY = 86'400 * SECOND;
constexpr std::int64_t SHORTEST = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t LONGEST = std::numeric_limits<std::int64_t>::max();

Duration of_nanoseconds(std::int64_t count) {
    return Duration(std::chrono::nanoseconds(count));
}

}  // namespace

TEST(Duration, IsZeroByDefault) {
    EXPECT_EQ(Duration().get_nanoseconds().count(), 0);
}

TEST(Duration, TakesAnyLengthWithoutLoss) {
    EXPECT_EQ(Duration(std::chrono::hours(2)).get_nanoseconds(), std::chrono::minutes(120));
    EXPECT_EQ(Duration(std::chrono::microseconds(3)).get_nanoseconds().count(), 3'000);
}

TEST(Duration, IsOrderedByLength) {
    EXPECT_LT(of_nanoseconds(-1), Duration());
    EXPECT_GT(Duration(std::chrono::hours(1)), Duration(std::chrono::minutes(59)));
    EXPECT_EQ(Duration(std::chrono::hours(1)), Duration(std::chrono::minutes(60)));
    EXPECT_EQ(sizeof(Duration), 8U);
}

/// A duration and its text.
struct DurationRow {
    std::int64_t nanoseconds;
    const char* text;
};

class WrittenDuration : public ::testing::TestWithParam<DurationRow> {};

TEST_P(WrittenDuration, HasTheText) {
    EXPECT_EQ(to_iso8601_string(of_nanoseconds(GetParam().nanoseconds)), GetParam().text);
}

TEST_P(WrittenDuration, IsReadBack) {
    EXPECT_EQ(duration_from_iso8601_string(GetParam().text), of_nanoseconds(GetParam().nanoseconds));
}

INSTANTIATE_TEST_SUITE_P(
    Duration, WrittenDuration,
    ::testing::Values(DurationRow{0, "PT0S"}, DurationRow{SECOND, "PT1S"}, DurationRow{-SECOND, "-PT1S"},
                      DurationRow{1, "PT0.000000001S"}, DurationRow{-1, "-PT0.000000001S"},
                      DurationRow{SECOND / 2, "PT0.5S"}, DurationRow{100'000, "PT0.0001S"},
                      DurationRow{60 * SECOND, "PT1M"}, DurationRow{3'600 * SECOND, "PT1H"},
                      DurationRow{DAY, "P1D"}, DurationRow{DAY + 1, "P1DT0.000000001S"},
                      DurationRow{DAY - SECOND, "PT23H59M59S"}, DurationRow{400 * DAY, "P400D"},
                      DurationRow{DAY + 7'384 * SECOND + SECOND / 2, "P1DT2H3M4.5S"},
                      DurationRow{-(DAY + 7'384 * SECOND + SECOND / 2), "-P1DT2H3M4.5S"},
                      DurationRow{3'601 * SECOND, "PT1H1S"},
                      DurationRow{LONGEST, "P106751DT23H47M16.854775807S"},
                      DurationRow{SHORTEST, "-P106751DT23H47M16.854775808S"}));

class ReadDuration : public ::testing::TestWithParam<DurationRow> {};

TEST_P(ReadDuration, IsTheLength) {
    EXPECT_EQ(duration_from_iso8601_string(GetParam().text), of_nanoseconds(GetParam().nanoseconds));
}

INSTANTIATE_TEST_SUITE_P(
    Duration, ReadDuration,
    ::testing::Values(
        DurationRow{31'556'952 * SECOND, "P1Y"}, DurationRow{2'629'746 * SECOND, "P1M"},
        DurationRow{2'629'746 * SECOND * 3'507, "P3507M"}, DurationRow{60 * SECOND, "PT1M"},
        DurationRow{2'629'746 * SECOND + 60 * SECOND, "P1MT1M"},
        DurationRow{34'186'698 * SECOND + DAY + 3'661 * SECOND, "P1Y1M1DT1H1M1S"},
        DurationRow{-31'556'952 * SECOND, "-P1Y"}, DurationRow{0, "P0D"}, DurationRow{0, "-PT0S"},
        DurationRow{0, "P0Y0M0DT0H0M0.0S"}, DurationRow{25 * 3'600 * SECOND, "PT25H"},
        DurationRow{90 * SECOND, "PT90S"}, DurationRow{90 * 60 * SECOND, "PT90M"},
        DurationRow{DAY, "P000000000000000000000000000000001D"},
        DurationRow{SECOND + SECOND / 2, "PT1.500000000000000000000000S"},
        DurationRow{1'999'999'999, "PT1.9999999999S"}, DurationRow{-999'999'999, "-PT0.9999999999S"},
        DurationRow{LONGEST, "PT9223372036.854775807S"}, DurationRow{LONGEST, "PT9223372036.8547758079999S"},
        DurationRow{SHORTEST, "-PT9223372036.854775808S"}));

TEST(ReadDuration, WhiteSpaceAtTheEndsIsSkipped) {
    EXPECT_EQ(duration_from_iso8601_string(" \t\r\nPT1S"), of_nanoseconds(1'000'000'000));
    EXPECT_EQ(duration_from_iso8601_string("-PT1S\n  "), of_nanoseconds(-1'000'000'000));
}

class RefusedDuration : public ::testing::TestWithParam<std::string> {};

TEST_P(RefusedDuration, ThrowsAndNamesTheText) {
    try {
        const Duration duration = duration_from_iso8601_string(GetParam());
        FAIL() << "read as " << to_iso8601_string(duration);
    } catch (const std::invalid_argument& error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam()));
    }
}

INSTANTIATE_TEST_SUITE_P(MalformedDuration, RefusedDuration,
                         ::testing::Values("", "P", "-P", "-", "PT", "-PT", "P1YT", "P1", "PT1", "1D", "T1S",
                                           "P1S", "P1H", "PT1D", "PT1Y", "P1M1Y", "P1D1M", "PT1M1H", "PT1S1M",
                                           "P1Y1Y", "PT1S1S", "P1D1D", "P-1D", "PT-1S", "+P1D", "--P1D",
                                           "P+1D", "P1.5D", "P1.5Y", "PT1.5H", "PT1.5M", "PT.5S", "PT1.S",
                                           "PT1,5S", "PT1.5", "PT1.5.5S", " ", " P", "\xC2\xA0P1D", "P1D x",
                                           "P 1D", "p1d", "P1d", "PT1s", "P1DT1HT1M", "P1W", "PD", "PTS",
                                           "P1DT", "P1D2H", "PT1H2", "P1Y2", "PT1M.5S", "P1D-", "PxD",
                                           "P0x1D"));

INSTANTIATE_TEST_SUITE_P(UnrepresentableDuration, RefusedDuration,
                         ::testing::Values("PT9223372036.854775808S", "-PT9223372036.854775809S",
                                           "PT9223372037S", "P106752D", "-P106752D", "P293Y", "P3508M",
                                           "P1000000000000000000000000000000Y", "PT18446744073709551616S",
                                           "PT18446744073709551615S", "PT18446744074S", "P213503982334602D",
                                           "P106751DT23H47M16.854775808S", "PT18446744073.709551615S",
                                           "P292Y11M30DT24H", "PT18446744073709551615.999999999S"));

TEST(Duration, RandomDurationsMakeTheRoundTrip) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 20'000; ++i) {
        const auto count = static_cast<std::int64_t>(random()) >> (random() % 64);
        const std::string text = to_iso8601_string(of_nanoseconds(count));
        ASSERT_EQ(duration_from_iso8601_string(text), of_nanoseconds(count)) << text;
    }
}

}  // namespace kx::information_model
