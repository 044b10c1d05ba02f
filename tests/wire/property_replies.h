#pragma once

#include <string>

/// The elements that Browse and GetProperties write, as text.
namespace kx::information_model::opc::testing {

/// A scalar value, or an array whose members are given as `content`.
inline std::string value_text(const std::string& type, const std::string& content) {
    const std::string start = "<Value xsi:type=\"" + type + "\"";
    return content.empty() ? start + "/>" : start + ">" + content + "</Value>";
}

/// A property element; without a value if `value` is empty.
inline std::string property_text(const std::string& name, const std::string& value = {}) {
    const std::string start = "<Properties Description=\"" + name + "\" Name=\"" + name + "\"";
    return value.empty() ? start + "/>" : start + ">" + value + "</Properties>";
}

inline std::string property_text(const std::string& name, const std::string& type,
                                 const std::string& content) {
    return property_text(name, value_text(type, content));
}

/// An element of a listing. A domain without children and a variable look the same.
inline std::string element_text(const std::string& name, const std::string& item_name,
                                bool has_children = false, const std::string& properties = {}) {
    const std::string start = "<Elements HasChildren=\"" + std::string(has_children ? "true" : "false") +
                              "\" IsItem=\"true\" ItemName=\"" + item_name + "\" Name=\"" + name + "\"";
    return properties.empty() ? start + "/>" : start + ">" + properties + "</Elements>";
}

/// The property list of one item.
inline std::string list_text(const std::string& name, const std::string& item_name,
                             const std::string& properties = {}) {
    const std::string start = "<PropertyLists ItemName=\"" + item_name + "\" Name=\"" + name + "\"";
    return properties.empty() ? start + "/>" : start + ">" + properties + "</PropertyLists>";
}

}  // namespace kx::information_model::opc::testing
