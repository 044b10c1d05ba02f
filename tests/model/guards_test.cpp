#include <information_model/InformationModel.h>
#include <information_model/guards.h>

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>
#include <vector>

namespace kx::information_model {

namespace {

/// What a client writes into a range, and what the guard makes of it.
struct GuardRow {
    const char* name;
    Value written;
    Value clamped;
    Range range;
};

Duration of_seconds(int seconds) {
    return Duration(std::chrono::seconds(seconds));
}

TimePoint at_second(int seconds) {
    return TimePoint(std::chrono::seconds(seconds));
}

std::vector<GuardRow> get_rows() {
    const Range doubles{.lower = Value(0.0), .upper = Value(350.0)};
    const Range bytes{.lower = Value(static_cast<signed char>(-5)),
                      .upper = Value(static_cast<signed char>(5))};
    return {{"inside", Value(1.5), Value(1.5), doubles},
            {"atTheLimit", Value(350.0), Value(350.0), doubles},
            {"above", Value(5000.0), Value(350.0), doubles},
            {"below", Value(-1.0), Value(0.0), doubles},
            {"infinite", Value(std::numeric_limits<double>::infinity()), Value(350.0), doubles},
            {"lowerAlone", Value(5000.0), Value(5000.0), {.lower = Value(0.0)}},
            {"upperAlone", Value(-1.0), Value(-1.0), {.upper = Value(350.0)}},
            {"belowLowerAlone", Value(-1.0), Value(0.0), {.lower = Value(0.0)}},
            {"noRange", Value(5000.0), Value(5000.0), {}},
            {"limitOfAnotherType", Value(5000.0), Value(5000.0), {.upper = Value(1)}},
            {"bytes", Value(static_cast<signed char>(-100)), Value(static_cast<signed char>(-5)), bytes},
            {"array", Value(std::vector<double>{-1.0, 5.0, 5000.0}),
             Value(std::vector<double>{0.0, 5.0, 350.0}), doubles},
            {"emptyArray", Value(std::vector<double>{}), Value(std::vector<double>{}), doubles},
            {"duration", Value(of_seconds(9)), Value(of_seconds(5)), {.upper = Value(of_seconds(5))}},
            {"time", Value(at_second(1)), Value(at_second(5)), {.lower = Value(at_second(5))}},
            {"text", Value("z"), Value("z"), {.upper = Value("a")}},
            {"switch", Value(true), Value(true), {.upper = Value(false)}}};
}

class RangeGuard : public ::testing::TestWithParam<GuardRow> {
protected:
    InformationModel model_{"plant"};
    Variable& variable_ =
        model_.get_root().add_variable("v", GetParam().written, {.range = GetParam().range});
};

}  // namespace

TEST_P(RangeGuard, Clamps) {
    variable_.set_guard(clamp_to_range);
    Value value = GetParam().written;
    EXPECT_TRUE(variable_.apply_guard(value));
    EXPECT_EQ(value, GetParam().clamped);
}

TEST_P(RangeGuard, Refuses) {
    variable_.set_guard(refuse_outside_range);
    Value value = GetParam().written;
    EXPECT_EQ(variable_.apply_guard(value), GetParam().written == GetParam().clamped);
    EXPECT_EQ(value, GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(Guards, RangeGuard, ::testing::ValuesIn(get_rows()),
                         [](const auto& row) { return row.param.name; });

TEST(RangeGuards, RefuseWhatIsNotANumber) {
    InformationModel model("plant");
    const Range range{.lower = Value(0.0), .upper = Value(1.0)};
    Variable& scalar = model.get_root().add_variable("scalar", Value(0.5), {.range = range});
    Variable& array =
        model.get_root().add_variable("array", Value(std::vector<double>{0.5}), {.range = range});
    const double not_a_number = std::numeric_limits<double>::quiet_NaN();
    for (const auto& guard : {clamp_to_range, refuse_outside_range}) {
        scalar.set_guard(guard);
        array.set_guard(guard);
        Value number(not_a_number);
        EXPECT_FALSE(scalar.apply_guard(number));
        Value numbers(std::vector<double>{0.5, not_a_number});
        EXPECT_FALSE(array.apply_guard(numbers));
    }
}

TEST(RangeGuards, FollowTheRange) {
    InformationModel model("plant");
    const auto setpoint = model.get_root().add<double>("setpoint", 0.0, {.accept = clamp_to_range});
    Value value(5000.0);
    setpoint.get_variable().set_range({.upper = Value(350.0)});
    EXPECT_TRUE(setpoint.get_variable().apply_guard(value));
    EXPECT_EQ(value, Value(350.0));
}

}  // namespace kx::information_model
