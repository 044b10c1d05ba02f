#include <information_model/symbol_lists.h>

#include <gtest/gtest.h>

#include <tuple>

namespace kx::information_model::symbol_list {

/// An enumerator and the symbol that stands for it.
template <class E>
struct SymbolRow {
    E enumerator;
    std::uint32_t value;
    const char* name;
    const char* description;
};

class QualityList : public ::testing::TestWithParam<SymbolRow<QUALITY>> {};

TEST_P(QualityList, HasTheSymbolAtItsValue) {
    const auto& row = GetParam();
    EXPECT_EQ(static_cast<std::uint32_t>(row.enumerator), row.value);
    const Symbol& symbol = SymbolList<QUALITY>::get_symbols().at(row.value);
    EXPECT_EQ(symbol.value, row.value);
    EXPECT_EQ(symbol.name, row.name);
    EXPECT_EQ(symbol.description, row.description);
}

INSTANTIATE_TEST_SUITE_P(
    SymbolLists, QualityList,
    ::testing::Values(
        SymbolRow<QUALITY>{QUALITY::BAD, 0, "bad", "The value is bad but no specific reason is known."},
        SymbolRow<QUALITY>{QUALITY::BAD_CONFIGURATION_ERROR, 1, "badConfigurationError", ""},
        SymbolRow<QUALITY>{QUALITY::BAD_NOT_CONNECTED, 2, "badNotConnected",
                           "The input is required to be logically connected to something but is not."},
        SymbolRow<QUALITY>{QUALITY::BAD_DEVICE_FAILURE, 3, "badDeviceFailure",
                           "A device failure has been detected."},
        SymbolRow<QUALITY>{QUALITY::BAD_SENSOR_FAILURE, 4, "badSensorFailure",
                           "A sensor failure had been detected."},
        SymbolRow<QUALITY>{QUALITY::BAD_LAST_KNOWN_VALUE, 5, "badLastKnownValue",
                           "Communications have failed"},
        SymbolRow<QUALITY>{QUALITY::BAD_COMM_FAILURE, 6, "badCommFailure", "Communications have failed."},
        SymbolRow<QUALITY>{QUALITY::BAD_OUT_OF_SERVICE, 7, "badOutOfService",
                           "The block is off scan or otherwise locked."},
        SymbolRow<QUALITY>{QUALITY::BAD_WAITING_FOR_INITIAL_DATA, 8, "badWaitingForInitialData",
                           "Value has not been obtained yet."},
        SymbolRow<QUALITY>{QUALITY::UNCERTAIN, 9, "uncertain", ""},
        SymbolRow<QUALITY>{QUALITY::UNCERTAIN_LAST_USABLE_VALUE, 10, "uncertainLastUsableValue", ""},
        SymbolRow<QUALITY>{QUALITY::UNCERTAIN_SENSOR_NOT_ACCURATE, 11, "uncertainSensorNotAccurate",
                           "Sensor is out of configuration"},
        SymbolRow<QUALITY>{QUALITY::UNCERTAIN_EU_EXCEEDED, 12, "uncertainEUExceeded",
                           "The returned value is outside the limits"},
        SymbolRow<QUALITY>{QUALITY::UNCERTAIN_SUB_NORMAL, 13, "uncertainSubNormal",
                           "Not all sources are good."},
        SymbolRow<QUALITY>{QUALITY::GOOD, 14, "good", "The value is good"},
        SymbolRow<QUALITY>{QUALITY::GOOD_LOCAL_OVERRIDE, 15, "goodLocalOverride", ""}));

class HistoryKindList : public ::testing::TestWithParam<SymbolRow<HISTORY_KIND>> {};

TEST_P(HistoryKindList, HasTheSymbolAtItsValue) {
    const auto& row = GetParam();
    EXPECT_EQ(static_cast<std::uint32_t>(row.enumerator), row.value);
    const Symbol& symbol = SymbolList<HISTORY_KIND>::get_symbols().at(row.value);
    EXPECT_EQ(symbol.value, row.value);
    EXPECT_EQ(symbol.name, row.name);
    EXPECT_EQ(symbol.description, row.description);
}

INSTANTIATE_TEST_SUITE_P(
    SymbolLists, HistoryKindList,
    ::testing::Values(SymbolRow<HISTORY_KIND>{HISTORY_KIND::NONE, 0, "none", "No history is maintained."},
                      SymbolRow<HISTORY_KIND>{HISTORY_KIND::HISTORY_AVAILABLE, 1, "historyAvailable",
                                              "History data is available via the OSV History service."},
                      SymbolRow<HISTORY_KIND>{
                          HISTORY_KIND::HISTORY_SUGGESTED, 2, "historySuggested",
                          "Suggestion to the client to store a history of this variable from data "
                          "acquired via the OSV Item Service."}));

TEST(SymbolLists, HaveNamesAndDescriptions) {
    EXPECT_EQ(SymbolList<QUALITY>::get_list_name(), "common.Quality");
    EXPECT_EQ(SymbolList<QUALITY>::get_list_description(), "Quality of a variable.");
    EXPECT_EQ(SymbolList<HISTORY_KIND>::get_list_name(), "common.HistoryKind");
    EXPECT_EQ(SymbolList<HISTORY_KIND>::get_list_description(),
              "The historyKind property informs a client if and how a variable is historized.");
}

TEST(SymbolLists, HaveNoFurtherSymbols) {
    EXPECT_EQ(SymbolList<QUALITY>::get_symbols().size(), 16U);
    EXPECT_EQ(SymbolList<HISTORY_KIND>::get_symbols().size(), 3U);
}

}  // namespace kx::information_model::symbol_list
