#include "model/quoted_text.h"

#include <cstddef>

namespace kx::information_model::detail {

namespace {

constexpr std::size_t MAXIMUM_LENGTH = 256;

bool is_continuation_byte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// At most `MAXIMUM_LENGTH` bytes of `text`, not cut inside a UTF-8 sequence.
std::string_view shorten(std::string_view text) {
    if (text.size() <= MAXIMUM_LENGTH) {
        return text;
    }
    std::size_t length = MAXIMUM_LENGTH;
    while (length > MAXIMUM_LENGTH - 4 && is_continuation_byte(text[length])) {
        --length;
    }
    return text.substr(0, length);
}

void append_escaped(std::string& result, unsigned char byte) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    result += "\\x";
    result += DIGITS[byte >> 4U];
    result += DIGITS[byte & 0xFU];
}

}  // namespace

std::string quoted_text(std::string_view text) {
    const std::string_view shown = shorten(text);
    std::string result = "\"";
    for (const char character : shown) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20U || byte == 0x7FU) {
            append_escaped(result, byte);
        } else {
            result += character;
        }
    }
    result += shown.size() < text.size() ? "...\"" : "\"";
    return result;
}

}  // namespace kx::information_model::detail
