#include <information_model/InformationModel.h>
#include <information_model/TypedVariable.h>

#include <gtest/gtest.h>

#include <chrono>
#include <concepts>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/AllocationControl.h"
#include "model/TestMode.h"
#include "support/TestThreads.h"

namespace kx::information_model {

using symbol_list::QUALITY;
using testing::Mode;

namespace {

class TypedVariables : public ::testing::Test {
protected:
    InformationModel model_{"plant"};
    Domain& root_ = model_.get_root();
};

/// Every type that a handle can have, with two different contents.
template <class T>
struct Contents;

#define KX_CONTENTS(Type, First, Second)            \
    template <>                                     \
    struct Contents<Type> {                         \
        static Type get_first() { return First; }   \
        static Type get_second() { return Second; } \
    }
KX_CONTENTS(bool, true, false);
KX_CONTENTS(signed char, -56, 3);
KX_CONTENTS(unsigned char, 200, 3);
KX_CONTENTS(short, -3, 4);
KX_CONTENTS(unsigned short, 3, 4);
KX_CONTENTS(int, -3, 4);
KX_CONTENTS(unsigned int, 3, 4);
KX_CONTENTS(long, -3, 4);
KX_CONTENTS(unsigned long, 3, 4);
KX_CONTENTS(float, 1.5F, 2.5F);
KX_CONTENTS(double, 1.5, 2.5);
KX_CONTENTS(std::string, "a text", "another text");
KX_CONTENTS(Duration, Duration(std::chrono::hours(1)), Duration());
KX_CONTENTS(TimePoint, TimePoint(std::chrono::seconds(1)), TimePoint());
KX_CONTENTS(Path, Path("/a"), Path("b"));
KX_CONTENTS(AbsolutePath, AbsolutePath("", "", "/a"), AbsolutePath("h", "t", "/a"));
KX_CONTENTS(SymbolInfo, SymbolInfo(Mode::OFF), SymbolInfo(Mode::MANUAL));
KX_CONTENTS(Mode, Mode::OFF, Mode::BROKEN);
KX_CONTENTS(QUALITY, QUALITY::BAD, QUALITY::GOOD);
#undef KX_CONTENTS

template <class T>
struct Contents<std::vector<T>> {
    static std::vector<T> get_first() { return {Contents<T>::get_first(), Contents<T>::get_second()}; }
    static std::vector<T> get_second() { return {Contents<T>::get_second()}; }
};

template <class T>
class TypedVariableOf : public TypedVariables {};

using Types =
    ::testing::Types<bool, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                     unsigned long, float, double, std::string, Duration, TimePoint, Path, AbsolutePath,
                     SymbolInfo, Mode, QUALITY, std::vector<bool>, std::vector<signed char>,
                     std::vector<unsigned char>, std::vector<short>, std::vector<unsigned short>,
                     std::vector<int>, std::vector<unsigned int>, std::vector<long>,
                     std::vector<unsigned long>, std::vector<float>, std::vector<double>,
                     std::vector<std::string>, std::vector<Duration>, std::vector<TimePoint>,
                     std::vector<Path>, std::vector<AbsolutePath>, std::vector<SymbolInfo>>;

template <class T>
Value to_value(T content) {
    if constexpr (std::is_enum_v<T>) {
        return Value(SymbolInfo(content));
    } else {
        return Value(std::move(content));
    }
}

}  // namespace

TYPED_TEST_SUITE(TypedVariableOf, Types);

TYPED_TEST(TypedVariableOf, ReadsAndWrites) {
    using C = Contents<TypeParam>;
    static_assert(sizeof(TypedVariable<TypeParam>) == sizeof(void*));
    static_assert(std::is_trivially_copyable_v<TypedVariable<TypeParam>>);
    const TypedVariable<TypeParam> handle = this->root_.template add<TypeParam>("v", C::get_first());
    EXPECT_EQ(handle.get(), C::get_first());
    EXPECT_EQ(handle.get_variable().get_value(), to_value(C::get_first()));
    EXPECT_EQ(handle.get_variable().get_path(), Path("/v"));
    handle = C::get_second();
    EXPECT_EQ(handle.get(), C::get_second());
    handle.set(C::get_first());
    EXPECT_EQ(handle.get_variable().get_value(), to_value(C::get_first()));
    handle.update({.value = C::get_second(), .quality = QUALITY::UNCERTAIN});
    EXPECT_EQ(handle.get(), C::get_second());
    EXPECT_EQ(handle.get_variable().get_quality(), SymbolInfo(QUALITY::UNCERTAIN));
}

TYPED_TEST(TypedVariableOf, FindsOnlyItsOwnType) {
    using C = Contents<TypeParam>;
    this->root_.template add<TypeParam>("v", C::get_first());
    const auto found = this->root_.template find<TypeParam>("/v");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->get(), C::get_first());
    EXPECT_TRUE(this->root_.template find<TypeParam>(Path("/v")));
    int others = 0;
    const auto count = [&](const auto& handle) { others += handle ? 1 : 0; };
    count(this->root_.template find<bool>("v"));
    count(this->root_.template find<long>("v"));
    count(this->root_.template find<std::string>("v"));
    count(this->root_.template find<std::vector<long>>("v"));
    count(this->root_.template find<Mode>("v"));
    count(this->root_.template find<symbol_list::HISTORY_KIND>("v"));
    const bool is_one_of_them = std::is_same_v<TypeParam, bool> || std::is_same_v<TypeParam, long> ||
                                std::is_same_v<TypeParam, std::string> ||
                                std::is_same_v<TypeParam, std::vector<long>> ||
                                std::is_same_v<TypeParam, Mode> || std::is_same_v<TypeParam, SymbolInfo>;
    EXPECT_EQ(others, is_one_of_them ? 1 : 0);
}

