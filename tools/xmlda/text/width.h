#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xmlda {

/// How many columns a printable text takes on a terminal.
std::size_t get_width(std::string_view text);

/// The text cut to at most `width` columns; "..." stands for what was cut off.
std::string cut_to_width(const std::string& text, std::size_t width);

/// The same for texts whose ends tell more than their beginnings: those are cut off.
std::string cut_front_to_width(const std::string& text, std::size_t width);

/// The text with blanks behind it, `width` columns in all, or longer if it is longer.
std::string pad_to_width(const std::string& text, std::size_t width);

}  // namespace xmlda
