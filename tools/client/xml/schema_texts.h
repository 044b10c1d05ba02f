#pragma once

#include <string>
#include <string_view>

namespace xmlda {

/// @name What XML Schema says of texts
/// As libxml2 checks them, which validates the same way.
/// @{

/// Whether a text is a name without a prefix, with no blanks around it.
bool is_name(const std::string& text);

/// Whether a text is a name with or without a prefix, with no blanks around it. The prefix need not be
/// declared.
bool is_qualified_name(const std::string& text);

/// Whether values may be of this type of XML Schema.
/// @param type  without prefix, "double". None of those that are names, which mean nothing in another
/// document
bool is_value_type(std::string_view type);

/// Whether a text is one of a type; no text is one of a type that is none of `is_value_type`.
bool is_of_type(const std::string& text, std::string_view type);
/// @}

}  // namespace xmlda
