#pragma once

#include <string>

namespace xmlda {

/// @name Names of types
/// A scalar's is that of XML Schema without prefix ("double"), an array's that of OPC XML-DA
/// ("ArrayOfDouble").
/// @{

bool is_array_type(const std::string& type);

/// "double" for "ArrayOfDouble", "anyType" for "ArrayOfAnyType".
/// Requires: `is_array_type(type)`.
std::string get_member_type(const std::string& type);

/// The name of a type that a person or a server wrote: "xsd:double" is "double", "double[]" is
/// "ArrayOfDouble".
std::string to_type_name(const std::string& text);

/// How a type is written in a request: "xsd:double", "ArrayOfDouble".
std::string to_request_type(const std::string& type);

/// Whether values of this type can be made from a person's text; for an array, whether its members can.
bool is_writable_type(const std::string& type);

/// Whether the texts of such a scalar are numbers.
bool is_number_type(const std::string& type);
/// @}

}  // namespace xmlda
