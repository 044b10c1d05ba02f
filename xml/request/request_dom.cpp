#include "xml/request/request_dom.h"

#include "xml/request/RequestElement.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/NamedNodeMap.h>

#include <typeinfo>

namespace kx::information_model::opc {

namespace {

// Null for a document. Where all nodes are of one class, comparing its identity is enough.
const RequestElement* as_request_element(const Poco::XML::Node& node) {
    return typeid(node) == typeid(RequestElement) ? static_cast<const RequestElement*>(&node) : nullptr;
}

// What `find(uri, local_name)` finds for the first of the names that are meant.
template <class Find>
auto find_meant(const XmlName& name, Find find) -> decltype(find(name.uri)) {
    if (name.has_prefix() && name.uri.empty()) {
        return {};
    }
    const auto attribute = find(name.uri);
    return attribute || name.uri.empty() ? attribute : find({});
}

}  // namespace

bool has_name(const Poco::XML::Node& element, const XmlName& name) {
    const RequestElement* const request_element = as_request_element(element);
    return request_element != nullptr && request_element->get_name().local_name == name.local_name &&
           request_element->get_name().uri == name.uri;
}

const Poco::XML::Node* find_child(const Poco::XML::Node& parent, const XmlName& name) {
    const Poco::XML::Node* child = parent.firstChild();
    while (child != nullptr && !has_name(*child, name)) {
        child = child->nextSibling();
    }
    return child;
}

std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& element, const XmlName& name) {
    return find_meant(
        name, [&](std::string_view uri) { return find_attribute_text(element, uri, name.local_name); });
}

std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& element, std::string_view uri,
                                                    std::string_view local_name) {
    const RequestElement* const request_element = as_request_element(element);
    return request_element == nullptr ? std::nullopt : request_element->find_attribute_text(uri, local_name);
}

const Poco::XML::Node* find_attribute(const Poco::XML::Node& element, const XmlName& name) {
    const RequestElement* const request_element = as_request_element(element);
    if (request_element == nullptr || !request_element->hasAttributes()) {
        return nullptr;
    }
    const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = request_element->attributes();
    return find_meant(name, [&](std::string_view uri) -> const Poco::XML::Node* {
        return attributes->getNamedItemNS(std::string(uri), name.local_name);
    });
}

}  // namespace kx::information_model::opc
