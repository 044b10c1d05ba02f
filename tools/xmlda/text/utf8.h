#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace xmlda {

/// Takes the first character off a UTF-8 text.
/// @return the character; nothing if the text does not begin with one, and then one byte was taken off
/// Requires: the text is not empty.
std::optional<char32_t> take_character(std::string_view& text);

}  // namespace xmlda
