#include "server/request_dom.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/Element.h>

namespace kx::information_model::opc {

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
    if (node.nodeType() != Poco::XML::Node::ELEMENT_NODE) {
        return nullptr;
    }
    const auto& element = static_cast<const Poco::XML::Element&>(node);
    const auto colon = qualified_name.find(':');
    if (colon == std::string::npos) {
        return element.getAttributeNodeNS(std::string(), qualified_name);
    }
    const std::string& uri = namespaces.getURI(qualified_name.substr(0, colon));
    if (uri.empty()) {
        return nullptr;
    }
    const std::string local_name = qualified_name.substr(colon + 1);
    if (const Poco::XML::Attr* attribute = element.getAttributeNodeNS(uri, local_name)) {
        return attribute;
    }
    return element.getAttributeNode(local_name);
}

}  // namespace kx::information_model::opc
