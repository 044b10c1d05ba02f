#pragma once

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <string>
#include <string_view>

/// The only ways in which replies are made, so that what holds for all of them is said once: they are made
/// of `ReplyElement`s, and hold no text that XML cannot carry.
namespace kx::information_model::opc {

/// Makes an empty document for a reply.
///
/// All replies made by a thread share its names, which saves every reply the set-up of a name pool. They are
/// names of this library's, never a client's, so there are not many.
Poco::AutoPtr<Poco::XML::Document> create_reply_document();

/// Makes an element without a namespace of its own, not yet attached.
/// @param document  made by `create_reply_document`
/// @param name      qualified name, one of `reply_names` or a type name
Poco::AutoPtr<Poco::XML::Element> create_element(const Poco::XML::Document& document,
                                                 const std::string& name);

/// Makes an element in the parent's document and appends it.
/// @param parent  made by one of these functions, as in all below
/// @throws std::logic_error  if the parent is an open list: see `ListBuilder`
Poco::AutoPtr<Poco::XML::Element> append_element(Poco::XML::Element& parent, const std::string& name);

/// Appends an element that has nothing but text. Cheaper than `append_element`, since it cannot be changed.
/// @throws std::logic_error  if the parent has text, or children that were appended otherwise
void append_text_element(Poco::XML::Element& parent, std::string_view name, std::string_view text);

/// Sets an attribute. Characters that XML cannot carry become U+FFFD.
void set_attribute(Poco::XML::Element& element, std::string_view name, std::string_view value);

/// Appends text to an element without children. Characters that XML cannot carry become U+FFFD.
void append_text(Poco::XML::Element& element, std::string_view text);

}  // namespace kx::information_model::opc
