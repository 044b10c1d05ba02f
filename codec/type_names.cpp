#include "codec/type_names.h"

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace kx::information_model::opc {

namespace {

struct TypeNames {
    std::string_view scalar;  // "xsi:type" of a scalar; the member name is what follows the colon
    std::string_view array;   // "xsi:type" of an array
};

// Indexed by VALUE_TYPE.
constexpr std::array<TypeNames, 20> NAMES{{
    {},                                             // none
    {"xsd:boolean", "ArrayOfBoolean"},              // BOOLEAN
    {"xsd:string", "ArrayOfString"},                // STRING
    {"xsd:double", "ArrayOfDouble"},                // DOUBLE
    {"xsd:float", "ArrayOfFloat"},                  // FLOAT
    {},                                             // DECIMAL
    {"xsd:long", "ArrayOfLong"},                    // LONG
    {"xsd:int", "ArrayOfInt"},                      // INT
    {"xsd:short", "ArrayOfShort"},                  // SHORT
    {"xsd:byte", "ArrayOfByte"},                    // BYTE
    {"xsd:unsignedLong", "ArrayOfUnsignedLong"},    // UNSIGNED_LONG
    {"xsd:unsignedInt", "ArrayOfUnsignedInt"},      // UNSIGNED_INT
    {"xsd:unsignedShort", "ArrayOfUnsignedShort"},  // UNSIGNED_SHORT
    {"xsd:unsignedByte", "ArrayOfByte"},            // UNSIGNED_BYTE: arrays look like signed ones
    {"xsd:dateTime", "ArrayOfDateTime"},            // DATE_TIME
    {"xsd:duration", "ArrayOfDuration"},            // DURATION
    {"xsd:string", "ArrayOfString"},                // PATH
    {"xsd:string", "ArrayOfString"},                // ABSOLUTE_PATH
    {},                                             // ATTACHMENT
    {"xsd:int", "ArrayOfInt"},                      // SYMBOL
}};

const TypeNames& get_names(VALUE_TYPE type) {
    if (type == VALUE_TYPE::DECIMAL) {
        throw std::invalid_argument("Decimal type not implemented.");
    }
    if (type == VALUE_TYPE::ATTACHMENT) {
        throw std::invalid_argument("Attachment type not implemented.");
    }
    const auto index = static_cast<std::size_t>(type);
    if (index == 0 || index >= NAMES.size()) {
        throw std::invalid_argument("Unknown value type.");
    }
    return NAMES[index];
}

}  // namespace

std::string get_xsi_type_name(const ValueTypeInfo& type_info) {
    const TypeNames& names = get_names(type_info.get_type());
    return std::string(type_info.is_array() ? names.array : names.scalar);
}

std::string get_type_name(const ValueTypeInfo& type_info) {
    std::string_view name = get_names(type_info.get_type()).scalar;
    name.remove_prefix(name.find(':') + 1);
    return std::string(type_info.is_array() && name == "unsignedByte" ? "byte" : name);
}

}  // namespace kx::information_model::opc
