#pragma once

#include "server/ListElement.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <string>

/// The only ways in which replies are made, so that what holds for all of them is said once: no mutation
/// events, no text that XML cannot carry, long lists in linear time.
namespace kx::information_model::opc {

/// Makes an empty document for a reply. Nobody listens to its mutation events, so it raises none.
Poco::AutoPtr<Poco::XML::Document> create_reply_document();

/// Makes an element without a namespace of its own, not yet attached.
/// @param name  qualified name, one of `reply_names` or a type name
Poco::AutoPtr<Poco::XML::Element> create_element(const Poco::XML::Document& document, const std::string& name);

/// As `create_element`, for an element that gets children without limit.
Poco::AutoPtr<Poco::XML::Element> create_list_element(Poco::XML::Document& document, const std::string& name);

/// Makes an element in the parent's document and appends it.
Poco::AutoPtr<Poco::XML::Element> append_element(Poco::XML::Element& parent, const std::string& name);

/// Sets an attribute. Characters that XML cannot carry become U+FFFD.
void set_attribute(Poco::XML::Element& element, const std::string& name, const std::string& value);

/// Appends a text node, also for an empty text. Characters that XML cannot carry become U+FFFD.
void append_text(Poco::XML::Element& element, const std::string& text);

}  // namespace kx::information_model::opc
