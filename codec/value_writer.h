#pragma once

#include "xml/reply/ChildWriter.h"

#include <information_model/Value.h>

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <string_view>

namespace kx::information_model::opc {

/// Appends the content of `value` to `element`: the text of a scalar, or an element with a text for each
/// member of an array, named by `get_type_name`. Texts are those of `to_xml_string`, except that members of
/// an array of unsigned bytes are written as signed numbers: such an array is announced as "ArrayOfByte".
///
/// T is the scalar type that the value's descriptor names: bool, std::string, double, float, long, int,
/// short, signed char, unsigned long, unsigned int, unsigned short, unsigned char, TimePoint, Duration, Path,
/// AbsolutePath or SymbolInfo.
/// @throws BadValueTypeException       if the value holds neither a T nor, for an array, a vector of T
/// @throws Poco::NullPointerException  if `document` or `element` is null
template <class T>
void convert(Poco::AutoPtr<Poco::XML::Document> document, Poco::AutoPtr<Poco::XML::Element> element,
             const Value& value);

/// Creates the element "Value" that carries `value` in a reply: filled with `convert` for the value's type,
/// which "xsi:type" names.
/// @return the new element, not yet attached
/// @throws BadValueTypeException  as `convert`
/// @throws std::invalid_argument  if the type is DECIMAL, ATTACHMENT or unknown
Poco::AutoPtr<Poco::XML::Element> create_value_element(Poco::AutoPtr<Poco::XML::Document> document,
                                                       const Value& value);

/// Writes the same element straight into its parent. Nothing is written if the value has no form.
/// @param xsi_type  instead of the name of the value's type, unless empty
/// @throws BadValueTypeException, std::invalid_argument  as `create_value_element`
void write_value_element(ChildWriter& writer, const Value& value, std::string_view xsi_type = {});

}  // namespace kx::information_model::opc
