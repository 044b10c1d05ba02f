#pragma once

#include <span>
#include <string_view>

namespace xmlda {

/// @name What a parsed document is made of
/// Everything, texts included, lives in the memory of the document. Names are without prefixes.
/// @{

struct XmlAttribute {
    std::string_view name;
    std::string_view namespace_uri;
    std::string_view value;
};

/// A prefix that an element declares; empty for the default namespace.
struct XmlDeclaration {
    std::string_view prefix;
    std::string_view namespace_uri;
};

/// A part of the text directly inside an element.
struct XmlText {
    std::string_view text;
    const XmlText* next = nullptr;
};

/// An element.
struct XmlNode {
    std::string_view name;
    std::string_view namespace_uri;
    std::span<const XmlAttribute> attributes;
    std::span<const XmlDeclaration> declarations;
    const XmlText* texts = nullptr;
    const XmlNode* parent = nullptr;
    const XmlNode* first_child = nullptr;
    const XmlNode* next = nullptr;  ///< behind it, with the same parent
};
/// @}

}  // namespace xmlda
