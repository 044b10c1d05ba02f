#include "client/xml/XmlElement.h"

#include "client/namespaces.h"

#include <libxml/tree.h>

namespace xmlda {
namespace {

std::string_view to_view(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

std::string_view get_uri(const xmlNs* name_space) {
    return name_space == nullptr ? std::string_view() : to_view(name_space->href);
}

/// The texts among these siblings, in one piece.
std::string join_texts(const xmlNode* first) {
    std::string text;
    for (const xmlNode* node = first; node != nullptr; node = node->next) {
        if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
            text += to_view(node->content);
        }
    }
    return text;
}

/// Of these siblings the first that is an element, or null.
const xmlNode* get_element(const xmlNode* node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node;
}

}  // namespace

std::string_view XmlElement::get_name() const {
    return to_view(node_->name);
}

std::string_view XmlElement::get_namespace() const {
    return get_uri(node_->ns);
}

std::string XmlElement::get_text() const {
    return join_texts(node_->children);
}

std::vector<XmlElement> XmlElement::get_children() const {
    std::vector<XmlElement> children;
    for (const xmlNode* node = get_element(node_->children); node != nullptr;
         node = get_element(node->next)) {
        children.emplace_back(node);
    }
    return children;
}

std::optional<XmlElement> XmlElement::find_child(std::string_view name) const {
    for (const xmlNode* node = get_element(node_->children); node != nullptr;
         node = get_element(node->next)) {
        if (to_view(node->name) == name) {
            return XmlElement(node);
        }
    }
    return std::nullopt;
}

std::vector<XmlElement> XmlElement::find_children(std::string_view name) const {
    std::vector<XmlElement> found;
    for (const XmlElement& child : get_children()) {
        if (child.get_name() == name) {
            found.push_back(child);
        }
    }
    return found;
}

std::string XmlElement::get_child_text(std::string_view name) const {
    const auto child = find_child(name);
    return child ? child->get_text() : "";
}

std::optional<std::string> XmlElement::find_attribute(std::string_view name) const {
    for (const char* const namespace_uri : {"", namespaces::XMLDA}) {
        if (const xmlAttr* const attribute = find_attribute(name, namespace_uri)) {
            return join_texts(attribute->children);
        }
    }
    return std::nullopt;
}

std::optional<std::string> XmlElement::find_instance_attribute(std::string_view name) const {
    const xmlAttr* const attribute = find_attribute(name, namespaces::XSI);
    return attribute == nullptr ? std::nullopt : std::optional(join_texts(attribute->children));
}

QualifiedName XmlElement::resolve(std::string_view text) const {
    const std::size_t colon = text.find(':');
    const std::string_view prefix = colon == std::string_view::npos ? "" : text.substr(0, colon);
    const std::string name(colon == std::string_view::npos ? text : text.substr(colon + 1));
    for (const xmlNode* node = node_; node != nullptr && node->type == XML_ELEMENT_NODE;
         node = node->parent) {
        for (const xmlNs* declared = node->nsDef; declared != nullptr; declared = declared->next) {
            if (to_view(declared->prefix) == prefix) {
                return {std::string(get_uri(declared)), name};
            }
        }
    }
    return {"", name};
}

const _xmlAttr* XmlElement::find_attribute(std::string_view name, std::string_view namespace_uri) const {
    for (const xmlAttr* attribute = node_->properties; attribute != nullptr; attribute = attribute->next) {
        if (to_view(attribute->name) == name && get_uri(attribute->ns) == namespace_uri) {
            return attribute;
        }
    }
    return nullptr;
}

}  // namespace xmlda
