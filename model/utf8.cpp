#include "model/utf8.h"

namespace kx::information_model::detail {

namespace {

constexpr Utf8Character NOT_UTF8 = {0, 0};

/// The number of bytes that a lead byte announces, 0 if it is none.
std::size_t get_sequence_length(unsigned char lead) noexcept {
    if (lead < 0x80U) {
        return 1;
    }
    if (lead < 0xC0U) {
        return 0;
    }
    if (lead < 0xE0U) {
        return 2;
    }
    if (lead < 0xF0U) {
        return 3;
    }
    return lead < 0xF8U ? 4 : 0;
}

bool is_scalar_value(char32_t code_point) noexcept {
    return code_point <= 0x10FFFFU && (code_point < 0xD800U || code_point > 0xDFFFU);
}

}  // namespace

Utf8Character read_utf8(std::string_view text, std::size_t offset) noexcept {
    // Smallest code point that needs a sequence of the length, and the lead byte's part of the code point.
    constexpr char32_t SMALLEST[] = {0, 0, 0x80U, 0x800U, 0x10000U};
    constexpr unsigned char LEAD_MASK[] = {0, 0x7FU, 0x1FU, 0x0FU, 0x07U};

    const auto lead = static_cast<unsigned char>(text[offset]);
    const std::size_t length = get_sequence_length(lead);
    if (length == 0 || length > text.size() - offset) {
        return NOT_UTF8;
    }
    char32_t code_point = static_cast<unsigned char>(lead & LEAD_MASK[length]);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[offset + i]);
        if ((byte & 0xC0U) != 0x80U) {
            return NOT_UTF8;
        }
        code_point = (code_point << 6U) | (byte & 0x3FU);
    }
    if (code_point < SMALLEST[length] || !is_scalar_value(code_point)) {
        return NOT_UTF8;
    }
    return {code_point, length};
}

}  // namespace kx::information_model::detail
