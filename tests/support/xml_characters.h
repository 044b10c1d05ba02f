#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What XML can carry, the slow and plain way: to compare with what replies are made of.
namespace kx::information_model::opc::testing {

inline const std::string REPLACEMENT = "\xEF\xBF\xBD";

// Any code point, surrogates and those beyond U+10FFFF included, in the shortest form that carries it.
inline std::string encode(std::uint32_t code_point) {
    const auto byte = [](std::uint32_t value) {
        return static_cast<char>(static_cast<unsigned char>(value));
    };
    if (code_point < 0x80) {
        return {byte(code_point)};
    }
    if (code_point < 0x800) {
        return {byte(0xC0 | code_point >> 6), byte(0x80 | (code_point & 0x3F))};
    }
    if (code_point < 0x10000) {
        return {byte(0xE0 | code_point >> 12), byte(0x80 | (code_point >> 6 & 0x3F)),
                byte(0x80 | (code_point & 0x3F))};
    }
    return {byte(0xF0 | code_point >> 18), byte(0x80 | (code_point >> 12 & 0x3F)),
            byte(0x80 | (code_point >> 6 & 0x3F)), byte(0x80 | (code_point & 0x3F))};
}

inline bool is_unicode_scalar(std::uint32_t code_point) {
    return code_point <= 0x10FFFF && (code_point < 0xD800 || code_point > 0xDFFF);
}

inline bool is_xml_character(std::uint32_t code_point) {
    return code_point == 0x9 || code_point == 0xA || code_point == 0xD ||
           (code_point >= 0x20 && code_point <= 0xD7FF) || (code_point >= 0xE000 && code_point <= 0xFFFD) ||
           (code_point >= 0x10000 && code_point <= 0x10FFFF);
}

// Decodes a sequence of just this length by its bits and accepts it if it is what `encode` makes of the
// result.
inline std::optional<std::uint32_t> decode(std::string_view sequence) {
    static constexpr std::array<std::uint32_t, 5> LEAD_BITS = {0, 0x7F, 0x1F, 0x0F, 0x07};
    std::uint32_t code_point = static_cast<unsigned char>(sequence[0]) & LEAD_BITS.at(sequence.size());
    for (const char byte : sequence.substr(1)) {
        code_point = code_point << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    if (encode(code_point) != sequence || !is_unicode_scalar(code_point)) {
        return std::nullopt;
    }
    return code_point;
}

// Whether some continuation makes a character of it.
inline bool is_start_of_character(const std::string& bytes, std::size_t missing) {
    if (missing == 0) {
        return decode(bytes).has_value();
    }
    for (const char next : {'\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF'}) {
        if (is_start_of_character(bytes + next, missing - 1)) {
            return true;
        }
    }
    return false;
}

inline bool is_start_of_character(std::string_view bytes) {
    for (std::size_t length = bytes.size() + 1; length <= 4; ++length) {
        if (is_start_of_character(std::string(bytes), length - bytes.size())) {
            return true;
        }
    }
    return false;
}

inline std::size_t get_ill_formed_length(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && length < 3 && is_start_of_character(text.substr(0, length + 1))) {
        ++length;
    }
    return length;
}

inline std::string replace_slowly(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t length = 0;
        bool is_allowed = false;
        for (std::size_t candidate = 1; candidate <= 4 && candidate <= text.size() && length == 0;
             ++candidate) {
            if (const auto code_point = decode(text.substr(0, candidate))) {
                length = candidate;
                is_allowed = is_xml_character(*code_point);
            }
        }
        if (length == 0) {
            length = get_ill_formed_length(text);
        }
        result += is_allowed ? std::string(text.substr(0, length)) : REPLACEMENT;
        text.remove_prefix(length);
    }
    return result;
}

}  // namespace kx::information_model::opc::testing
