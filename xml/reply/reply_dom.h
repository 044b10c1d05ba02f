#pragma once

#include "base/Rope.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <string>
#include <string_view>

/// The only ways in which replies are made, so that what holds for all of them is said once: they are made
/// of `ReplyElement`s, which are complete when they are appended, and hold no text that XML cannot carry.
/// Each function throws `std::bad_cast` for a document or element that is not made by one of these.
namespace kx::information_model::opc {

/// Makes an empty document for a reply. `appendChild` gives it its root element, which completes it.
///
/// All replies made by a thread share its names, which saves every reply the set-up of a name pool. They are
/// names of this library's, never a client's, so there are not many.
Poco::AutoPtr<Poco::XML::Document> create_reply_document();

/// Makes an element without a namespace of its own, not yet attached.
/// @param document  made by `create_reply_document`
/// @param name      qualified name, one of `reply_names` or a type name
Poco::AutoPtr<Poco::XML::Element> create_element(const Poco::XML::Document& document,
                                                 const std::string& name);

/// Appends an element that has nothing but text, without making an object of it.
/// @throws std::logic_error  if the parent has text or is appended itself
void append_text_element(Poco::XML::Element& parent, std::string_view name, std::string_view text);

/// Sets an attribute. Characters that XML cannot carry become U+FFFD.
/// @throws std::logic_error  if the element is appended
void set_attribute(Poco::XML::Element& element, std::string_view name, std::string_view value);

/// Appends text to an element without children. Characters that XML cannot carry become U+FFFD.
/// @throws std::logic_error  if the element has children or is appended
void append_text(Poco::XML::Element& element, std::string_view text);

/// The text of a complete reply: the XML declaration, directly followed by the root element as a default
/// `Poco::XML::DOMWriter` writes it, in UTF-8 and without line breaks of its own. Lives as long as the
/// document.
/// @throws Poco::NullPointerException  if `document` is null
/// @throws std::logic_error            if it has no root element
const Rope& get_reply_text(const Poco::XML::Document* document);

}  // namespace kx::information_model::opc
