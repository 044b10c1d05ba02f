#pragma once

#include "client/Value.h"
#include "client/xml/XmlWriter.h"

#include <string>

namespace gateway {

/// The server's value as clients of the published schema get it: booleans as "true" and "false", "INF",
/// "-INF" and "NaN" as XML Schema has them. What is not of the type that it names, or of one that the schema
/// does not have, is a string; an array of such is one of anything.
xmlda::Value to_published_value(xmlda::Value value);

/// How a type is named in a reply, whose prefixes `start_envelope` declares: "xsd:double",
/// "da:ArrayOfDouble". Arrays that the published schema does not have are arrays of anything, other types
/// that it does not have strings.
std::string to_published_type(const std::string& type);

/// A quality that the schema has: of another one only whether it is good, uncertain or bad.
std::string to_published_quality(const std::string& text);

/// Writes the element "Value", or nothing where there is no value: the element may not be nil.
void write_published_value(xmlda::XmlWriter& writer, const xmlda::Value& value);

}  // namespace gateway
