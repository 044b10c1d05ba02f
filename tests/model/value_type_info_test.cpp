#include <information_model/ValueTypeInfo.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace kx::information_model {

/// An enumerator and its number.
struct NumberRow {
    VALUE_TYPE type;
    std::uint32_t number;
};

class ValueTypeNumber : public ::testing::TestWithParam<NumberRow> {};

TEST_P(ValueTypeNumber, IsFixed) {
    EXPECT_EQ(static_cast<std::uint32_t>(GetParam().type), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    ValueTypeInfo, ValueTypeNumber,
    ::testing::Values(NumberRow{VALUE_TYPE::BOOLEAN, 1}, NumberRow{VALUE_TYPE::STRING, 2},
                      NumberRow{VALUE_TYPE::DOUBLE, 3}, NumberRow{VALUE_TYPE::FLOAT, 4},
                      NumberRow{VALUE_TYPE::DECIMAL, 5}, NumberRow{VALUE_TYPE::LONG, 6},
                      NumberRow{VALUE_TYPE::INT, 7}, NumberRow{VALUE_TYPE::SHORT, 8},
                      NumberRow{VALUE_TYPE::BYTE, 9}, NumberRow{VALUE_TYPE::UNSIGNED_LONG, 10},
                      NumberRow{VALUE_TYPE::UNSIGNED_INT, 11}, NumberRow{VALUE_TYPE::UNSIGNED_SHORT, 12},
                      NumberRow{VALUE_TYPE::UNSIGNED_BYTE, 13}, NumberRow{VALUE_TYPE::DATE_TIME, 14},
                      NumberRow{VALUE_TYPE::DURATION, 15}, NumberRow{VALUE_TYPE::PATH, 16},
                      NumberRow{VALUE_TYPE::ABSOLUTE_PATH, 17}, NumberRow{VALUE_TYPE::ATTACHMENT, 18},
                      NumberRow{VALUE_TYPE::SYMBOL, 19}));

TEST(ValueTypeInfo, ValueTypeHas32Bits) {
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<VALUE_TYPE>, std::uint32_t>));
}

TEST(ValueTypeInfo, KeepsTypeAndForm) {
    constexpr ValueTypeInfo ARRAY(VALUE_TYPE::DOUBLE, true);
    EXPECT_EQ(ARRAY.get_type(), VALUE_TYPE::DOUBLE);
    EXPECT_TRUE(ARRAY.is_array());
    EXPECT_FALSE(ValueTypeInfo(VALUE_TYPE::DOUBLE, false).is_array());
}

TEST(ValueTypeInfo, TypesWithoutContentCanBeDescribed) {
    EXPECT_EQ(ValueTypeInfo(VALUE_TYPE::DECIMAL, false).get_type(), VALUE_TYPE::DECIMAL);
    EXPECT_EQ(ValueTypeInfo(VALUE_TYPE::ATTACHMENT, true).get_type(), VALUE_TYPE::ATTACHMENT);
}

TEST(ValueTypeInfo, EqualityComparesTypeAndForm) {
    const ValueTypeInfo info(VALUE_TYPE::INT, false);
    EXPECT_EQ(info, ValueTypeInfo(VALUE_TYPE::INT, false));
    EXPECT_NE(info, ValueTypeInfo(VALUE_TYPE::INT, true));
    EXPECT_NE(info, ValueTypeInfo(VALUE_TYPE::LONG, false));
}

}  // namespace kx::information_model
