#pragma once

#include <cstddef>
#include <string_view>

namespace kx::information_model::detail {

/// One character of a text: its code point and the number of bytes that it takes.
struct Utf8Character {
    char32_t code_point;
    std::size_t length;  ///< 1 to 4, or 0 if the bytes are not UTF-8
};

/// Reads the character that begins at `text[offset]`. Overlong forms, surrogates, code points above U+10FFFF
/// and cut sequences are not UTF-8.
/// Requires: offset < text.size()
Utf8Character read_utf8(std::string_view text, std::size_t offset) noexcept;

}  // namespace kx::information_model::detail
