#include "services/property_catalogue.h"

#include "codec/type_names.h"
#include "codec/value_content.h"

#include <information_model/exceptions.h>

#include <array>

namespace kx::information_model::opc {

namespace {

template <class ItemKind>
bool always(const ItemKind& /*item*/) {
    return true;
}

template <class ItemKind>
PropertyValue get_description(const ItemKind& item) {
    return Value(item.get_description());
}

bool has_identity(const Domain& domain) {
    return domain.has_identity();
}

PropertyValue get_identity(const Domain& domain) {
    return Value(domain.get_identity().as_string());
}

PropertyValue get_pattern_type(const Domain& domain) {
    return Value(domain.get_pattern_type().get_name());
}

PropertyValue get_access_rights(const Variable& variable) {
    return Value(variable.get_writable().value_or(false) ? "readWritable" : "readable");
}

PropertyValue get_data_type(const Variable& variable) {
    return Value(get_xsi_type_name(variable.get_value_type_info()));
}

PropertyValue get_engineering_unit(const Variable& variable) {
    return Value(variable.get_engineering_unit());
}

PropertyValue get_eu_type(const Variable& variable) {
    const ValueTypeInfo& type_info = variable.get_value_type_info();
    switch (type_info.get_type()) {
        case VALUE_TYPE::SYMBOL:
            return Value("enumerated");
        case VALUE_TYPE::STRING:
        case VALUE_TYPE::DATE_TIME:
        case VALUE_TYPE::PATH:
        case VALUE_TYPE::ATTACHMENT:
            return Value("noEnum");
        default:
            return Value(type_info.is_array() ? "noEnum" : "analog");
    }
}

/// The symbol whose list describes an enumerated variable: of an array the first one.
/// @return null if the variable is not enumerated, or is an array without members
const SymbolInfo* find_symbol(const Variable& variable) {
    const ValueTypeInfo& type_info = variable.get_value_type_info();
    if (type_info.get_type() != VALUE_TYPE::SYMBOL) {
        return nullptr;
    }
    if (!type_info.is_array()) {
        return &get_content<SymbolInfo>(variable.get_value());
    }
    const auto& members = get_content<std::vector<SymbolInfo>>(variable.get_value());
    return members.empty() ? nullptr : &members.front();
}

bool has_symbols(const Variable& variable) {
    return find_symbol(variable) != nullptr;
}

PropertyValue get_symbol_names(const Variable& variable) {
    std::vector<std::string> names;
    for (const symbol_list::Symbol& symbol : find_symbol(variable)->get_symbols()) {
        names.push_back(symbol.name);
    }
    return Value(std::move(names));
}

PropertyValue get_quality_name(const Variable& variable) {
    const SymbolInfo quality = variable.get_quality();
    return Value(symbol_list::get_symbol(quality.get_symbols(), quality.get_value()).name);
}

bool has_lower_bound(const Variable& variable) {
    return variable.get_range().lower.has_value();
}

PropertyValue get_lower_bound(const Variable& variable) {
    return &*variable.get_range().lower;
}

bool has_upper_bound(const Variable& variable) {
    return variable.get_range().upper.has_value();
}

PropertyValue get_upper_bound(const Variable& variable) {
    return &*variable.get_range().upper;
}

PropertyValue get_timestamp(const Variable& variable) {
    return Value(variable.get_timestamp());
}

PropertyValue get_current_value(const Variable& variable) {
    return &variable.get_value();
}

bool has_delta(const Variable& variable) {
    return variable.get_delta().has_value();
}

PropertyValue get_delta(const Variable& variable) {
    return &*variable.get_delta();
}

bool has_fractional_digits(const Variable& variable) {
    return variable.get_fractional_digits().has_value();
}

PropertyValue get_fractional_digits(const Variable& variable) {
    return Value(*variable.get_fractional_digits());
}

bool has_history_kind(const Variable& variable) {
    return variable.get_history_kind().has_value();
}

PropertyValue get_history_kind(const Variable& variable) {
    return Value(*variable.get_history_kind());
}

// clang-format off
const std::array DOMAIN_PROPERTIES{
    //               name                        present                 value
    Property<Domain>{"description",              always,                 get_description},
    Property<Domain>{"telvix:patternType",       always,                 get_pattern_type},
    Property<Domain>{"telvix:identity",          has_identity,           get_identity},
};

// The range that engineers set and the one that instruments measure are the same here, so the "IR" rows
// repeat the "EU" rows. Kept: clients rely on it.
const std::array VARIABLE_PROPERTIES{
    //                 name                        present                 value                   xsi:type
    Property<Variable>{"accessRights",             always,                 get_access_rights},
    Property<Variable>{"dataType",                 always,                 get_data_type,          "xsd:QName"},
    Property<Variable>{"engineeringUnits",         always,                 get_engineering_unit},
    Property<Variable>{"euType",                   always,                 get_eu_type},
    Property<Variable>{"euInfo",                   has_symbols,            get_symbol_names},
    Property<Variable>{"quality",                  always,                 get_quality_name,       "OPCQuality"},
    Property<Variable>{"lowEU",                    has_lower_bound,        get_lower_bound},
    Property<Variable>{"lowIR",                    has_lower_bound,        get_lower_bound},
    Property<Variable>{"highEU",                   has_upper_bound,        get_upper_bound},
    Property<Variable>{"highIR",                   has_upper_bound,        get_upper_bound},
    Property<Variable>{"timestamp",                always,                 get_timestamp},
    Property<Variable>{"value",                    always,                 get_current_value},
    Property<Variable>{"description",              always,                 get_description},
    Property<Variable>{"telvix:delta",             has_delta,              get_delta},
    Property<Variable>{"telvix:fractionalDigits",  has_fractional_digits,  get_fractional_digits},
    Property<Variable>{"telvix:historyKind",       has_history_kind,       get_history_kind},
};
// clang-format on

}  // namespace

std::span<const Property<Domain>> get_domain_properties() {
    return DOMAIN_PROPERTIES;
}

std::span<const Property<Variable>> get_variable_properties() {
    return VARIABLE_PROPERTIES;
}

}  // namespace kx::information_model::opc
