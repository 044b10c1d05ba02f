#pragma once

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

namespace kx::information_model::opc {

/// Gives an empty reply document its SOAP 1.1 envelope, with the namespace declarations of every reply.
/// @param content  what is in the body; complete, not null
void create_envelope(Poco::XML::Document& document, Poco::AutoPtr<Poco::XML::Element> content);

}  // namespace kx::information_model::opc
