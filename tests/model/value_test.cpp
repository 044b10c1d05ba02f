#include <information_model/Value.h>
#include <information_model/symbol_lists.h>

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "model/TestMode.h"

namespace kx::information_model {

using symbol_list::QUALITY;
using testing::Mode;

namespace {

constexpr TimePoint SOME_TIME{std::chrono::seconds(1'700'000'000)};

/// A value of one type, with what must be true of it.
struct ContentRow {
    const char* name;
    Value value;
    std::size_t index;
    VALUE_TYPE type;
    bool is_array;
    Value after_reset;
};

template <class T>
ContentRow scalar(const char* name, T content, std::size_t index, VALUE_TYPE type, T after_reset) {
    return {name, Value(std::move(content)), index, type, false, Value(std::move(after_reset))};
}

template <class T>
ContentRow array(const char* name, std::vector<T> content, std::size_t index, VALUE_TYPE type) {
    return {name, Value(std::move(content)), index, type, true, Value(std::vector<T>())};
}

std::vector<ContentRow> get_scalar_rows() {
    return {
        scalar<bool>("bool", true, 0, VALUE_TYPE::BOOLEAN, false),
        scalar<signed char>("byte", -56, 1, VALUE_TYPE::BYTE, 0),
        scalar<unsigned char>("unsignedByte", 200, 2, VALUE_TYPE::UNSIGNED_BYTE, 0),
        scalar<short>("short", -5, 3, VALUE_TYPE::SHORT, 0),
        scalar<unsigned short>("unsignedShort", 5, 4, VALUE_TYPE::UNSIGNED_SHORT, 0),
        scalar<int>("int", -6, 5, VALUE_TYPE::INT, 0),
        scalar<unsigned int>("unsignedInt", 6, 6, VALUE_TYPE::UNSIGNED_INT, 0),
        scalar<long>("long", -7, 7, VALUE_TYPE::LONG, 0),
        scalar<unsigned long>("unsignedLong", 7, 8, VALUE_TYPE::UNSIGNED_LONG, 0),
        scalar<float>("float", 1.5F, 9, VALUE_TYPE::FLOAT, 0),
        scalar<double>("double", 2.5, 10, VALUE_TYPE::DOUBLE, 0),
        scalar<std::string>("string", "text", 11, VALUE_TYPE::STRING, ""),
        scalar<Duration>("duration", Duration(std::chrono::hours(1)), 12, VALUE_TYPE::DURATION, Duration()),
        scalar<TimePoint>("dateTime", SOME_TIME, 13, VALUE_TYPE::DATE_TIME, TimePoint()),
        scalar<Path>("path", Path("/a"), 14, VALUE_TYPE::PATH, Path(".")),
        scalar<AbsolutePath>("absolutePath", AbsolutePath("h", "t", "a"), 15, VALUE_TYPE::ABSOLUTE_PATH,
                             AbsolutePath("", "", "/")),
        scalar<SymbolInfo>("symbol", SymbolInfo(Mode::AUTOMATIC), 16, VALUE_TYPE::SYMBOL,
                           SymbolInfo(Mode::OFF))};
}

std::vector<ContentRow> get_array_rows() {
    return {
        array<bool>("bools", {true, false}, 17, VALUE_TYPE::BOOLEAN),
        array<signed char>("bytes", {-1, 2}, 18, VALUE_TYPE::BYTE),
        array<unsigned char>("unsignedBytes", {255, 2}, 19, VALUE_TYPE::UNSIGNED_BYTE),
        array<short>("shorts", {1}, 20, VALUE_TYPE::SHORT),
        array<unsigned short>("unsignedShorts", {1}, 21, VALUE_TYPE::UNSIGNED_SHORT),
        array<int>("ints", {1}, 22, VALUE_TYPE::INT),
        array<unsigned int>("unsignedInts", {1}, 23, VALUE_TYPE::UNSIGNED_INT),
        array<long>("longs", {1}, 24, VALUE_TYPE::LONG),
        array<unsigned long>("unsignedLongs", {1}, 25, VALUE_TYPE::UNSIGNED_LONG),
        array<float>("floats", {1.5F}, 26, VALUE_TYPE::FLOAT),
        array<double>("doubles", {2.5, 3.5}, 27, VALUE_TYPE::DOUBLE),
        array<std::string>("strings", {"a", ""}, 28, VALUE_TYPE::STRING),
        array<Duration>("durations", {Duration(std::chrono::seconds(1))}, 29, VALUE_TYPE::DURATION),
        array<TimePoint>("dateTimes", {SOME_TIME}, 30, VALUE_TYPE::DATE_TIME),
        array<Path>("paths", {Path("a"), Path("/b")}, 31, VALUE_TYPE::PATH),
        array<AbsolutePath>("absolutePaths", {AbsolutePath("h", "t", "a")}, 32, VALUE_TYPE::ABSOLUTE_PATH),
        array<SymbolInfo>("symbols", {SymbolInfo(QUALITY::GOOD)}, 34, VALUE_TYPE::SYMBOL)};
}

std::vector<ContentRow> get_rows() {
    std::vector<ContentRow> rows = get_scalar_rows();
    for (ContentRow& row : get_array_rows()) {
        rows.push_back(std::move(row));
    }
    return rows;
}

}  // namespace

class EveryValueType : public ::testing::TestWithParam<ContentRow> {};

TEST_P(EveryValueType, TakesItsTypeFromTheContent) {
    const ContentRow& row = GetParam();
    EXPECT_EQ(row.value.index(), row.index);
    EXPECT_EQ(row.value.get_type_info(), ValueTypeInfo(row.type, row.is_array));
}

TEST_P(EveryValueType, CopiesMovesAndAssigns) {
    const ContentRow& row = GetParam();
    Value copy(row.value);
    EXPECT_EQ(copy, row.value);
    Value moved(std::move(copy));
    EXPECT_EQ(moved, row.value);
    Value assigned("another type");
    assigned = moved;
    EXPECT_EQ(assigned, row.value);
    assigned = Value(row.value);
    EXPECT_EQ(assigned, row.value);
    EXPECT_EQ(assigned.get_type_info(), row.value.get_type_info());
}

TEST_P(EveryValueType, ResetKeepsTheTypeAndLosesTheContent) {
    const ContentRow& row = GetParam();
    Value value(row.value);
    value.reset();
    EXPECT_EQ(value.get_type_info(), row.value.get_type_info());
    EXPECT_EQ(value.index(), row.index);
    EXPECT_EQ(value, row.after_reset);
    EXPECT_FALSE(value == row.value);
}

INSTANTIATE_TEST_SUITE_P(Value, EveryValueType, ::testing::ValuesIn(get_rows()),
                         [](const auto& row) { return row.param.name; });

class EveryScalarType : public ::testing::TestWithParam<ContentRow> {};

TEST_P(EveryScalarType, MembersMakeAnArrayOfIt) {
    const ContentRow& row = GetParam();
    const Value array(std::vector<Value>{row.value, row.after_reset, row.value});
    EXPECT_EQ(array.get_type_info(), ValueTypeInfo(row.type, true));
    const bool is_symbol = row.type == VALUE_TYPE::SYMBOL;
    EXPECT_EQ(array.index(), row.index + (is_symbol ? 18 : 17));
    const auto size = std::visit(
        [](const auto& content) -> std::size_t {
            if constexpr (requires { content.size(); }) {
                return content.size();
            }
            return 0;
        },
        static_cast<const ValueContent&>(array));
    EXPECT_EQ(size, 3U);
}

INSTANTIATE_TEST_SUITE_P(Value, EveryScalarType, ::testing::ValuesIn(get_scalar_rows()),
                         [](const auto& row) { return row.param.name; });

TEST(Value, AlternativesStandAtTheirPlaces) {
    EXPECT_EQ(std::variant_size_v<ValueContent>, 35U);
    EXPECT_TRUE((std::is_same_v<std::variant_alternative_t<33, ValueContent>, std::vector<std::monostate>>));
    EXPECT_EQ(sizeof(long), 8U);
}

TEST(Value, TypedAccessThrowsOnAMismatch) {
    const Value value(2.5);
    EXPECT_EQ(std::get<double>(value), 2.5);
    EXPECT_THROW(std::get<float>(value), std::bad_variant_access);
    EXPECT_THROW(std::get<std::vector<double>>(value), std::bad_variant_access);
}

TEST(Value, TextIsAStringAndNeverABool) {
    const Value literal("text");
    EXPECT_EQ(std::get<std::string>(literal), "text");
    const char* pointer = "text";
    EXPECT_EQ(Value(pointer), literal);
    EXPECT_EQ(Value(pointer, ValueTypeInfo(VALUE_TYPE::STRING, false)), literal);
}

TEST(Value, BytesOfTheSameBitsAreDifferent) {
    const Value signed_byte(static_cast<signed char>(-56));
    const Value unsigned_byte(static_cast<unsigned char>(0xC8));
    EXPECT_EQ(std::get<signed char>(signed_byte), -56);
    EXPECT_EQ(std::get<unsigned char>(unsigned_byte), 200);
    EXPECT_FALSE(signed_byte == unsigned_byte);
}

TEST(Value, DescriptorIsTakenUnchecked) {
    const Value value(1.5, ValueTypeInfo(VALUE_TYPE::DECIMAL, true));
    EXPECT_EQ(value.get_type_info(), ValueTypeInfo(VALUE_TYPE::DECIMAL, true));
    EXPECT_EQ(std::get<double>(value), 1.5);
}

TEST(Value, EqualityComparesTypeAndContent) {
    EXPECT_EQ(Value(1), Value(1));
    EXPECT_FALSE(Value(1) == Value(2));
    EXPECT_FALSE(Value(1) == Value(1L));
    EXPECT_FALSE(Value(1) == Value(1, ValueTypeInfo(VALUE_TYPE::LONG, false)));
    EXPECT_FALSE(Value(std::vector<int>{1}) == Value(1));
    EXPECT_FALSE(Value(std::vector<int>{1}) == Value(std::vector<int>{1, 1}));
}

TEST(ValueOfMembers, NoneGiveAnEmptyStringArray) {
    const Value array{std::vector<Value>()};
    EXPECT_EQ(array, Value(std::vector<std::string>()));
    EXPECT_EQ(array.get_type_info(), ValueTypeInfo(VALUE_TYPE::STRING, true));
}

TEST(ValueOfMembers, KeepTheirOrder) {
    EXPECT_EQ(Value(std::vector<Value>{Value("b"), Value("a")}), Value(std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(Value(std::vector<Value>{Value(true), Value(false)}), Value(std::vector<bool>{true, false}));
}

TEST(ValueOfMembers, OfMixedTypesAreRefused) {
    EXPECT_THROW(Value(std::vector<Value>{Value(1), Value(1L)}), BadValueTypeException);
    EXPECT_THROW(Value(std::vector<Value>{Value("1"), Value(1), Value("1")}), BadValueTypeException);
}

TEST(ValueOfMembers, ThatAreArraysAreRefused) {
    const Value array(std::vector<int>{1});
    EXPECT_THROW(Value(std::vector<Value>{array}), BadValueTypeException);
    EXPECT_THROW(Value(std::vector<Value>{Value(1), array}), BadValueTypeException);
}

TEST(ValueOfMembers, WhoseContentIsNotWhatTheySayAreRefused) {
    EXPECT_THROW(Value(std::vector<Value>{Value(1, ValueTypeInfo(VALUE_TYPE::DOUBLE, false))}),
                 BadValueTypeException);
    EXPECT_THROW(Value(std::vector<Value>{Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false))}),
                 BadValueTypeException);
    EXPECT_THROW(Value(std::vector<Value>{Value(1, ValueTypeInfo(VALUE_TYPE(0), false))}),
                 BadValueTypeException);
}

TEST(ValueReset, ValueWithoutContentOfItsTypeStaysAsItIs) {
    for (const VALUE_TYPE type :
         {VALUE_TYPE::DECIMAL, VALUE_TYPE::ATTACHMENT, VALUE_TYPE(0), VALUE_TYPE(20)}) {
        Value value(5, ValueTypeInfo(type, false));
        value.reset();
        EXPECT_EQ(value, Value(5, ValueTypeInfo(type, false)));
    }
}

TEST(ValueReset, SymbolWithoutItsListStaysAsItIs) {
    Value value(5, ValueTypeInfo(VALUE_TYPE::SYMBOL, false));
    value.reset();
    EXPECT_EQ(value, Value(5, ValueTypeInfo(VALUE_TYPE::SYMBOL, false)));
}

TEST(ValueReset, MakesContentAgreeWithTheDescriptor) {
    Value value(5, ValueTypeInfo(VALUE_TYPE::STRING, true));
    value.reset();
    EXPECT_EQ(value, Value(std::vector<std::string>()));
}

/// A value and its text for people.
struct TextRow {
    Value value;
    const char* text;
};

class ValueText : public ::testing::TestWithParam<TextRow> {};

TEST_P(ValueText, IsForPeople) {
    EXPECT_EQ(GetParam().value.to_string(), GetParam().text);
    std::ostringstream stream;
    stream << GetParam().value;
    EXPECT_EQ(stream.str(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Value, ValueText,
    ::testing::Values(
        TextRow{Value(true), "true"}, TextRow{Value(false), "false"}, TextRow{Value(21.5), "21.5"},
        TextRow{Value(-0.0), "-0"}, TextRow{Value(0.1), "0.1"}, TextRow{Value(1e300), "1e+300"},
        TextRow{Value(-2.2250738585072014e-308), "-2.2250738585072014e-308"}, TextRow{Value(0.1F), "0.1"},
        TextRow{Value(std::numeric_limits<double>::infinity()), "inf"},
        TextRow{Value(static_cast<signed char>(-56)), "-56"},
        TextRow{Value(static_cast<unsigned char>(200)), "200"}, TextRow{Value(short{-7}), "-7"},
        TextRow{Value(static_cast<unsigned short>(65'535)), "65535"}, TextRow{Value(-5), "-5"},
        TextRow{Value(5U), "5"}, TextRow{Value(std::numeric_limits<long>::min()), "-9223372036854775808"},
        TextRow{Value(std::numeric_limits<unsigned long>::max()), "18446744073709551615"},
        TextRow{Value("a \"text\""), "a \"text\""}, TextRow{Value(""), ""},
        TextRow{Value(Duration(std::chrono::minutes(90))), "PT1H30M"},
        TextRow{Value(TimePoint()), "1970-01-01T00:00:00Z"}, TextRow{Value(Path("/a/b")), "/a/b"},
        TextRow{Value(AbsolutePath("host", "tree", "/a")), "//host/tree/a"},
        TextRow{Value(SymbolInfo(testing::Mode::MANUAL)), "manual"},
        TextRow{Value(std::vector<bool>{true, false}), "[true, false]"},
        TextRow{Value(std::vector<int>{}), "[]"}, TextRow{Value(std::vector<double>{1.0, 2.5}), "[1, 2.5]"},
        TextRow{Value(std::vector<std::string>{"a", "b, c"}), "[\"a\", \"b, c\"]"},
        TextRow{Value(std::vector<SymbolInfo>{SymbolInfo(testing::Mode::OFF)}), "[off]"}));

}  // namespace kx::information_model
