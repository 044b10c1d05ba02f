#include "services/item_value.h"

#include "support/reply_text.h"
#include "xml/reply/reply_dom.h"

#include <information_model/InformationModel.h>
#include <information_model/Variable.h>
#include <information_model/exceptions.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

using testing::read_attribute;
using testing::to_text;

class ItemValue : public ::testing::Test {
protected:
    ItemValue()
        : boiler_(model_->get_root().add_domain("boiler")),
          temperature_(boiler_.add_variable("temperature", Value(21.5))) {}

    static std::string write(const Item& item, const ItemValueForm& form, const std::string& name = "Items") {
        const auto document = create_reply_document();
        auto list = create_element(*document, "L");
        ChildWriter writer(*list);
        write_item_value(writer, name, item, form);
        const std::string text = to_text(*list);
        return text.substr(3, text.size() - 7);  // without <L> and </L>
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    Domain& boiler_;
    Variable& temperature_;
};

TEST_F(ItemValue, HasTheNameAlone) {
    EXPECT_EQ(write(boiler_, {}), R"(<Items ItemName="/boiler"/>)");
    EXPECT_EQ(write(temperature_, {.has_value = false}), R"(<Items ItemName="/boiler/temperature"/>)");
    EXPECT_EQ(write(model_->get_root(), {}), R"(<Items ItemName="/"/>)");
}

TEST_F(ItemValue, IsCalledAsItsServiceWants) {
    EXPECT_EQ(write(boiler_, {}, "ItemValue"), R"(<ItemValue ItemName="/boiler"/>)");
}

TEST_F(ItemValue, HasAHandleThatIsGiven) {
    const std::string handle = "h<\x01";
    const std::string empty;
    EXPECT_EQ(write(boiler_, {.client_item_handle = &handle}),
              "<Items ClientItemHandle=\"h&lt;\xEF\xBF\xBD\" ItemName=\"/boiler\"/>");
    EXPECT_EQ(write(boiler_, {.client_item_handle = &empty}),
              R"(<Items ClientItemHandle="" ItemName="/boiler"/>)");
}

TEST_F(ItemValue, HasAnItemNameThatIsGiven) {
    const std::string name = "/given";
    EXPECT_EQ(write(boiler_, {.item_name = &name}), R"(<Items ItemName="/given"/>)");
}

TEST_F(ItemValue, HasTheTimeOfAVariable) {
    temperature_.set_timestamp(TimePoint(std::chrono::milliseconds(1500)));
    EXPECT_EQ(write(temperature_, {.has_timestamp = true, .has_value = false}),
              R"(<Items ItemName="/boiler/temperature" Timestamp="1970-01-01T00:00:01.500Z"/>)");
}

TEST_F(ItemValue, HasTheCurrentTimeForADomain) {
    const TimePoint before = std::chrono::system_clock::now();
    const std::string element = write(boiler_, {.has_timestamp = true});
    const TimePoint reported = date_time_from_iso8601_string(read_attribute(element, "Timestamp"));
    EXPECT_LE(before, reported);
    EXPECT_LE(reported, std::chrono::system_clock::now());
}

TEST_F(ItemValue, HasTheValueOfAVariable) {
    EXPECT_EQ(
        write(temperature_, {}),
        R"(<Items ItemName="/boiler/temperature"><Value xsi:type="xsd:double">21.500000</Value></Items>)");
    EXPECT_EQ(
        write(boiler_.add_variable("array", Value(std::vector<int>{1, 2})), {}),
        R"(<Items ItemName="/boiler/array"><Value xsi:type="ArrayOfInt"><int>1</int><int>2</int></Value>)"
        "</Items>");
}

TEST_F(ItemValue, HasAllThatIsGiven) {
    const std::string handle = "h";
    temperature_.set_timestamp(TimePoint());
    EXPECT_EQ(
        write(temperature_, {.client_item_handle = &handle, .has_timestamp = true}),
        R"(<Items ClientItemHandle="h" ItemName="/boiler/temperature" Timestamp="1970-01-01T00:00:00Z">)"
        R"(<Value xsi:type="xsd:double">21.500000</Value></Items>)");
}

TEST_F(ItemValue, RefusesAValueWithoutForm) {
    const Item& decimal =
        boiler_.add_variable("decimal", Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false)));
    const Item& mismatched =
        boiler_.add_variable("mismatched", Value("x", ValueTypeInfo(VALUE_TYPE::INT, false)));
    EXPECT_THROW(write(decimal, {}), std::invalid_argument);
    EXPECT_THROW(write(mismatched, {}), BadValueTypeException);
}

TEST_F(ItemValue, HasTheSameNameWhetherThePathIsKnownOrNot) {
    for (const Item* item : {static_cast<const Item*>(&model_->get_root()),
                             static_cast<const Item*>(&boiler_), static_cast<const Item*>(&temperature_)}) {
        const Path path = item->get_path();
        ASSERT_NE(get_if_absolute(path), nullptr);
        EXPECT_EQ(model_->get_root().find_item(path), item);
        EXPECT_EQ(*get_if_absolute(path), path.as_string());
    }
    for (const char* relative : {".", "./boiler", "boiler", "boiler/temperature"}) {
        EXPECT_EQ(get_if_absolute(Path(relative)), nullptr) << relative;
    }
}

TEST(ItemHandle, IsLeftOutWhenEmptyOrAbsent) {
    const std::string handle = "h";
    const std::string empty;
    EXPECT_EQ(get_if_not_empty(handle), &handle);
    EXPECT_EQ(get_if_not_empty(empty), nullptr);
    const std::optional<std::string> present_empty = "";
    EXPECT_EQ(get_if_present(present_empty), &*present_empty);
    EXPECT_EQ(get_if_present(std::nullopt), nullptr);
}

}  // namespace
}  // namespace kx::information_model::opc
