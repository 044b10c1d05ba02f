#pragma once

#include <string>
#include <string_view>

namespace xmlda {

/// The text without blanks, tabs and line breaks at its ends.
std::string trim(std::string_view text);
std::string trim(std::string&& text);

/// The text with the ASCII letters in lower case.
std::string to_lower(std::string_view text);

}  // namespace xmlda
