#include <information_model/InformationModel.h>
#include <information_model/Variable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/AllocationControl.h"
#include "model/TestMode.h"

namespace kx::information_model {

using symbol_list::HISTORY_KIND;
using symbol_list::QUALITY;
using testing::Mode;

namespace {

TimePoint get_now() {
    return std::chrono::system_clock::now();
}

class Variables : public ::testing::Test {
protected:
    Variable& add(Value initial, VariableOptions options = {}) {
        return model_.get_root().add_variable("v", std::move(initial), std::move(options));
    }

    InformationModel model_{"plant"};
};

/// The details of the `BadValueTypeException` that `action` throws.
template <class Action>
std::string get_details(Action action) {
    try {
        action();
    } catch (const BadValueTypeException& error) {
        return error.get_details();
    }
    return "nothing thrown";
}

/// Writes and tells whether that counted as a modification.
bool is_modified_by(Variable& variable, const Value& value) {
    const TimePoint before = variable.get_modified_timestamp();
    while (get_now() == before) {
    }
    variable.set_value(value, CALLBACK_RESTRAIN::NO_CALLBACKS, false);
    return variable.get_modified_timestamp() != before;
}

}  // namespace

TEST_F(Variables, HasDefaults) {
    const TimePoint before = get_now();
    const Variable& variable = add(Value(21.5));
    EXPECT_EQ(variable.get_item_type(), ITEM_TYPE::VARIABLE);
    EXPECT_EQ(variable.get_value(), Value(21.5));
    EXPECT_EQ(variable.get_value_type_info(), ValueTypeInfo(VALUE_TYPE::DOUBLE, false));
    EXPECT_EQ(variable.get_writable(), std::nullopt);
    EXPECT_EQ(variable.get_quality(), SymbolInfo(QUALITY::GOOD));
    EXPECT_GE(variable.get_timestamp(), before);
    EXPECT_LE(variable.get_timestamp(), get_now());
    EXPECT_EQ(variable.get_modified_timestamp(), variable.get_timestamp());
}

TEST_F(Variables, MetadataIsAbsentUnlessGiven) {
    const Variable& variable = add(Value(21.5), {.description = "only this"});
    EXPECT_EQ(variable.get_description(), "only this");
    EXPECT_EQ(variable.get_engineering_unit(), "");
    EXPECT_FALSE(variable.get_range().lower.has_value());
    EXPECT_FALSE(variable.get_range().upper.has_value());
    EXPECT_FALSE(variable.get_delta().has_value());
    EXPECT_EQ(variable.get_fractional_digits(), std::nullopt);
    EXPECT_FALSE(variable.get_history_kind().has_value());
}

TEST_F(Variables, TakesItsOptions) {
    const Variable& variable = add(Value(21.5), {.description = "Drum temperature",
                                                 .writable = true,
                                                 .engineering_unit = "degC",
                                                 .range = {.lower = Value(0.0), .upper = Value(400.0)},
                                                 .delta = Value(0.5),
                                                 .fractional_digits = 1,
                                                 .history_kind = HISTORY_KIND::HISTORY_AVAILABLE,
                                                 .quality = QUALITY::UNCERTAIN});
    EXPECT_EQ(variable.get_description(), "Drum temperature");
    EXPECT_EQ(variable.get_writable(), true);
    EXPECT_EQ(variable.get_engineering_unit(), "degC");
    EXPECT_EQ(variable.get_range().lower, Value(0.0));
    EXPECT_EQ(variable.get_range().upper, Value(400.0));
    EXPECT_EQ(variable.get_delta(), Value(0.5));
    EXPECT_EQ(variable.get_fractional_digits(), 1);
    EXPECT_EQ(variable.get_history_kind(), SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE));
    EXPECT_EQ(variable.get_quality(), SymbolInfo(QUALITY::UNCERTAIN));
}

