#include "services/property_catalogue.h"

#include <information_model/InformationModel.h>
#include <information_model/exceptions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace kx::information_model::opc {
namespace {

class PropertyCatalogue : public ::testing::Test {
protected:
    Variable& add_variable(Value initial, VariableOptions options = {}) {
        return model_.get_root().add_variable("v" + std::to_string(count_++), std::move(initial),
                                              std::move(options));
    }

    Domain& add_domain(DomainOptions options = {}) {
        return model_.get_root().add_domain("d" + std::to_string(count_++), std::move(options));
    }

private:
    InformationModel model_{"plant"};
    int count_ = 0;
};

template <class ItemKind>
std::vector<std::string> get_names(std::span<const Property<ItemKind>> properties) {
    std::vector<std::string> names;
    for (const Property<ItemKind>& property : properties) {
        names.push_back(property.name);
    }
    return names;
}

template <class ItemKind>
std::vector<std::string> get_present_names(std::span<const Property<ItemKind>> properties,
                                           const ItemKind& item) {
    std::vector<std::string> names;
    for (const Property<ItemKind>& property : properties) {
        if (property.is_present(item)) {
            names.push_back(property.name);
        }
    }
    return names;
}

const Property<Variable>& get_property(const std::string& name) {
    const auto properties = get_variable_properties();
    return *std::find_if(properties.begin(), properties.end(),
                         [&](const auto& property) { return property.name == name; });
}

PropertyValue get_value(const std::string& name, const Variable& variable) {
    return get_property(name).get_value(variable);
}

/// The content of a value that was made for the reply.
std::string get_made_text(const std::string& name, const Variable& variable) {
    return std::get<std::string>(std::get<Value>(get_value(name, variable)));
}

TEST_F(PropertyCatalogue, OrderOfDomainProperties) {
    EXPECT_EQ(get_names(get_domain_properties()),
              (std::vector<std::string>{"description", "telvix:patternType", "telvix:identity"}));
}

TEST_F(PropertyCatalogue, OrderOfVariableProperties) {
    EXPECT_EQ(get_names(get_variable_properties()),
              (std::vector<std::string>{"accessRights", "dataType", "engineeringUnits", "euType", "euInfo",
                                        "quality", "lowEU", "lowIR", "highEU", "highIR", "timestamp", "value",
                                        "description", "telvix:delta", "telvix:fractionalDigits",
                                        "telvix:historyKind"}));
}

TEST_F(PropertyCatalogue, OnlyTwoTypesAreNamedOtherwise) {
    for (const auto& property : get_domain_properties()) {
        EXPECT_EQ(property.type_name, "") << property.name;
    }
    for (const auto& property : get_variable_properties()) {
        const bool is_data_type = property.name == "dataType";
        const bool is_quality = property.name == "quality";
        EXPECT_EQ(property.type_name, is_data_type ? "xsd:QName"
                                      : is_quality ? "OPCQuality"
                                                   : "")
            << property.name;
    }
}

TEST_F(PropertyCatalogue, BareItemsHaveWhatIsAlwaysThere) {
    EXPECT_EQ(get_present_names(get_domain_properties(), add_domain()),
              (std::vector<std::string>{"description", "telvix:patternType"}));
    EXPECT_EQ(get_present_names(get_variable_properties(), add_variable(Value(1))),
              (std::vector<std::string>{"accessRights", "dataType", "engineeringUnits", "euType", "quality",
                                        "timestamp", "value", "description"}));
}

TEST_F(PropertyCatalogue, FullItemsHaveEverything) {
    EXPECT_EQ(get_present_names(get_domain_properties(), add_domain({.identity = Identity("")})).size(), 3U);
    const Variable& variable = add_variable(Value(SymbolInfo(symbol_list::QUALITY::BAD)),
                                            {.range = {.lower = Value(0), .upper = Value(1)},
                                             .delta = Value(0),
                                             .fractional_digits = 0,
                                             .history_kind = symbol_list::HISTORY_KIND::NONE});
    EXPECT_EQ(get_present_names(get_variable_properties(), variable).size(), 16U);
}

TEST_F(PropertyCatalogue, ValuesThatStandInTheTreeAreNotCopied) {
    const Variable& variable =
        add_variable(Value(1.0), {.range = {.lower = Value(0), .upper = Value(1)}, .delta = Value(2)});
    EXPECT_EQ(std::get<const Value*>(get_value("value", variable)), &variable.get_value());
    EXPECT_EQ(std::get<const Value*>(get_value("lowEU", variable)), &*variable.get_range().lower);
    EXPECT_EQ(std::get<const Value*>(get_value("lowIR", variable)), &*variable.get_range().lower);
    EXPECT_EQ(std::get<const Value*>(get_value("highEU", variable)), &*variable.get_range().upper);
    EXPECT_EQ(std::get<const Value*>(get_value("highIR", variable)), &*variable.get_range().upper);
    EXPECT_EQ(std::get<const Value*>(get_value("telvix:delta", variable)), &*variable.get_delta());
}

TEST_F(PropertyCatalogue, MadeValuesHaveTheirTypes) {
    const Variable& variable =
        add_variable(Value(SymbolInfo(symbol_list::QUALITY::BAD)),
                     {.fractional_digits = 2, .history_kind = symbol_list::HISTORY_KIND::HISTORY_AVAILABLE});
    const std::vector<std::pair<std::string, ValueTypeInfo>> rows = {
        {"accessRights", {VALUE_TYPE::STRING, false}},
        {"dataType", {VALUE_TYPE::STRING, false}},
        {"engineeringUnits", {VALUE_TYPE::STRING, false}},
        {"euType", {VALUE_TYPE::STRING, false}},
        {"euInfo", {VALUE_TYPE::STRING, true}},
        {"quality", {VALUE_TYPE::STRING, false}},
        {"timestamp", {VALUE_TYPE::DATE_TIME, false}},
        {"description", {VALUE_TYPE::STRING, false}},
        {"telvix:fractionalDigits", {VALUE_TYPE::INT, false}},
        {"telvix:historyKind", {VALUE_TYPE::SYMBOL, false}},
    };
    for (const auto& [name, type_info] : rows) {
        EXPECT_EQ(std::get<Value>(get_value(name, variable)).get_type_info(), type_info) << name;
    }
}

TEST_F(PropertyCatalogue, EuInfoTakesTheFirstMemberOfAnArray) {
    const SymbolInfo quality(symbol_list::QUALITY::BAD);
    const SymbolInfo history(symbol_list::HISTORY_KIND::NONE);
    const Variable& mixed = add_variable(Value(std::vector<SymbolInfo>{history, quality}));
    ASSERT_TRUE(get_property("euInfo").is_present(mixed));
    EXPECT_EQ(std::get<Value>(get_value("euInfo", mixed)),
              Value(std::vector<std::string>{"none", "historyAvailable", "historySuggested"}));
    EXPECT_FALSE(get_property("euInfo").is_present(add_variable(Value(std::vector<SymbolInfo>{}))));
}

TEST_F(PropertyCatalogue, EuInfoNeedsSymbolsInASymbolVariable) {
    const auto is_present = get_property("euInfo").is_present;
    EXPECT_THROW(is_present(add_variable(Value(1, {VALUE_TYPE::SYMBOL, false}))), BadValueTypeException);
    EXPECT_THROW(is_present(add_variable(Value(1, {VALUE_TYPE::SYMBOL, true}))), BadValueTypeException);
    EXPECT_THROW(
        is_present(add_variable(Value(SymbolInfo(symbol_list::QUALITY::BAD), {VALUE_TYPE::SYMBOL, true}))),
        BadValueTypeException);
    EXPECT_FALSE(
        is_present(add_variable(Value(SymbolInfo(symbol_list::QUALITY::BAD), {VALUE_TYPE::INT, false}))));
}

TEST_F(PropertyCatalogue, DataTypeNeedsATypeThatIsServed) {
    const auto data_type = get_property("dataType").get_value;
    EXPECT_THROW(data_type(add_variable(Value(1, {VALUE_TYPE::DECIMAL, false}))), std::invalid_argument);
    EXPECT_THROW(data_type(add_variable(Value(1, {VALUE_TYPE::ATTACHMENT, true}))), std::invalid_argument);
}

struct EuTypeRow {
    VALUE_TYPE type;
    const char* scalar;
    const char* array;
};

class EuType : public PropertyCatalogue, public ::testing::WithParamInterface<EuTypeRow> {};

TEST_P(EuType, FollowsFromTheDeclaredType) {
    const EuTypeRow& row = GetParam();
    EXPECT_EQ(get_made_text("euType", add_variable(Value(1, {row.type, false}))), row.scalar);
    EXPECT_EQ(get_made_text("euType", add_variable(Value(1, {row.type, true}))), row.array);
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, EuType,
    ::testing::Values(
        EuTypeRow{VALUE_TYPE::BOOLEAN, "analog", "noEnum"}, EuTypeRow{VALUE_TYPE::STRING, "noEnum", "noEnum"},
        EuTypeRow{VALUE_TYPE::DOUBLE, "analog", "noEnum"}, EuTypeRow{VALUE_TYPE::FLOAT, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::DECIMAL, "analog", "noEnum"}, EuTypeRow{VALUE_TYPE::LONG, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::INT, "analog", "noEnum"}, EuTypeRow{VALUE_TYPE::SHORT, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::BYTE, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::UNSIGNED_LONG, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::UNSIGNED_INT, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::UNSIGNED_SHORT, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::UNSIGNED_BYTE, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::DATE_TIME, "noEnum", "noEnum"},
        EuTypeRow{VALUE_TYPE::DURATION, "analog", "noEnum"}, EuTypeRow{VALUE_TYPE::PATH, "noEnum", "noEnum"},
        EuTypeRow{VALUE_TYPE::ABSOLUTE_PATH, "analog", "noEnum"},
        EuTypeRow{VALUE_TYPE::ATTACHMENT, "noEnum", "noEnum"},
        EuTypeRow{VALUE_TYPE::SYMBOL, "enumerated", "enumerated"},
        EuTypeRow{VALUE_TYPE{0}, "analog", "noEnum"}, EuTypeRow{VALUE_TYPE{20}, "analog", "noEnum"}),
    [](const auto& test) { return "Type" + std::to_string(static_cast<std::uint32_t>(test.param.type)); });

}  // namespace
}  // namespace kx::information_model::opc
