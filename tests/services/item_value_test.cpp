#include "services/item_value.h"

#include "support/reply_text.h"
#include "xml/reply/reply_dom.h"

#include <Poco/SAX/NamespaceSupport.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

using testing::read_attribute;
using testing::to_text;

class NoService : public AMessage {
public:
    using AMessage::AMessage;
    using AMessage::get_document;

protected:
    Poco::AutoPtr<Poco::XML::Element> process() override { return {}; }
};

class ItemValue : public ::testing::Test {
protected:
    ItemValue()
        : boiler_(model_->get_root().add_domain("boiler")),
          temperature_(boiler_.add_variable("temperature", Value(21.5))) {}

    Poco::AutoPtr<Poco::XML::Element> create(const Item& item, const ItemValueForm& form,
                                             const std::string& name = "Items") const {
        return create_item_value(message_, message_.get_document(), name, item, form);
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    Poco::XML::NamespaceSupport namespaces_;
    NoService message_{model_, nullptr, namespaces_};
    Domain& boiler_;
    Variable& temperature_;
};

TEST_F(ItemValue, HasTheNameAlone) {
    EXPECT_EQ(to_text(*create(boiler_, {})), R"(<Items ItemName="/boiler"/>)");
    EXPECT_EQ(to_text(*create(temperature_, {.has_value = false})),
              R"(<Items ItemName="/boiler/temperature"/>)");
    EXPECT_EQ(to_text(*create(model_->get_root(), {})), R"(<Items ItemName="/"/>)");
}

TEST_F(ItemValue, IsCalledAsItsServiceWants) {
    EXPECT_EQ(to_text(*create(boiler_, {}, "ItemValue")), R"(<ItemValue ItemName="/boiler"/>)");
}

TEST_F(ItemValue, HasAHandleThatIsGiven) {
    const std::string handle = "h<\x01";
    const std::string empty;
    EXPECT_EQ(to_text(*create(boiler_, {.client_item_handle = &handle})),
              "<Items ClientItemHandle=\"h&lt;\xEF\xBF\xBD\" ItemName=\"/boiler\"/>");
    EXPECT_EQ(to_text(*create(boiler_, {.client_item_handle = &empty})),
              R"(<Items ClientItemHandle="" ItemName="/boiler"/>)");
}

TEST_F(ItemValue, HasTheTimeOfAVariable) {
    temperature_.set_timestamp(TimePoint(std::chrono::milliseconds(1500)));
    EXPECT_EQ(to_text(*create(temperature_, {.has_timestamp = true, .has_value = false})),
              R"(<Items ItemName="/boiler/temperature" Timestamp="1970-01-01T00:00:01.500Z"/>)");
}

TEST_F(ItemValue, HasTheCurrentTimeForADomain) {
    const TimePoint before = std::chrono::system_clock::now();
    const std::string element = to_text(*create(boiler_, {.has_timestamp = true}));
    const TimePoint reported = date_time_from_iso8601_string(read_attribute(element, "Timestamp"));
    EXPECT_LE(before, reported);
    EXPECT_LE(reported, std::chrono::system_clock::now());
}

TEST_F(ItemValue, HasTheValueOfAVariable) {
    EXPECT_EQ(
        to_text(*create(temperature_, {})),
        R"(<Items ItemName="/boiler/temperature"><Value xsi:type="xsd:double">21.500000</Value></Items>)");
    EXPECT_EQ(
        to_text(*create(boiler_.add_variable("array", Value(std::vector<int>{1, 2})), {})),
        R"(<Items ItemName="/boiler/array"><Value xsi:type="ArrayOfInt"><int>1</int><int>2</int></Value>)"
        "</Items>");
}

TEST_F(ItemValue, HasAllThatIsGiven) {
    const std::string handle = "h";
    temperature_.set_timestamp(TimePoint());
    EXPECT_EQ(
        to_text(*create(temperature_, {.client_item_handle = &handle, .has_timestamp = true})),
        R"(<Items ClientItemHandle="h" ItemName="/boiler/temperature" Timestamp="1970-01-01T00:00:00Z">)"
        R"(<Value xsi:type="xsd:double">21.500000</Value></Items>)");
}

TEST_F(ItemValue, IsNotAttached) {
    const auto element = create(boiler_, {});
    EXPECT_EQ(element->parentNode(), nullptr);
    EXPECT_EQ(element->ownerDocument(), &message_.get_document());
}

TEST_F(ItemValue, IsNotMadeOfAValueWithoutForm) {
    const Item& decimal =
        boiler_.add_variable("decimal", Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false)));
    const Item& mismatched =
        boiler_.add_variable("mismatched", Value("x", ValueTypeInfo(VALUE_TYPE::INT, false)));
    EXPECT_THROW(create(decimal, {}), std::invalid_argument);
    EXPECT_THROW(create(mismatched, {}), BadValueTypeException);
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
