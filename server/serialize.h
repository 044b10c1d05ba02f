#pragma once

#include "server/MarkupRope.h"

#include <Poco/DOM/Document.h>

#include <string>

namespace kx::information_model::opc {

/// Writes a reply: the XML declaration, directly followed by the document as a default
/// `Poco::XML::DOMWriter` writes it, in UTF-8 and without line breaks of its own.
/// @throws Poco::NullPointerException  if `document` is null
std::string serialize(const Poco::XML::Document* document);

/// The same, without copying the lists of the document.
MarkupRope write_reply(const Poco::XML::Document* document);

}  // namespace kx::information_model::opc
