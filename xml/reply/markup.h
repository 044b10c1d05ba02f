#pragma once

#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// A text as `Poco::XML::DOMWriter` writes it: `<`, `>`, `&` and `"` become entities. What XML 1.0 cannot
/// carry (anything but tab, line feed, carriage return, U+0020 to U+D7FF, U+E000 to U+FFFD and U+10000 to
/// U+10FFFF in UTF-8) is replaced: each forbidden character, and each longest start of a UTF-8 sequence that
/// is cut short (or, failing that, each single byte) becomes one U+FFFD.
/// @param buffer  gets the result if it differs from `text`
/// @return `text` or `buffer`, and valid as long
std::string_view escape_text(std::string_view text, std::string& buffer);

/// The same for the value of an attribute, in which tab, line feed and carriage return become character
/// references, which keeps them from being read as blanks.
std::string_view escape_attribute(std::string_view text, std::string& buffer);

}  // namespace kx::information_model::opc