TEST_F(Variables, EachPieceOfMetadataStandsAlone) {
    Domain& root = model_.get_root();
    EXPECT_EQ(root.add_variable("unit", Value(1), {.engineering_unit = "m"}).get_engineering_unit(), "m");
    EXPECT_EQ(root.add_variable("lower", Value(1), {.range = {.lower = Value(0)}}).get_range().lower,
              Value(0));
    EXPECT_EQ(root.add_variable("upper", Value(1), {.range = {.upper = Value(9)}}).get_range().upper,
              Value(9));
    EXPECT_EQ(root.add_variable("delta", Value(1), {.delta = Value(1)}).get_delta(), Value(1));
    EXPECT_EQ(root.add_variable("digits", Value(1), {.fractional_digits = 0}).get_fractional_digits(), 0);
    EXPECT_EQ(root.add_variable("history", Value(1), {.history_kind = HISTORY_KIND::NONE}).get_history_kind(),
              SymbolInfo(HISTORY_KIND::NONE));
}

TEST_F(Variables, NotWritableIsNotAbsent) {
    EXPECT_EQ(add(Value(1), {.writable = false}).get_writable(), false);
}

TEST_F(Variables, UnlistedSymbolsInOptionsAreRefused) {
    EXPECT_THROW(add(Value(1), {.quality = QUALITY(16)}), std::invalid_argument);
    EXPECT_THROW(add(Value(1), {.history_kind = HISTORY_KIND(3)}), std::invalid_argument);
    EXPECT_TRUE(model_.get_root().is_empty());
}

TEST_F(Variables, AssignmentReplacesValueAndStamps) {
    Variable& variable = add(Value(1));
    variable.set_timestamp(TimePoint());
    const TimePoint before = get_now();
    EXPECT_EQ(&(variable = Value(2)), &variable);
    EXPECT_EQ(variable.get_value(), Value(2));
    EXPECT_GE(variable.get_timestamp(), before);
    EXPECT_EQ(variable.get_modified_timestamp(), variable.get_timestamp());
}

TEST_F(Variables, TimestampIsKeptWhenAskedTo) {
    Variable& variable = add(Value(1));
    variable.set_timestamp(TimePoint());
    const TimePoint before = get_now();
    variable.set_value(Value(2), CALLBACK_RESTRAIN::UNRESTRAINED, false);
    EXPECT_EQ(variable.get_timestamp(), TimePoint());
    EXPECT_GE(variable.get_modified_timestamp(), before);
}

TEST_F(Variables, UnchangedContentStampsWithoutModification) {
    Variable& variable = add(Value(1));
    const TimePoint modified = variable.get_modified_timestamp();
    variable.set_timestamp(TimePoint());
    variable = Value(1);
    EXPECT_GT(variable.get_timestamp(), TimePoint());
    EXPECT_EQ(variable.get_modified_timestamp(), modified);
}

TEST_F(Variables, OtherTypesAreRefusedAndNothingChanges) {
    Variable& variable = add(Value(1));
    const TimePoint timestamp = variable.get_timestamp();
    for (const Value& value : {Value(1L), Value("1"), Value(1.0), Value(std::vector<int>{1}),
                               Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false))}) {
        EXPECT_THROW(variable = value, BadValueTypeException);
        EXPECT_THROW(variable.set_value(value, CALLBACK_RESTRAIN::NO_CALLBACKS, false),
                     BadValueTypeException);
    }
    EXPECT_EQ(variable.get_value(), Value(1));
    EXPECT_EQ(variable.get_timestamp(), timestamp);
    EXPECT_EQ(variable.get_modified_timestamp(), timestamp);
}

TEST_F(Variables, ContentThatBeliesItsDescriptorIsRefused) {
    Variable& variable = add(Value(1.0));
    EXPECT_EQ(get_details([&] { variable = Value(5, ValueTypeInfo(VALUE_TYPE::DOUBLE, false)); }),
              "variable \"/v\" is DOUBLE, the value is DOUBLE by its descriptor and not by its content");
    EXPECT_THROW(variable = Value(std::vector<double>{1.0}, ValueTypeInfo(VALUE_TYPE::DOUBLE, false)),
                 BadValueTypeException);
    EXPECT_EQ(variable.get_value(), Value(1.0));
}

