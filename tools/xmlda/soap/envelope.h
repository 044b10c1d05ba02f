#pragma once

#include "xmlda/soap/XmlElement.h"

#include <string>

namespace xmlda {

/// The document that carries a request.
/// @param request  an element without prefix: the default namespace is that of OPC XML-DA. The prefixes
///                 "xsd" and "xsi" stand for XML Schema and its instance namespace
std::string wrap(const std::string& request);

/// Finds the response in an envelope.
/// @param name  of the response element, for example "ReadResponse"
/// @throws Fault    if the envelope holds a fault instead
/// @throws Failure  UNEXPECTED_CONTENT: this is no envelope, or it holds something else
const XmlElement& unwrap(const XmlElement& envelope, const std::string& name);

/// Whether this is an envelope that holds a fault.
bool holds_fault(const XmlElement& envelope);

}  // namespace xmlda
