#pragma once

#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// Whether `text` is UTF-8 and holds nothing but characters that XML 1.0 allows: tab, line feed, carriage
/// return, U+0020 to U+D7FF, U+E000 to U+FFFD, U+10000 to U+10FFFF.
bool is_valid_xml_text(std::string_view text) noexcept;

/// Replaces what XML 1.0 cannot carry: each forbidden character, and each longest start of a UTF-8 sequence
/// that is cut short (or, failing that, each single byte) becomes one U+FFFD. All else stays as it is.
std::string to_valid_xml_text(std::string_view text);

}  // namespace kx::information_model::opc
