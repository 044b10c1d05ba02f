#pragma once

#include "xml/XmlName.h"

#include <Poco/DOM/Node.h>

#include <optional>
#include <string>
#include <string_view>

/// Look-ups in a document of `parse_request`, by namespace URI and local name. They find what a path look-up
/// would find, without building and parsing a path text each time.
namespace kx::information_model::opc {

/// Whether `element` is of this name.
/// @param element  a node below a document of `parse_request`: they are all elements
bool has_name(const Poco::XML::Node& element, const XmlName& name);

/// The first child element of that name.
/// @return borrowed, null if there is none
const Poco::XML::Node* find_child(const Poco::XML::Node& parent, const XmlName& name);

/// Calls `action(const Poco::XML::Node&)` for each child element of that name, in document order. Others
/// are skipped.
template <class Action>
void for_each_child(const Poco::XML::Node& parent, const XmlName& name, Action action) {
    for (const Poco::XML::Node* child = parent.firstChild(); child != nullptr; child = child->nextSibling()) {
        if (has_name(*child, name)) {
            action(*child);
        }
    }
}

/// The text of the attribute that has exactly the name's namespace, or none for a name without prefix; for a
/// prefixed name failing that, of the attribute without prefix: clients write it that way, as the schema has
/// it.
/// @param element  anything else has no attributes
/// @return valid as long as the document; nothing if there is no such attribute
std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& element, const XmlName& name);

/// The text of the attribute that has exactly this namespace, none if `uri` is empty.
std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& element, std::string_view uri,
                                                    std::string_view local_name);

/// The attribute itself that `find_attribute_text` finds. Makes nodes of the element's attributes, which
/// costs more than their texts: for callers that need a node.
/// @return borrowed, null if there is none
const Poco::XML::Node* find_attribute(const Poco::XML::Node& element, const XmlName& name);

}  // namespace kx::information_model::opc
