#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace xmlda {

/// A name with its namespace, whatever prefix stood for it.
struct QualifiedName {
    std::string namespace_uri;  ///< empty if there is none, or if the prefix is not declared
    std::string name;           ///< without prefix
};

struct XmlAttribute {
    QualifiedName name;
    std::string value;
};

/// An element of a reply, with what is needed to read it whatever prefixes the server chose. Children belong
/// to their element, and know it: an element is neither copied nor moved.
class XmlElement {
public:
    XmlElement(QualifiedName name, const XmlElement* parent) : name_(std::move(name)), parent_(parent) {}
    XmlElement(const XmlElement&) = delete;
    XmlElement& operator=(const XmlElement&) = delete;

    const std::string& get_name() const { return name_.name; }
    const std::string& get_namespace() const { return name_.namespace_uri; }

    /// The text directly inside, in one piece.
    const std::string& get_text() const { return text_; }

    const std::vector<std::unique_ptr<XmlElement>>& get_children() const { return children_; }

    /// The first child of this name in any namespace, or null.
    const XmlElement* find_child(std::string_view name) const;

    /// All children of this name in any namespace, in document order.
    std::vector<const XmlElement*> find_children(std::string_view name) const;

    /// An attribute of the protocol: without a namespace, as servers write it, or else in that of OPC XML-DA.
    std::optional<std::string> find_attribute(std::string_view name) const;

    /// An attribute in the XML Schema instance namespace, for example "type".
    std::optional<std::string> find_instance_attribute(std::string_view name) const;

    /// Resolves a name that stands in a text or an attribute's value, by the prefixes declared here and
    /// above.
    QualifiedName resolve(std::string_view text) const;

    /// @name For the parser
    /// @{
    XmlElement& add_child(QualifiedName name);
    void add_attribute(QualifiedName name, std::string value);
    void declare_prefix(const std::string& prefix, std::string namespace_uri);
    void add_text(std::string_view text) { text_ += text; }
    /// @}

private:
    const std::string* find_attribute(std::string_view name, std::string_view namespace_uri) const;

    QualifiedName name_;
    const XmlElement* parent_;  // null for the document's element
    std::string text_;
    std::vector<XmlAttribute> attributes_;
    std::vector<std::unique_ptr<XmlElement>> children_;
    std::map<std::string, std::string> prefixes_;  // declared on this element
};

}  // namespace xmlda
