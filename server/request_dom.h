#pragma once

#include <Poco/DOM/Node.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Look-ups in a parsed request, by namespace URI and local name. They find what a path look-up would find,
/// without building and parsing a path text each time.
namespace kx::information_model::opc {

/// A qualified name taken apart once, to be compared with many elements.
class ElementName {
public:
    /// @param qualified_name  prefix and local name, one of `request_names`
    /// @param namespaces      declares the prefix
    ElementName(const std::string& qualified_name, const Poco::XML::NamespaceSupport& namespaces);

    /// Whether `node` is an element of this name.
    bool matches(const Poco::XML::Node& node) const;

private:
    std::string uri_;
    std::string local_name_;
};

/// The name of an attribute, taken apart once, to be looked for in many elements.
class AttributeName {
public:
    /// @param qualified_name  as `find_attribute` takes it; lives no shorter
    AttributeName(const std::string& qualified_name, const Poco::XML::NamespaceSupport& namespaces);

    /// What `find(uri, local_name)` finds for the first of the names that are meant.
    template <class Find>
    auto find(Find find) const -> decltype(find(std::string_view(), std::string_view())) {
        if (!has_prefix_) {
            return find({}, local_name_);
        }
        if (uri_.empty()) {
            return {};
        }
        const auto attribute = find(uri_, local_name_);
        return attribute ? attribute : find({}, local_name_);
    }

private:
    std::string uri_;
    std::string_view local_name_;
    bool has_prefix_;
};

/// The first child element of that name.
/// @return borrowed, null if there is none
const Poco::XML::Node* find_child(const Poco::XML::Node& parent, const ElementName& name);
const Poco::XML::Node* find_child(const Poco::XML::Node& parent, const std::string& qualified_name,
                                  const Poco::XML::NamespaceSupport& namespaces);

/// Calls `action(const Poco::XML::Node&)` for each child element of that name, in document order. Other
/// nodes are skipped.
template <class Action>
void for_each_child(const Poco::XML::Node& parent, const std::string& qualified_name,
                    const Poco::XML::NamespaceSupport& namespaces, Action action) {
    const ElementName name(qualified_name, namespaces);
    for (const Poco::XML::Node* child = parent.firstChild(); child != nullptr; child = child->nextSibling()) {
        if (name.matches(*child)) {
            action(*child);
        }
    }
}

/// The attribute that has exactly the name's namespace, or none for a name without prefix; for a prefixed
/// name failing that, the attribute without prefix: clients write it that way, as the schema has it.
/// @param node            an element; anything else has no attributes
/// @param qualified_name  with or without a prefix; a prefix that is not declared finds nothing
/// @return borrowed, null if there is none
const Poco::XML::Node* find_attribute(const Poco::XML::Node& node, const std::string& qualified_name,
                                      const Poco::XML::NamespaceSupport& namespaces);

/// The text of the attribute that `find_attribute` finds; valid as long as the document. Of a request's own
/// elements it costs no node.
std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& node, const AttributeName& name);
std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& node,
                                                    const std::string& qualified_name,
                                                    const Poco::XML::NamespaceSupport& namespaces);

/// The text of the attribute that has exactly this namespace, none if `uri` is empty.
std::optional<std::string_view> find_attribute_text(const Poco::XML::Node& node, std::string_view uri,
                                                    std::string_view local_name);

/// How many nodes `parent` has as children, to reserve memory for what becomes of them. Zero if counting
/// would take a walk.
std::size_t get_child_count(const Poco::XML::Node& parent);

}  // namespace kx::information_model::opc
