#pragma once

#include "xmlda/soap/XmlElement.h"

#include <memory>
#include <string_view>

namespace xmlda {

/// Parses a document that somebody else wrote. Refused as they begin, whatever follows: document type
/// declarations, which SOAP forbids, and elements nested deeper than 100.
/// @param document  of at most the largest int of bytes, in an encoding that it declares itself
/// @throws Failure  UNEXPECTED_CONTENT: not well-formed, or refused; with the line and what is wrong there
std::unique_ptr<XmlElement> parse_xml(std::string_view document);

}  // namespace xmlda