TEST_F(Variables, ContentThatBelieItsDescriptorFromTheStartIsReplaced) {
    Variable& variable = add(Value(5, ValueTypeInfo(VALUE_TYPE::DOUBLE, false)));
    variable = Value(1.5);
    EXPECT_EQ(variable.get_value(), Value(1.5));
}

TEST_F(Variables, TypeWithoutContentTakesAny) {
    Variable& variable = add(Value(5, ValueTypeInfo(VALUE_TYPE::DECIMAL, false)));
    variable = Value("x", ValueTypeInfo(VALUE_TYPE::DECIMAL, false));
    EXPECT_EQ(std::get<std::string>(variable.get_value()), "x");
}

TEST_F(Variables, RefusalNamesVariableAndTypes) {
    Variable& variable = add(Value(21.5));
    EXPECT_EQ(get_details([&] { variable = Value(22); }), "variable \"/v\" is DOUBLE, the value is INT");
    EXPECT_EQ(get_details([&] { variable = Value(std::vector<std::string>{"a"}); }),
              "variable \"/v\" is DOUBLE, the value is array of STRING");
}

TEST_F(Variables, SymbolOfAnotherListIsRefused) {
    Variable& variable = add(Value(SymbolInfo(QUALITY::BAD)));
    EXPECT_EQ(get_details([&] { variable = Value(SymbolInfo(HISTORY_KIND::NONE)); }),
              "variable \"/v\" is SYMBOL of list \"common.Quality\", the value is SYMBOL of list "
              "\"common.HistoryKind\"");
    EXPECT_EQ(variable.get_value(), Value(SymbolInfo(QUALITY::BAD)));
    variable = Value(SymbolInfo(QUALITY::GOOD));
    EXPECT_EQ(variable.get_value(), Value(SymbolInfo(QUALITY::GOOD)));
}

TEST_F(Variables, SymbolsOfAnArrayBelongToItsList) {
    const SymbolInfo good(QUALITY::GOOD);
    const SymbolInfo none(HISTORY_KIND::NONE);
    Variable& variable = add(Value(std::vector<SymbolInfo>{good}));
    EXPECT_THROW(variable = Value(std::vector<SymbolInfo>{none}), BadValueTypeException);
    EXPECT_THROW(variable = Value(std::vector<SymbolInfo>{good, none}), BadValueTypeException);
    variable = Value(std::vector<SymbolInfo>{good, good});
    variable = Value(std::vector<SymbolInfo>{});
    EXPECT_THROW(variable = Value(std::vector<SymbolInfo>{good, none}), BadValueTypeException);
    variable = Value(std::vector<SymbolInfo>{good});
    EXPECT_EQ(variable.get_value(), Value(std::vector<SymbolInfo>{good}));
}

TEST_F(Variables, TimestampIsSetAlone) {
    Variable& variable = add(Value(1));
    const TimePoint modified = variable.get_modified_timestamp();
    const TimePoint timestamp{std::chrono::seconds(1)};
    variable.set_timestamp(timestamp);
    EXPECT_EQ(variable.get_timestamp(), timestamp);
    EXPECT_EQ(variable.get_modified_timestamp(), modified);
}

TEST_F(Variables, NewQualityIsAModification) {
    Variable& variable = add(Value(1));
    const TimePoint timestamp = variable.get_timestamp();
    while (get_now() == timestamp) {
    }
    variable.set_quality(QUALITY::BAD);
    EXPECT_EQ(variable.get_quality(), SymbolInfo(QUALITY::BAD));
    EXPECT_GT(variable.get_modified_timestamp(), timestamp);
    EXPECT_EQ(variable.get_timestamp(), timestamp);
}

TEST_F(Variables, SameQualityIsNone) {
    Variable& variable = add(Value(1));
    const TimePoint modified = variable.get_modified_timestamp();
    while (get_now() == modified) {
    }
    variable.set_quality(QUALITY::GOOD);
    EXPECT_EQ(variable.get_modified_timestamp(), modified);
}

TEST_F(Variables, UnlistedQualityIsRefused) {
    Variable& variable = add(Value(1));
    EXPECT_THROW(variable.set_quality(QUALITY(16)), std::invalid_argument);
    EXPECT_EQ(variable.get_quality(), SymbolInfo(QUALITY::GOOD));
}