TEST_F(TypedVariables, NothingIsFoundWhereThereIsNoVariable) {
    root_.add_domain("d");
    EXPECT_FALSE(root_.find<double>("/d"));
    EXPECT_FALSE(root_.find<double>("/missing"));
    EXPECT_THROW(root_.find<double>("//"), InvalidPathException);
    EXPECT_FALSE(TypedVariable<double>::create(nullptr));
}

TEST_F(TypedVariables, WhatLosesNothingIsConverted) {
    TypedVariable<double> temperature = root_.add<double>("temperature", 21);
    temperature = 22;
    EXPECT_EQ(temperature.get(), 22.0);
    temperature.set(23.5F);
    EXPECT_EQ(temperature.get(), 23.5);
    temperature.update({.value = 24});
    EXPECT_EQ(temperature.get(), 24.0);
    const TypedVariable<std::string> name = root_.add<std::string>("name", "a");
    name = "b";
    EXPECT_EQ(name.get(), "b");
    name.update({.value = "c"});
    EXPECT_EQ(name.get(), "c");
    const TypedVariable<long> count = root_.add<long>("count", 1);
    count = std::uint32_t{4'294'967'295U};
    EXPECT_EQ(count.get(), 4'294'967'295L);
    const auto levels = root_.add<std::vector<double>>("levels", {1.0, 2.0});
    levels = {3.0};
    levels.set({4.0, 5.0});
    EXPECT_EQ(levels.get(), (std::vector<double>{4.0, 5.0}));
}

namespace {

template <class T, class Other>
constexpr bool IS_TAKEN = std::is_assignable_v<TypedVariable<T>&, Other>;

template <class T, class Other>
concept Settable = requires(const TypedVariable<T> handle, Other value) {
    handle.set(value);
};

template <class T, class Other>
concept Updatable = requires(const TypedVariable<T> handle, Other value) {
    handle.update({.value = value});
};

template <class T, class Other>
concept Addable = requires(Domain domain, Other value) {
    domain.add<T>("name", value);
};

template <class T, class Other>
constexpr bool is_refused_by_all() {
    return !IS_TAKEN<T, Other> && !Settable<T, Other> && !Updatable<T, Other> && !Addable<T, Other>;
}

template <class T, class Other>
constexpr bool is_taken_by_all() {
    return IS_TAKEN<T, Other> && Settable<T, Other> && Updatable<T, Other> && Addable<T, Other>;
}

static_assert(is_taken_by_all<double, int>() && is_taken_by_all<double, float>() &&
              is_taken_by_all<double, unsigned>());
static_assert(is_taken_by_all<long, int>() && is_taken_by_all<short, signed char>());
static_assert(is_taken_by_all<float, short>() && is_taken_by_all<std::string, const char*>());
static_assert(is_taken_by_all<Mode, Mode>() && is_taken_by_all<bool, bool>());
static_assert(is_taken_by_all<std::vector<int>, std::vector<int>>());

static_assert(is_refused_by_all<double, const char*>() && is_refused_by_all<double, std::string>());
static_assert(is_refused_by_all<double, long>() && is_refused_by_all<double, bool>());
static_assert(is_refused_by_all<double, char>() && is_refused_by_all<double, void*>());
static_assert(is_refused_by_all<float, double>() && is_refused_by_all<float, int>());
static_assert(is_refused_by_all<int, double>() && is_refused_by_all<int, unsigned>());
static_assert(is_refused_by_all<int, long>() && is_refused_by_all<unsigned, int>());
static_assert(is_refused_by_all<short, int>() && is_refused_by_all<unsigned char, signed char>());
static_assert(is_refused_by_all<bool, int>() && is_refused_by_all<bool, const char*>());
static_assert(is_refused_by_all<std::string, int>() && is_refused_by_all<std::string, std::nullptr_t>());
static_assert(is_refused_by_all<Mode, QUALITY>() && is_refused_by_all<Mode, int>() &&
              is_refused_by_all<int, Mode>());
static_assert(is_refused_by_all<std::vector<double>, std::vector<int>>());
static_assert(is_refused_by_all<double, Value>() && is_refused_by_all<double, TypedVariable<int>>());

static_assert(VariableContent<double> && VariableContent<Mode> && !VariableContent<char>);
static_assert(!VariableContent<testing::Mode*> && !VariableContent<std::vector<char>>);
static_assert(!VariableContent<std::memory_order>, "an enumeration without a list");

}  // namespace

TEST_F(TypedVariables, AssignmentOfAHandleCopiesTheHandle) {
    TypedVariable<int> first = root_.add<int>("first", 1);
    TypedVariable<int> second = root_.add<int>("second", 2);
    first = second;
    first = 3;
    EXPECT_EQ(second.get(), 3);
    EXPECT_EQ(root_.find<int>("first")->get(), 1);
}

TEST_F(TypedVariables, OtherTypeIsNamed) {
    Variable& variable = root_.add_variable("v", Value(1));
    try {
        const TypedVariable<double> handle(variable);
        FAIL() << "nothing thrown";
    } catch (const BadValueTypeException& error) {
        EXPECT_EQ(error.get_details(), "variable \"/v\" is INT, and is used as DOUBLE");
    }
    EXPECT_EQ(TypedVariable<int>(variable).get(), 1);
}

TEST_F(TypedVariables, OtherListIsRefused) {
    Variable& variable = root_.add_variable("v", Value(SymbolInfo(Mode::OFF)));
    EXPECT_THROW(TypedVariable<QUALITY>{variable}, BadValueTypeException);
    EXPECT_EQ(TypedVariable<Mode>(variable).get(), Mode::OFF);
    EXPECT_THROW(TypedVariable<Mode>{variable} = Mode::UNLISTED, std::invalid_argument);
    EXPECT_EQ(TypedVariable<Mode>(variable).get(), Mode::OFF);
}

TEST_F(TypedVariables, ContentThatBeliesItsDescriptorHasNoHandle) {
    root_.add_variable("v", Value(5, ValueTypeInfo(VALUE_TYPE::DOUBLE, false)));
    EXPECT_FALSE(root_.find<double>("v"));
    EXPECT_FALSE(root_.find<int>("v"));
}

TEST_F(TypedVariables, UpdateChangesAllOrNothing) {
    const auto temperature = root_.add<double>("temperature", 21.5);
    const TimePoint sampled{std::chrono::seconds(5)};
    temperature.update({.value = 22.5, .quality = QUALITY::GOOD, .timestamp = sampled});
    EXPECT_EQ(temperature.get(), 22.5);
    EXPECT_EQ(temperature.get_variable().get_timestamp(), sampled);
    EXPECT_THROW(temperature.update({.value = 1.0, .quality = QUALITY(16)}), std::invalid_argument);
    EXPECT_EQ(temperature.get(), 22.5);
    temperature.update({.quality = QUALITY::BAD});
    EXPECT_EQ(temperature.get(), 22.5);
    EXPECT_EQ(temperature.get_variable().get_quality(), SymbolInfo(QUALITY::BAD));
}

TEST_F(TypedVariables, FailureToUpdateChangesNothing) {
    const auto text = root_.add<std::string>("text", "before");
    const Registration watching = text.get_variable().on_write([](const Path&, const Value&) {});
    const TimePoint timestamp = text.get_variable().get_timestamp();
    bool is_written = false;
    for (std::size_t successes = 0; !is_written; ++successes) {
        std::string after(100, 'a');
        try {
            const testing::AllocationFailure failure(successes);
            text.update({.value = std::move(after), .quality = QUALITY::BAD, .timestamp = TimePoint()});
            is_written = true;
        } catch (const std::bad_alloc&) {
            ASSERT_EQ(text.get(), "before");
            ASSERT_EQ(text.get_variable().get_timestamp(), timestamp);
            ASSERT_EQ(text.get_variable().get_quality(), SymbolInfo(QUALITY::GOOD));
        }
    }
    EXPECT_EQ(text.get(), std::string(100, 'a'));
}

TEST_F(TypedVariables, ScalarsAreWrittenWithoutAllocation) {
    const auto temperature = root_.add<double>("temperature", 21.5);
    const testing::AllocationCounter counter;
    temperature = 22.5;
    temperature.update({.value = 23.5, .quality = QUALITY::BAD});
    EXPECT_EQ(temperature.get(), 23.5);
    EXPECT_EQ(counter.get_count(), 0U);
}

TEST_F(TypedVariables, ObserversHearOfTypedWrites) {
    const auto temperature = root_.add<double>("temperature", 21.5);
    std::vector<double> seen;
    const Registration watching = temperature.get_variable().on_change(
        [&](const Path&, const Value& value) { seen.push_back(std::get<double>(value)); });
    temperature = 22;
    temperature.update({.value = 23});
    temperature.set(23.0);
    EXPECT_EQ(seen, (std::vector<double>{22.0, 23.0}));
}

TEST_F(TypedVariables, ArrayIsEditedInPlace) {
    const auto levels = root_.add<std::vector<double>>("levels", {1.0, 2.0});
    levels.modify([](std::vector<double>& array) { array[1] = 5.0; });
    EXPECT_EQ(levels.get(), (std::vector<double>{1.0, 5.0}));
    static_assert(!ModifiableContent<double> && !ModifiableContent<std::vector<SymbolInfo>>);
}

TEST_F(TypedVariables, ReadersSeeWholeUpdates) {
    const auto first = root_.add<double>("first", 0.0);
    const auto second = root_.add<double>("second", 0.0);
    testing::TestThreads threads([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const std::shared_lock<const Tree> lock(model_.get_information_tree());
            ASSERT_EQ(first.get(), second.get());
        }
    });
    for (int i = 0; i < 1'000; ++i) {
        const std::unique_lock<Tree> lock(model_.get_information_tree());
        first = i;
        second = i;
    }
    threads.stop();
    EXPECT_EQ(first.get(), 999.0);
}

}  // namespace kx::information_model
