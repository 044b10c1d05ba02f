#pragma once

#include <information_model/ValueTypeInfo.h>

#include <string>

namespace kx::information_model::opc {

/// The "xsi:type" of a value: "xsd:double" for a scalar, "ArrayOfDouble" for an array.
///
/// Paths travel as strings and symbols as their number, so neither can be told from a plain string or int;
/// an array of unsigned bytes has the same name as one of signed bytes, "ArrayOfByte".
/// @throws std::invalid_argument  "Decimal type not implemented.", "Attachment type not implemented." or, for
///                                a number outside 1 to 19, "Unknown value type."
std::string get_xsi_type_name(const ValueTypeInfo& type_info);

/// The bare type name, which is also the name of an array's member elements: "double"; "byte" for an array
/// of unsigned bytes.
/// @throws std::invalid_argument  as `get_xsi_type_name`
std::string get_type_name(const ValueTypeInfo& type_info);

}  // namespace kx::information_model::opc
