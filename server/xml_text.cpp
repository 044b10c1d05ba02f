#include "server/xml_text.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kx::information_model::opc {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

struct Step {
    std::size_t length;  // bytes that belong together, at least 1
    bool valid;          // whether they are one character that XML allows
};

bool is_in(unsigned char byte, unsigned char low, unsigned char high) {
    return byte >= low && byte <= high;
}

// The second byte's range excludes overlong forms, surrogates and what lies beyond U+10FFFF.
struct Lead {
    std::size_t length;
    unsigned char second_low;
    unsigned char second_high;
};

Lead classify(unsigned char lead) {
    if (is_in(lead, 0xC2, 0xDF)) {
        return {2, 0x80, 0xBF};
    }
    if (is_in(lead, 0xE0, 0xEF)) {
        return {3, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    }
    if (is_in(lead, 0xF0, 0xF4)) {
        return {4, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
    }
    return {1, 0, 0};
}

bool is_noncharacter(std::string_view sequence) {
    return sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF";
}

Step step(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        return {1, lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r'};
    }
    const Lead form = classify(lead);
    std::size_t length = 1;
    while (length < form.length && length < text.size()) {
        const auto byte = static_cast<unsigned char>(text[length]);
        const bool fits =
            length == 1 ? is_in(byte, form.second_low, form.second_high) : is_in(byte, 0x80, 0xBF);
        if (!fits) {
            break;
        }
        ++length;
    }
    const bool complete = form.length > 1 && length == form.length;
    return {length, complete && !is_noncharacter(text.substr(0, length))};
}

// Whether the eight bytes are all printable ASCII: most of all text.
bool is_plain(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    constexpr std::uint64_t HIGH = 0x8080808080808080U;
    return ((word | (word - 0x2020202020202020U)) & HIGH) == 0;
}

std::size_t get_valid_length(std::string_view text) {
    std::size_t position = 0;
    while (position < text.size()) {
        if (text.size() - position >= sizeof(std::uint64_t) && is_plain(text.data() + position)) {
            position += sizeof(std::uint64_t);
            continue;
        }
        const Step next = step(text.substr(position));
        if (!next.valid) {
            break;
        }
        position += next.length;
    }
    return position;
}

}  // namespace

bool is_valid_xml_text(std::string_view text) noexcept {
    return get_valid_length(text) == text.size();
}

std::string to_valid_xml_text(std::string_view text) {
    std::string result;
    result.reserve(text.size() + REPLACEMENT.size());
    while (!text.empty()) {
        const std::size_t valid = get_valid_length(text);
        result.append(text.substr(0, valid));
        text.remove_prefix(valid);
        if (!text.empty()) {
            result.append(REPLACEMENT);
            text.remove_prefix(step(text).length);
        }
    }
    return result;
}

}  // namespace kx::information_model::opc