TEST_F(Variables, MetadataIsSetAndRemoved) {
    Variable& variable = add(Value(21.5));
    const TimePoint modified = variable.get_modified_timestamp();
    variable.set_description("Drum temperature");
    variable.set_writable(true);
    variable.set_engineering_unit("degC");
    variable.set_range({.lower = Value(0.0), .upper = Value(400.0)});
    variable.set_delta(Value(0.5));
    variable.set_fractional_digits(1);
    variable.set_history_kind(HISTORY_KIND::HISTORY_AVAILABLE);
    EXPECT_EQ(variable.get_description(), "Drum temperature");
    EXPECT_EQ(variable.get_writable(), true);
    EXPECT_EQ(variable.get_engineering_unit(), "degC");
    EXPECT_EQ(variable.get_range().lower, Value(0.0));
    EXPECT_EQ(variable.get_range().upper, Value(400.0));
    EXPECT_EQ(variable.get_delta(), Value(0.5));
    EXPECT_EQ(variable.get_fractional_digits(), 1);
    EXPECT_EQ(variable.get_history_kind(), SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE));

    variable.set_description("");
    variable.set_writable({});
    variable.set_engineering_unit("");
    variable.set_range({});
    EXPECT_EQ(variable.get_delta(), Value(0.5));
    variable.set_delta({});
    variable.set_fractional_digits({});
    variable.set_history_kind({});
    EXPECT_EQ(variable.get_description(), "");
    EXPECT_EQ(variable.get_writable(), std::nullopt);
    EXPECT_EQ(variable.get_engineering_unit(), "");
    EXPECT_FALSE(variable.get_range().lower.has_value());
    EXPECT_FALSE(variable.get_range().upper.has_value());
    EXPECT_FALSE(variable.get_delta().has_value());
    EXPECT_EQ(variable.get_fractional_digits(), std::nullopt);
    EXPECT_FALSE(variable.get_history_kind().has_value());
    EXPECT_EQ(variable.get_modified_timestamp(), modified);
}

TEST_F(Variables, AbsentMetadataCostsNothing) {
    Variable& variable = add(Value(21.5));
    const testing::AllocationCounter counter;
    variable.set_writable(false);
    variable.set_engineering_unit("");
    variable.set_fractional_digits({});
    variable.set_history_kind({});
    variable.set_guard({});
    EXPECT_EQ(counter.get_count(), 0U);
}

TEST_F(Variables, LimitsOfAnotherTypeAreRefused) {
    Variable& variable = add(Value(21.5), {.range = {.lower = Value(1.0)}, .delta = Value(0.5)});
    EXPECT_EQ(get_details([&] { variable.set_range({.upper = Value(400)}); }),
              "upper limit of variable \"/v\" must be DOUBLE, but is INT");
    EXPECT_EQ(get_details([&] { variable.set_delta(Value(1.0F)); }),
              "delta of variable \"/v\" must be DOUBLE, but is FLOAT");
    EXPECT_THROW(variable.set_range({.lower = Value(std::vector<double>{1.0})}), BadValueTypeException);
    EXPECT_THROW(variable.set_delta(Value(5, ValueTypeInfo(VALUE_TYPE::DOUBLE, false))),
                 BadValueTypeException);
    EXPECT_EQ(variable.get_range().lower, Value(1.0));
    EXPECT_FALSE(variable.get_range().upper.has_value());
    EXPECT_EQ(variable.get_delta(), Value(0.5));
    EXPECT_THROW(variable.set_history_kind(HISTORY_KIND(3)), std::invalid_argument);
    EXPECT_FALSE(variable.get_history_kind().has_value());
}

TEST_F(Variables, LimitsOfAnArrayAreThoseOfItsMembers) {
    Variable& variable = add(Value(std::vector<int>{1}));
    variable.set_range({.lower = Value(0), .upper = Value(9)});
    EXPECT_EQ(variable.get_range().upper, Value(9));
}

