#pragma once

#include "client/xml/XmlNode.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace xmlda {

/// A name with its namespace, whatever prefix stood for it.
struct QualifiedName {
    std::string_view namespace_uri;  ///< empty if there is none, or if the prefix is not declared
    std::string name;                ///< without prefix
};

class XmlElements;

/// An element of an `XmlDocument`, with what is needed to read it whatever prefixes its writer chose. As
/// cheap to copy as a pointer. It and the views that it gives are valid as long as the document.
class XmlElement {
public:
    /// @param node  an element of a document, not null
    explicit XmlElement(const XmlNode* node) : node_(node) {}

    std::string_view get_name() const { return node_->name; }
    std::string_view get_namespace() const { return node_->namespace_uri; }  ///< empty if there is none

    /// The text directly inside, in one piece.
    std::string get_text() const;

    /// The elements directly inside, in document order.
    XmlElements get_children() const;

    /// The first child of this name in any namespace.
    std::optional<XmlElement> find_child(std::string_view name) const;

    /// All children of this name in any namespace, in document order.
    /// @param name  outlives what is returned
    XmlElements find_children(std::string_view name) const;

    /// The text of the first child of this name in any namespace; empty if there is none.
    std::string get_child_text(std::string_view name) const;

    /// An attribute of the protocol: without a namespace, as it is usually written, or else in that of
    /// OPC XML-DA.
    std::optional<std::string_view> find_attribute(std::string_view name) const;

    /// An attribute in a namespace.
    std::optional<std::string_view> find_attribute_of(std::string_view namespace_uri,
                                                      std::string_view name) const;

    /// An attribute in the XML Schema instance namespace, for example "type".
    std::optional<std::string_view> find_instance_attribute(std::string_view name) const;

    /// Resolves a name that stands in a text or an attribute's value, by the prefixes declared here and
    /// above.
    QualifiedName resolve(std::string_view text) const;

private:
    const XmlNode* node_;
};

/// Elements with the same parent, in document order.
class XmlElements {
public:
    class Iterator {
    public:
        Iterator(const XmlNode* node, std::string_view name) : node_(node), name_(name) { skip_others(); }

        XmlElement operator*() const { return XmlElement(node_); }
        Iterator& operator++() {
            node_ = node_->next;
            skip_others();
            return *this;
        }
        bool operator==(const Iterator& other) const { return node_ == other.node_; }

    private:
        void skip_others() {
            while (node_ != nullptr && !name_.empty() && node_->name != name_) {
                node_ = node_->next;
            }
        }

        const XmlNode* node_;
        std::string_view name_;
    };

    /// @param first  may be null
    /// @param name   of those that count; all of them if it is empty
    XmlElements(const XmlNode* first, std::string_view name) : first_(first, name) {}

    Iterator begin() const { return first_; }
    Iterator end() const { return {nullptr, {}}; }
    bool empty() const { return begin() == end(); }

    /// Counts them.
    std::size_t count() const {
        std::size_t counted = 0;
        for (Iterator next = begin(); next != end(); ++next) {
            ++counted;
        }
        return counted;
    }

    /// Requires: not empty.
    XmlElement front() const { return *begin(); }

private:
    Iterator first_;
};

}  // namespace xmlda
