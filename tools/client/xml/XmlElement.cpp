#include "client/xml/XmlElement.h"

#include "client/namespaces.h"

namespace xmlda {

std::string XmlElement::get_text() const {
    std::string joined;
    for (const XmlText* part = node_->texts; part != nullptr; part = part->next) {
        joined += part->text;
    }
    return joined;
}

XmlElements XmlElement::get_children() const {
    return {node_->first_child, {}};
}

std::optional<XmlElement> XmlElement::find_child(std::string_view name) const {
    const XmlElements found = find_children(name);
    return found.empty() ? std::nullopt : std::optional(found.front());
}

XmlElements XmlElement::find_children(std::string_view name) const {
    return {node_->first_child, name};
}

std::string XmlElement::get_child_text(std::string_view name) const {
    const auto child = find_child(name);
    return child ? child->get_text() : "";
}

std::optional<std::string_view> XmlElement::find_attribute(std::string_view name) const {
    std::optional<std::string_view> found;
    for (const XmlAttribute& attribute : node_->attributes) {
        if (attribute.name != name) {
            continue;
        }
        if (attribute.namespace_uri.empty()) {
            return attribute.value;
        }
        if (attribute.namespace_uri == namespaces::XMLDA) {
            found = attribute.value;
        }
    }
    return found;
}

std::optional<std::string_view> XmlElement::find_attribute_of(std::string_view namespace_uri,
                                                              std::string_view name) const {
    for (const XmlAttribute& attribute : node_->attributes) {
        if (attribute.name == name && attribute.namespace_uri == namespace_uri) {
            return attribute.value;
        }
    }
    return std::nullopt;
}

std::optional<std::string_view> XmlElement::find_instance_attribute(std::string_view name) const {
    return find_attribute_of(namespaces::XSI, name);
}

QualifiedName XmlElement::resolve(std::string_view text) const {
    const std::size_t colon = text.find(':');
    const std::string_view prefix = colon == std::string_view::npos ? "" : text.substr(0, colon);
    const std::string name(colon == std::string_view::npos ? text : text.substr(colon + 1));
    for (const XmlNode* node = node_; node != nullptr; node = node->parent) {
        for (const XmlDeclaration& declaration : node->declarations) {
            if (declaration.prefix == prefix) {
                return {declaration.namespace_uri, name};
            }
        }
    }
    return {"", name};
}

}  // namespace xmlda
