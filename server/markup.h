#pragma once

#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// Whether `text` is the same as its markup, in a text as in an attribute: ASCII without control characters
/// and without `<`, `>`, `&` and `"`.
bool is_plain_markup(std::string_view text) noexcept;

/// Appends text as `Poco::XML::DOMWriter` writes it: `<`, `>`, `&` and `"` become entities.
/// Requires: `is_valid_xml_text(text)`.
void append_escaped_text(std::string& output, std::string_view text);

/// Appends the value of an attribute as `Poco::XML::DOMWriter` writes it: as text, and tab, line feed and
/// carriage return as character references, which keeps them from being read as blanks.
/// Requires: `is_valid_xml_text(text)`.
void append_escaped_attribute(std::string& output, std::string_view text);

}  // namespace kx::information_model::opc