TEST_F(Variables, FailureToSetMetadataChangesNothing) {
    Variable& variable = add(Value(21.5), {.range = {.lower = Value(1.0)}});
    bool is_set = false;
    for (std::size_t successes = 0; !is_set; ++successes) {
        Range range{.lower = Value(2.0), .upper = Value(3.0)};
        try {
            const testing::AllocationFailure failure(successes);
            variable.set_range(std::move(range));
            is_set = true;
        } catch (const std::bad_alloc&) {
            ASSERT_EQ(variable.get_range().lower, Value(1.0));
            ASSERT_FALSE(variable.get_range().upper.has_value());
        }
    }
    EXPECT_EQ(variable.get_range().upper, Value(3.0));
}

TEST_F(Variables, UpdateChangesWhatItIsGiven) {
    Variable& variable = add(Value(1));
    const TimePoint sampled{std::chrono::seconds(5)};
    variable.update({.value = Value(2), .quality = QUALITY::UNCERTAIN, .timestamp = sampled});
    EXPECT_EQ(variable.get_value(), Value(2));
    EXPECT_EQ(variable.get_quality(), SymbolInfo(QUALITY::UNCERTAIN));
    EXPECT_EQ(variable.get_timestamp(), sampled);
    EXPECT_GT(variable.get_modified_timestamp(), sampled);
    variable.update({.quality = QUALITY::GOOD});
    EXPECT_EQ(variable.get_value(), Value(2));
    EXPECT_EQ(variable.get_timestamp(), sampled);
    variable.update({.value = Value(3)});
    EXPECT_GT(variable.get_timestamp(), sampled);
    EXPECT_EQ(variable.get_quality(), SymbolInfo(QUALITY::GOOD));
    variable.update({});
    EXPECT_EQ(variable.get_value(), Value(3));
}

TEST_F(Variables, UpdateChangesAllOrNothing) {
    Variable& variable = add(Value(1));
    const TimePoint before = variable.get_timestamp();
    const TimePoint sampled{std::chrono::seconds(5)};
    EXPECT_THROW(variable.update({.value = Value(2), .quality = QUALITY(16), .timestamp = sampled}),
                 std::invalid_argument);
    EXPECT_THROW(variable.update({.value = Value("x"), .quality = QUALITY::BAD, .timestamp = sampled}),
                 BadValueTypeException);
    EXPECT_EQ(variable.get_value(), Value(1));
    EXPECT_EQ(variable.get_quality(), SymbolInfo(QUALITY::GOOD));
    EXPECT_EQ(variable.get_timestamp(), before);
}

