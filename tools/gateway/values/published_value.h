#pragma once

#include "client/Value.h"
#include "client/xml/XmlWriter.h"

#include <string>

namespace gateway {

/// The server's value as clients of the published schema get it: booleans as "true" and "false", "INF",
/// "-INF" and "NaN" as XML Schema has them.
xmlda::Value to_published_value(xmlda::Value value);

/// How a type is named in a reply, whose prefixes `start_envelope` declares: "xsd:double",
/// "da:ArrayOfDouble". Arrays that the published schema does not have are arrays of anything.
std::string to_published_type(const std::string& type);

/// Writes the element "Value".
void write_published_value(xmlda::XmlWriter& writer, const xmlda::Value& value);

}  // namespace gateway
