#include "server/request_dom.h"

#include "server/RequestElement.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/NamedNodeMap.h>

#include <string_view>
#include <typeinfo>

namespace kx::information_model::opc {

namespace {

const RequestElement* as_request_element(const Poco::XML::Node& node) {
    return typeid(node) == typeid(RequestElement) ? static_cast<const RequestElement*>(&node) : nullptr;
}

// Null if there is none.
const Poco::XML::Node* find_attribute_node(const Poco::XML::Node& node, std::string_view uri,
                                           std::string_view local_name) {
    if (node.nodeType() != Poco::XML::Node::ELEMENT_NODE || !node.hasAttributes()) {
        return nullptr;
    }
    const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = node.attributes();
    const Poco::XML::Node* attribute = attributes->item(0);
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

AttributeName::AttributeName(const std::string& qualified_name, const Poco::XML::NamespaceSupport& namespaces)
    : local_name_(qualified_name), has_prefix_(false) {
    const auto colon = qualified_name.find(':');
    if (colon != std::string::npos) {
        uri_ = namespaces.getURI(qualified_name.substr(0, colon));
        local_name_.remove_prefix(colon + 1);
        has_prefix_ = true;
    }
}

bool ElementName::matches(const Poco::XML::Node& node) const {
    return node.nodeType() == Poco::XML::Node::ELEMENT_NODE && node.localName() == local_name_ &&
           node.namespaceURI() == uri_;
}

const Poco::XML::Node* find_child(const Poco::XML::Node& parent, const std::string& qualified_name,
                                  const Poco::XML::NamespaceSupport& namespaces) {
    return find_child(parent, ElementName(qualified_name, namespaces));
}

const Poco::XML::Node* find_child(const Poco::XML::Node& parent, const ElementName& name) {
    const Poco::XML::Node* child = parent.firstChild();
    while (child != nullptr && !name.matches(*child)) {
        child = child->nextSibling();
    }
    return child;
}

const Poco::XML::Node* find_attribute(const Poco::XML::Node& node, const std::string& qualified_name,
                                      const Poco::XML::NamespaceSupport& namespaces) {
    return AttributeName(qualified_name, namespaces)
        .find([&](std::string_view uri, std::string_view local_name) {
            return find_attribute_node(node, uri, local_name);
        });
}

std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& node,
                                                    const std::string& qualified_name,
                                                    const Poco::XML::NamespaceSupport& namespaces) {
    return find_attribute_text(node, AttributeName(qualified_name, namespaces));
}

std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& node, const AttributeName& name) {
    return name.find([&](std::string_view uri, std::string_view local_name) {
        return find_attribute_text(node, uri, local_name);
    });
}

std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& node, std::string_view uri,
                                                    std::string_view local_name) {
    if (const RequestElement* element = as_request_element(node)) {
        return element->find_attribute_text(uri, local_name);
    }
    if (const Poco::XML::Node* attribute = find_attribute_node(node, uri, local_name)) {
        return attribute->getNodeValue();
    }
    return std::nullopt;
}

std::size_t get_child_count(const Poco::XML::Node& parent) {
    const RequestElement* element = as_request_element(parent);
    return element == nullptr ? 0 : element->get_child_count();
}

}  // namespace kx::information_model::opc
