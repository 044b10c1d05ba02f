#include "server/request_dom.h"

#include "server/arena_dom.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NamedNodeMap.h>

#include <string_view>
#include <typeinfo>

namespace kx::information_model::opc {

namespace {

// The others are its siblings. Only elements that are not the request parser's need a map to get there.
const Poco::XML::Node* get_first_attribute(const Poco::XML::Element& element) {
    if (typeid(element) == typeid(ArenaElement)) {
        return static_cast<const ArenaElement&>(element).get_first_attribute();
    }
    const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = element.attributes();
    return attributes->item(0);
}

const Poco::XML::Node* find_attribute(const Poco::XML::Node& node, std::string_view uri,
                                      std::string_view local_name) {
    const auto& element = static_cast<const Poco::XML::Element&>(node);
    const Poco::XML::Node* attribute = get_first_attribute(element);
    while (attribute != nullptr &&
           (attribute->localName() != local_name || attribute->namespaceURI() != uri)) {
        attribute = attribute->nextSibling();
    }
    return attribute;
}

}  // namespace

ElementName::ElementName(const std::string& qualified_name, const Poco::XML::NamespaceSupport& namespaces) {
    const auto colon = qualified_name.find(':');
    uri_ = namespaces.getURI(qualified_name.substr(0, colon));
    local_name_ = qualified_name.substr(colon + 1);
}

bool ElementName::matches(const Poco::XML::Node& node) const {
    return node.nodeType() == Poco::XML::Node::ELEMENT_NODE && node.localName() == local_name_ &&
           node.namespaceURI() == uri_;
}

const Poco::XML::Node* find_child(const Poco::XML::Node& parent, const std::string& qualified_name,
                                  const Poco::XML::NamespaceSupport& namespaces) {
    const ElementName name(qualified_name, namespaces);
    const Poco::XML::Node* child = parent.firstChild();
    while (child != nullptr && !name.matches(*child)) {
        child = child->nextSibling();
    }
    return child;
}

const Poco::XML::Node* find_attribute(const Poco::XML::Node& node, const std::string& qualified_name,
                                      const Poco::XML::NamespaceSupport& namespaces) {
    if (node.nodeType() != Poco::XML::Node::ELEMENT_NODE || !node.hasAttributes()) {
        return nullptr;
    }
    const auto colon = qualified_name.find(':');
    if (colon == std::string::npos) {
        return find_attribute(node, {}, qualified_name);
    }
    const std::string& uri = namespaces.getURI(qualified_name.substr(0, colon));
    if (uri.empty()) {
        return nullptr;
    }
    const std::string_view local_name = std::string_view(qualified_name).substr(colon + 1);
    const Poco::XML::Node* attribute = find_attribute(node, uri, local_name);
    return attribute != nullptr ? attribute : find_attribute(node, {}, local_name);
}

}  // namespace kx::information_model::opc
