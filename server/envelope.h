#pragma once

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

namespace kx::information_model::opc {

/// Gives an empty reply document its SOAP 1.1 envelope, with the namespace declarations of every reply,
/// and an empty body.
/// @return the "soap:Body" element, to append to
Poco::AutoPtr<Poco::XML::Element> append_envelope(Poco::XML::Document& document);

}  // namespace kx::information_model::opc