TEST_F(Variables, ArrayIsEditedInPlace) {
    Variable& variable = add(Value(std::vector<double>(1'000, 1.0)));
    const double* const data = std::get<std::vector<double>>(variable.get_value()).data();
    variable.set_timestamp(TimePoint());
    const TimePoint modified = variable.get_modified_timestamp();
    while (get_now() == modified) {
    }
    const testing::AllocationCounter counter;
    variable.modify<std::vector<double>>([](std::vector<double>& array) { array[3] = 2.0; });
    EXPECT_EQ(counter.get_count(), 0U);
    const auto& array = std::get<std::vector<double>>(variable.get_value());
    EXPECT_EQ(array[3], 2.0);
    EXPECT_EQ(array.data(), data);
    EXPECT_GT(variable.get_timestamp(), TimePoint());
    EXPECT_GT(variable.get_modified_timestamp(), modified);
}

TEST_F(Variables, EditSaysWhetherItChangesAnything) {
    Variable& variable = add(Value(std::vector<int>{1}));
    const TimePoint modified = variable.get_modified_timestamp();
    while (get_now() == modified) {
    }
    variable.modify<std::vector<int>>([](std::vector<int>&) { return false; });
    EXPECT_EQ(variable.get_modified_timestamp(), modified);
    variable.modify<std::vector<int>>([](std::vector<int>& array) {
        array.push_back(2);
        return true;
    });
    EXPECT_GT(variable.get_modified_timestamp(), modified);
}

TEST_F(Variables, EditedArrayReachesObservers) {
    Variable& variable = add(Value(std::vector<int>{1}));
    Value seen(0);
    int calls = 0;
    const Registration watching = variable.on_change([&](const Path&, const Value& value) {
        seen = value;
        ++calls;
    });
    variable.modify<std::vector<int>>([](std::vector<int>& array) { array.push_back(2); });
    EXPECT_EQ(seen, Value(std::vector<int>{1, 2}));
    variable.modify<std::vector<int>>([](std::vector<int>&) {});
    EXPECT_EQ(calls, 1);
    EXPECT_THROW(variable.modify<std::vector<int>>([](std::vector<int>& array) {
        array.clear();
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    EXPECT_EQ(variable.get_value(), Value(std::vector<int>{1, 2}));
}

TEST_F(Variables, EditThatFailsIsAModification) {
    Variable& variable = add(Value(std::vector<int>{1, 2}));
    const TimePoint modified = variable.get_modified_timestamp();
    while (get_now() == modified) {
    }
    EXPECT_THROW(variable.modify<std::vector<int>>([](std::vector<int>& array) {
        array[0] = 5;
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    EXPECT_EQ(variable.get_value(), Value(std::vector<int>{5, 2}));
    EXPECT_GT(variable.get_modified_timestamp(), modified);
}

TEST_F(Variables, ArrayOfAnotherTypeIsNotEdited) {
    Variable& variable = add(Value(std::vector<int>{1}));
    EXPECT_EQ(get_details([&] { variable.modify<std::vector<long>>([](std::vector<long>&) {}); }),
              "variable \"/v\" is array of INT, and is used as array of LONG");
    EXPECT_THROW(
        model_.get_root().add_variable("s", Value(1)).modify<std::vector<int>>([](std::vector<int>&) {}),
        BadValueTypeException);
}

TEST_F(Variables, WithoutAGuardAllIsAccepted) {
    Variable& variable = add(Value(1));
    Value value(5);
    EXPECT_TRUE(variable.apply_guard(value));
    EXPECT_EQ(value, Value(5));
    variable.set_guard({});
    EXPECT_TRUE(variable.apply_guard(value));
}

TEST_F(Variables, GuardRefusesOrChangesWhatIsWritten) {
    Variable& variable = add(Value(1), {.accept = [](const Variable& guarded, Value& value) {
                                 EXPECT_EQ(guarded.get_value(), Value(1));
                                 EXPECT_EQ(guarded.get_path(), Path("/v"));
                                 std::get<int>(value) = std::min(std::get<int>(value), 10);
                                 return std::get<int>(value) >= 0;
                             }});
    Value value(5);
    EXPECT_TRUE(variable.apply_guard(value));
    EXPECT_EQ(value, Value(5));
    value = Value(5000);
    EXPECT_TRUE(variable.apply_guard(value));
    EXPECT_EQ(value, Value(10));
    value = Value(-1);
    EXPECT_FALSE(variable.apply_guard(value));
    EXPECT_EQ(variable.get_value(), Value(1));
}

TEST_F(Variables, GuardIsReplacedAndRemoved) {
    Variable& variable = add(Value(1));
    Value value(5);
    variable.set_guard([](const Variable&, Value&) { return false; });
    EXPECT_FALSE(variable.apply_guard(value));
    variable.set_guard([](const Variable&, Value& changed) {
        changed = Value(7);
        return true;
    });
    EXPECT_TRUE(variable.apply_guard(value));
    EXPECT_EQ(value, Value(7));
    variable.set_guard({});
    EXPECT_TRUE(variable.apply_guard(value));
    EXPECT_EQ(value, Value(7));
}

TEST_F(Variables, GuardDoesNotConcernTheHost) {
    Variable& variable = add(Value(1), {.accept = [](const Variable&, Value&) { return false; }});
    variable = Value(2);
    EXPECT_EQ(variable.get_value(), Value(2));
}

TEST_F(Variables, ExceptionOfTheGuardComesOut) {
    Variable& variable =
        add(Value(1), {.accept = [](const Variable&, Value&) -> bool { throw std::runtime_error("no"); }});
    Value value(5);
    EXPECT_THROW(variable.apply_guard(value), std::runtime_error);
}

TEST_F(Variables, GuardMayWriteOtherVariables) {
    Variable& other = model_.get_root().add_variable("other", Value(0));
    int heard = 0;
    const Registration watching =
        other.on_change([&](const Path&, const Value& value) { heard = std::get<int>(value); });
    Variable& variable = add(Value(1), {.accept = [&](const Variable&, Value& value) {
                                 other = value;
                                 return true;
                             }});
    Value value(5);
    {
        const std::unique_lock lock(model_.get_information_tree());
        EXPECT_TRUE(variable.apply_guard(value));
        EXPECT_EQ(heard, 0);
    }
    EXPECT_EQ(heard, 5);
}

TEST_F(Variables, CallbackRestrainNumbersAreFixed) {
    EXPECT_EQ(static_cast<int>(CALLBACK_RESTRAIN::NO_CALLBACKS), 0);
    EXPECT_EQ(static_cast<int>(CALLBACK_RESTRAIN::CHANGED), 1);
    EXPECT_EQ(static_cast<int>(CALLBACK_RESTRAIN::WRITTEN), 2);
    EXPECT_EQ(static_cast<int>(CALLBACK_RESTRAIN::UNRESTRAINED), 3);
}

/// Two values of one type, and whether writing one over the other changes anything.
struct ChangeRow {
    const char* name;
    Value before;
    Value after;
    bool is_change;
};

class Modification : public Variables, public ::testing::WithParamInterface<ChangeRow> {};

TEST_P(Modification, IsAChangeOfContentOnly) {
    Variable& variable = add(GetParam().before);
    EXPECT_EQ(is_modified_by(variable, GetParam().after), GetParam().is_change);
}

namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr float NOT_A_FLOAT = std::numeric_limits<float>::quiet_NaN();

std::vector<ChangeRow> get_change_rows() {
    return {{"equalDouble", Value(1.5), Value(1.5), false},
            {"otherDouble", Value(1.5), Value(std::nextafter(1.5, 2.0)), true},
            {"notANumber", Value(NOT_A_NUMBER), Value(NOT_A_NUMBER), false},
            {"negativeNotANumber", Value(NOT_A_NUMBER), Value(-NOT_A_NUMBER), false},
            {"fromNotANumber", Value(NOT_A_NUMBER), Value(0.0), true},
            {"toNotANumber", Value(0.0), Value(NOT_A_NUMBER), true},
            {"negativeZero", Value(0.0), Value(-0.0), true},
            {"positiveZero", Value(-0.0), Value(0.0), true},
            {"sameNegativeZero", Value(-0.0), Value(-0.0), false},
            {"floatNotANumber", Value(NOT_A_FLOAT), Value(NOT_A_FLOAT), false},
            {"floatZeros", Value(0.0F), Value(-0.0F), true},
            {"arrayWithNotANumber", Value(std::vector<double>{1.0, NOT_A_NUMBER}),
             Value(std::vector<double>{1.0, NOT_A_NUMBER}), false},
            {"arrayWithZeros", Value(std::vector<double>{0.0}), Value(std::vector<double>{-0.0}), true},
            {"longerArray", Value(std::vector<int>{1}), Value(std::vector<int>{1, 1}), true},
            {"shorterArray", Value(std::vector<int>{1, 1}), Value(std::vector<int>{1}), true},
            {"equalBools", Value(std::vector<bool>{true}), Value(std::vector<bool>{true}), false},
            {"otherBools", Value(std::vector<bool>{true}), Value(std::vector<bool>{false}), true},
            {"equalText", Value("a"), Value("a"), false},
            {"otherText", Value("a"), Value("b"), true},
            {"equalSymbol", Value(SymbolInfo(Mode::OFF)), Value(SymbolInfo(Mode::OFF)), false},
            {"otherSymbol", Value(SymbolInfo(Mode::OFF)), Value(SymbolInfo(Mode::MANUAL)), true}};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Variable, Modification, ::testing::ValuesIn(get_change_rows()),
                         [](const auto& row) { return row.param.name; });

}  // namespace kx::information_model
