#include "xmlda/soap/XmlElement.h"

#include "xmlda/soap/namespaces.h"

#include <utility>

namespace xmlda {

const XmlElement* XmlElement::find_child(std::string_view name) const {
    for (const auto& child : children_) {
        if (child->get_name() == name) {
            return child.get();
        }
    }
    return nullptr;
}

std::vector<const XmlElement*> XmlElement::find_children(std::string_view name) const {
    std::vector<const XmlElement*> found;
    for (const auto& child : children_) {
        if (child->get_name() == name) {
            found.push_back(child.get());
        }
    }
    return found;
}

std::optional<std::string> XmlElement::find_attribute(std::string_view name) const {
    for (const char* const namespace_uri : {"", namespaces::XMLDA}) {
        if (const std::string* const value = find_attribute(name, namespace_uri)) {
            return *value;
        }
    }
    return std::nullopt;
}

std::optional<std::string> XmlElement::find_instance_attribute(std::string_view name) const {
    const std::string* const value = find_attribute(name, namespaces::XSI);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

QualifiedName XmlElement::resolve(std::string_view text) const {
    const std::size_t colon = text.find(':');
    const std::string prefix(colon == std::string_view::npos ? "" : text.substr(0, colon));
    const std::string name(colon == std::string_view::npos ? text : text.substr(colon + 1));
    for (const XmlElement* element = this; element != nullptr; element = element->parent_) {
        const auto found = element->prefixes_.find(prefix);
        if (found != element->prefixes_.end()) {
            return {found->second, name};
        }
    }
    return {"", name};
}

XmlElement& XmlElement::add_child(QualifiedName name) {
    return *children_.emplace_back(std::make_unique<XmlElement>(std::move(name), this));
}

void XmlElement::add_attribute(QualifiedName name, std::string value) {
    attributes_.push_back({std::move(name), std::move(value)});
}

void XmlElement::declare_prefix(const std::string& prefix, std::string namespace_uri) {
    prefixes_[prefix] = std::move(namespace_uri);
}

const std::string* XmlElement::find_attribute(std::string_view name, std::string_view namespace_uri) const {
    for (const XmlAttribute& attribute : attributes_) {
        if (attribute.name.name == name && attribute.name.namespace_uri == namespace_uri) {
            return &attribute.value;
        }
    }
    return nullptr;
}

}  // namespace xmlda
