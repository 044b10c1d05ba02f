#include <information_model/PatternType.h>

#include <gtest/gtest.h>

#include <string>

namespace kx::information_model::pattern_type {

/// A constant of the catalogue, its name and that of its parent.
struct CatalogueRow {
    const PatternType& pattern_type;
    const char* name;
    const char* parent;
};

class Catalogue : public ::testing::TestWithParam<CatalogueRow> {};

TEST_P(Catalogue, HasNameAndParent) {
    const auto& [pattern_type, name, parent] = GetParam();
    EXPECT_EQ(pattern_type.get_name(), name);
    ASSERT_TRUE(pattern_type.get_parent().has_value());
    EXPECT_EQ(pattern_type.get_parent()->get_name(), parent);
}

INSTANTIATE_TEST_SUITE_P(
    PatternType, Catalogue,
    ::testing::Values(CatalogueRow{ACTIVE_PROGRAM, "common.ActiveProgram", "common.Any"},
                      CatalogueRow{ALARM_MONITOR, "common.AlarmMonitor", "common.Any"},
                      CatalogueRow{COMPONENT, "common.Component", "common.Any"},
                      CatalogueRow{CONTACT, "common.Contact", "common.Any"},
                      CatalogueRow{CONTACTS, "common.Contacts", "common.Any"},
                      CatalogueRow{FUNCTION, "common.Function", "common.Any"},
                      CatalogueRow{EVENT_CATALOG, "common.EventCatalog", "common.Any"},
                      CatalogueRow{LOCATION, "common.Location", "common.Any"},
                      CatalogueRow{PREVENTIVE_MAINTENANCE, "common.PreventiveMaintenance", "common.Any"},
                      CatalogueRow{PROGRAMMING, "common.Programming", "common.Any"},
                      CatalogueRow{RECURRING_TASK, "common.RecurringTask", "common.Any"},
                      CatalogueRow{SOFTWARE_UPDATE, "common.SoftwareUpdate", "common.Any"},
                      CatalogueRow{SYSTEM, "common.System", "common.Any"},
                      CatalogueRow{UNIT, "common.Unit", "common.Any"},
                      CatalogueRow{EXTENSION, "common.Extension", "common.Any"},
                      CatalogueRow{CONTROL_FUNCTION, "common.ControlFunction", "common.Function"},
                      CatalogueRow{LID_DOOR_FUNCTION, "common.LidDoorFunction", "common.Function"},
                      CatalogueRow{MULTI_MODAL_CONTROL_FUNCTION, "common.MultiModalControlFunction",
                                   "common.Function"},
                      CatalogueRow{TIMER_FUNCTION, "common.TimerFunction", "common.Function"},
                      CatalogueRow{DEVICE, "common.Device", "common.Component"}));

TEST(PatternType, AnyIsTheRoot) {
    EXPECT_EQ(ANY.get_name(), "common.Any");
    EXPECT_FALSE(ANY.get_parent().has_value());
}

TEST(PatternType, CollectionIsNamedAfterItsElement) {
    const PatternType devices = collection(DEVICE);
    EXPECT_EQ(devices.get_name(), "common.Collection[common.Device]");
    ASSERT_TRUE(devices.get_parent().has_value());
    EXPECT_EQ(*devices.get_parent(), ANY);
    EXPECT_EQ(collection(devices).get_name(), "common.Collection[common.Collection[common.Device]]");
}

TEST(PatternType, HostsMakeTheirOwn) {
    const PatternType pump("plant.Pump", DEVICE);
    EXPECT_EQ(pump.get_name(), "plant.Pump");
    EXPECT_EQ(pump.get_parent()->get_parent()->get_parent(), ANY);
    EXPECT_EQ(pump, PatternType("plant.Pump", std::nullopt));
    EXPECT_FALSE(pump == DEVICE);
}

TEST(PatternType, TextConstants) {
    EXPECT_STREQ(UNSPECIFIC, "unspecific");
    EXPECT_STREQ(ENABLED_STATE, "enabled-state");
    EXPECT_STREQ(FUNCTION_STATE, "function_state");
    EXPECT_STREQ(VALUE_CHANGED, "value-changed");
    EXPECT_STREQ(VALUE_ALARM, "value-alarm");
    EXPECT_STREQ(DEFAULT_MASK, "1111000");
}

}  // namespace kx::information_model::pattern_type
