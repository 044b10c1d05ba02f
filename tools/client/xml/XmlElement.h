#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct _xmlAttr;  // NOLINT(bugprone-reserved-identifier): named by libxml2
struct _xmlNode;  // NOLINT(bugprone-reserved-identifier): named by libxml2

namespace xmlda {

/// A name with its namespace, whatever prefix stood for it.
struct QualifiedName {
    std::string namespace_uri;  ///< empty if there is none, or if the prefix is not declared
    std::string name;           ///< without prefix
};

/// An element of an `XmlDocument`, with what is needed to read it whatever prefixes its writer chose. As
/// cheap to copy as a pointer; valid as long as the document.
class XmlElement {
public:
    /// @param node  an element of a document, not null
    explicit XmlElement(const _xmlNode* node) : node_(node) {}

    std::string_view get_name() const;
    std::string_view get_namespace() const;  ///< empty if there is none

    /// The text directly inside, in one piece.
    std::string get_text() const;

    /// The elements directly inside, in document order.
    std::vector<XmlElement> get_children() const;

    /// The first child of this name in any namespace.
    std::optional<XmlElement> find_child(std::string_view name) const;

    /// All children of this name in any namespace, in document order.
    std::vector<XmlElement> find_children(std::string_view name) const;

    /// The text of the first child of this name in any namespace; empty if there is none.
    std::string get_child_text(std::string_view name) const;

    /// An attribute of the protocol: without a namespace, as it is usually written, or else in that of
    /// OPC XML-DA.
    std::optional<std::string> find_attribute(std::string_view name) const;

    /// An attribute in the XML Schema instance namespace, for example "type".
    std::optional<std::string> find_instance_attribute(std::string_view name) const;

    /// Resolves a name that stands in a text or an attribute's value, by the prefixes declared here and
    /// above.
    QualifiedName resolve(std::string_view text) const;

private:
    const _xmlAttr* find_attribute(std::string_view name, std::string_view namespace_uri) const;

    const _xmlNode* node_;
};

}  // namespace xmlda
