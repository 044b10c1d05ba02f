#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace xmlda {

/// Takes the first character off a UTF-8 text.
/// @return the character; nothing if the text does not begin with one, and then one byte was taken off
/// Requires: the text is not empty.
std::optional<char32_t> take_character(std::string_view& text);

/// Appends the UTF-8 form of a code point, whether or not it is a character.
void append_character(std::string& text, char32_t character);

}  // namespace xmlda
