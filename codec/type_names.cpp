#include "codec/type_names.h"

#include "codec/value_types.h"

#include <string_view>

namespace kx::information_model::opc {

namespace {

TypeNames get_names(VALUE_TYPE type) {
    return dispatch_type(type, [](auto /*type*/, const TypeNames& names) { return names; });
}

}  // namespace

std::string get_xsi_type_name(const ValueTypeInfo& type_info) {
    return std::string(get_names(type_info.get_type()).of(type_info));
}

std::string get_type_name(const ValueTypeInfo& type_info) {
    std::string_view name = get_names(type_info.get_type()).scalar;
    name.remove_prefix(name.find(':') + 1);
    return std::string(type_info.is_array() && name == "unsignedByte" ? "byte" : name);
}

}  // namespace kx::information_model::opc
