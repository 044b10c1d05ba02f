#pragma once

#include "client/xml/XmlDocument.h"

#include <string>
#include <string_view>

namespace xmlda {

/// The document that carries a request.
/// @param request  an element without prefix: the default namespace is that of OPC XML-DA. The prefixes
///                 "xsd" and "xsi" stand for XML Schema and its instance namespace
std::string wrap(const std::string& request);

/// Parses a reply, as it came over HTTP.
/// @throws UnexpectedMessage  it is not XML
XmlDocument parse_envelope(std::string_view bytes);

/// Finds the response in an envelope, of SOAP 1.1 or 1.2.
/// @param name  of the response element, for example "ReadResponse"
/// @throws Fault              if the envelope holds a fault instead
/// @throws UnexpectedMessage  this is no envelope, or it holds something else
XmlElement unwrap(const XmlDocument& envelope, const std::string& name);

}  // namespace xmlda
