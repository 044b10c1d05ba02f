#include <information_model/SymbolInfo.h>
#include <information_model/symbol_lists.h>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "model/TestMode.h"

namespace kx::information_model::testing {

enum class Wide : std::uint64_t { LOW = 1, HIGH = (std::uint64_t{1} << 32U) + 1 };
enum class WideAndSigned : std::int64_t { LOW = 1, HIGH = (std::int64_t{1} << 32) + 1, NEGATIVE = -1 };

/// The value 1 and that of -1 in 32 bits.
struct WideList {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "test.Wide";
        return LIST_NAME;
    }
    static const std::vector<symbol_list::Symbol>& get_symbols() {
        static const std::vector<symbol_list::Symbol> SYMBOLS = {{1, "low", ""},
                                                                 {4'294'967'295U, "last", ""}};
        return SYMBOLS;
    }
};

}  // namespace kx::information_model::testing

template <>
struct kx::information_model::symbol_list::SymbolList<kx::information_model::testing::Wide>
    : kx::information_model::testing::WideList {};
template <>
struct kx::information_model::symbol_list::SymbolList<kx::information_model::testing::WideAndSigned>
    : kx::information_model::testing::WideList {};

namespace kx::information_model {

using symbol_list::HISTORY_KIND;
using symbol_list::QUALITY;
using testing::Mode;
using testing::Wide;
using testing::WideAndSigned;

namespace {

/// The message of the `std::invalid_argument` that `action` throws.
template <class Action>
std::string get_message(Action action) {
    try {
        action();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "nothing thrown";
}

}  // namespace

TEST(SymbolInfo, StartsAtTheSymbolGiven) {
    EXPECT_EQ(SymbolInfo(QUALITY::GOOD).get_value(), 14U);
    EXPECT_EQ(SymbolInfo(HISTORY_KIND::HISTORY_SUGGESTED).get_value(), 2U);
    EXPECT_EQ(SymbolInfo(Mode::BROKEN).get_value(), 4'294'967'295U);
}

TEST(SymbolInfo, UnlistedSymbolIsRefused) {
    EXPECT_EQ(get_message([] { const SymbolInfo symbol(Mode::UNLISTED); }), "Unknown symbol value.");
}

TEST(SymbolInfo, KnowsItsList) {
    const SymbolInfo symbol(HISTORY_KIND::NONE);
    EXPECT_EQ(symbol.get_list_name(), "common.HistoryKind");
    ASSERT_EQ(symbol.get_symbols().size(), 3U);
    EXPECT_EQ(symbol.get_symbols()[1].name, "historyAvailable");
}

TEST(SymbolInfo, NumberIsAPositionInTheList) {
    SymbolInfo symbol(Mode::OFF);
    symbol.set_value(1U);
    EXPECT_EQ(symbol.get_value(), 40U);
    symbol.set_value(3U);
    EXPECT_EQ(symbol.get_value(), 4'294'967'295U);
}

TEST(SymbolInfo, PositionBehindTheListIsRefused) {
    SymbolInfo symbol(Mode::MANUAL);
    for (const unsigned int position : {4U, 10U, 40U, 4'294'967'295U}) {
        EXPECT_EQ(get_message([&] { symbol.set_value(position); }), "Unknown symbol value.");
    }
    EXPECT_EQ(symbol.get_value(), 40U);
}

TEST(SymbolInfo, NameIsComparedExactly) {
    SymbolInfo symbol(Mode::OFF);
    symbol.set_value("automatic");
    EXPECT_EQ(symbol.get_value(), 20U);
    for (const char* name : {"Automatic", "", "auto", "automatic "}) {
        EXPECT_EQ(get_message([&] { symbol.set_value(name); }), "Unknown symbol name.");
    }
    EXPECT_EQ(symbol.get_value(), 20U);
}

TEST(SymbolInfo, NameIsThatOfTheValue) {
    SymbolInfo symbol(Mode::MANUAL);
    EXPECT_EQ(symbol.get_name(), "manual");
    symbol.set_value(2U);
    EXPECT_EQ(symbol.get_name(), "automatic");
    EXPECT_EQ(SymbolInfo(QUALITY::UNCERTAIN_EU_EXCEEDED).get_name(), "uncertainEUExceeded");
}

TEST(SymbolInfo, EnumeratorsOf64BitsAreNotCut) {
    EXPECT_EQ(SymbolInfo(Wide::LOW).get_value(), 1U);
    EXPECT_EQ(get_message([] { const SymbolInfo symbol(Wide::HIGH); }), "Unknown symbol value.");
    EXPECT_EQ(SymbolInfo(WideAndSigned::LOW).get_value(), 1U);
    EXPECT_EQ(get_message([] { const SymbolInfo symbol(WideAndSigned::HIGH); }), "Unknown symbol value.");
    EXPECT_EQ(get_message([] { const SymbolInfo symbol(WideAndSigned::NEGATIVE); }), "Unknown symbol value.");
}

TEST(SymbolInfo, ResetSetsTheFirstSymbol) {
    SymbolInfo symbol(Mode::AUTOMATIC);
    symbol.reset();
    EXPECT_EQ(symbol.get_value(), 10U);
}

TEST(SymbolInfo, CopiesAreIndependent) {
    SymbolInfo original(Mode::OFF);
    SymbolInfo copy = original;
    copy.set_value("manual");
    EXPECT_EQ(original.get_value(), 10U);
    EXPECT_EQ(copy.get_value(), 40U);
    original = copy;
    EXPECT_EQ(original.get_value(), 40U);
}

TEST(SymbolInfo, NeverIsWithoutAList) {
    SymbolInfo original(Mode::MANUAL);
    const SymbolInfo moved_to = std::move(original);
    EXPECT_EQ(moved_to.get_value(), 40U);
    EXPECT_EQ(original.get_value(), 40U);  // NOLINT(bugprone-use-after-move): promised by the class
    static_assert(std::is_nothrow_copy_constructible_v<SymbolInfo>);
}

TEST(SymbolInfo, EqualityComparesListAndValue) {
    EXPECT_EQ(SymbolInfo(Mode::OFF), SymbolInfo(Mode::OFF));
    EXPECT_FALSE(SymbolInfo(Mode::OFF) == SymbolInfo(Mode::MANUAL));
    EXPECT_FALSE(SymbolInfo(QUALITY::BAD) == SymbolInfo(HISTORY_KIND::NONE));
}

TEST(SymbolInfo, ModelCanBeUsedDirectly) {
    SymbolInfo::Model<HISTORY_KIND> model(HISTORY_KIND::NONE);
    model.set_value(2U);
    const std::unique_ptr<SymbolInfo::Concept> clone = model.clone();
    model.set_value(std::string("none"));
    EXPECT_EQ(clone->get_value(), 2U);
    EXPECT_EQ(model.get_value(), 0U);
    EXPECT_EQ(clone->get_list_name(), "common.HistoryKind");
    EXPECT_EQ(get_message([&] { model.set_value(3U); }), "Unknown symbol value.");
}

TEST(SymbolList, SymbolIsFoundByItsValue) {
    const auto& symbols = symbol_list::SymbolList<Mode>::get_symbols();
    EXPECT_EQ(symbol_list::get_symbol(symbols, 20).name, "automatic");
    EXPECT_EQ(get_message([&] { symbol_list::get_symbol(symbols, 2); }), "Unknown symbol value.");
}

}  // namespace kx::information_model
