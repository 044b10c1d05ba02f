#pragma once

#include <information_model/Value.h>

#include <Poco/DOM/Node.h>

#include <string_view>

namespace kx::information_model::opc {

/// Reads a value from the element that carries it in a request. The type is the caller's choice; "xsi:type"
/// is ignored.
///
/// A scalar is the text of all that is in the element. The members of an array are the direct children in the
/// OPC XML-DA namespace that `get_type_name` names ("double"), each read as a scalar; all other children are
/// skipped. The time that it takes is linear in the size of the element, if it is one of a request's.
///
/// Texts become scalars as follows:
/// - numbers and bool: `extract_number`, which never fails: what is not a number is 0, words are false;
/// - signed char: `from_xml_string<signed char>`, 16 bits of which the low 8 count;
/// - std::string: the text as it is, white space included;
/// - TimePoint, Duration: `xsd:dateTime`, `xsd:duration`; white space at both ends is skipped.
///
/// T is bool, std::string, double, float, long, int, short, signed char, unsigned long, unsigned int,
/// unsigned short, TimePoint or Duration.
/// @param node      not null; not changed
/// @param is_array  whether to read a vector of T, of n >= 0 members, instead of a T
/// @throws std::invalid_argument  if T is TimePoint or Duration and a text is malformed or out of range
template <class T>
Value convert(const Poco::XML::Node* node, bool is_array);

/// Reads the value that an element carries; a `convert` for one type. Throws what that throws.
using ValueReader = Value (*)(const Poco::XML::Node* node);

/// The reader for a value that the client announces with this "xsi:type", which is compared exactly, prefix
/// included: "xsd:double", "ArrayOfDouble". "ArrayOfByte" gives signed bytes; there is no
/// "ArrayOfUnsignedByte", and no reader for paths and symbols, which travel as strings and ints.
/// @return null if values of that type are not accepted
ValueReader find_value_reader(std::string_view xsi_type) noexcept;

}  // namespace kx::information_model::opc
