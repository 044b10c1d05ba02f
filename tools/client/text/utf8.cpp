#include "client/text/utf8.h"

namespace xmlda {
namespace {

constexpr unsigned int CONTINUATION_MASK = 0xC0;
constexpr unsigned int CONTINUATION = 0x80;

/// What the first byte says: how many bytes follow, the bits of the character that it holds itself, and the
/// smallest character that needs so many bytes.
struct Lead {
    std::size_t following;
    char32_t bits;
    char32_t smallest;
};

std::optional<Lead> get_lead(unsigned char byte) {
    if (byte < 0x80) {
        return Lead{0, byte, 0};
    }
    if (byte >= 0xC2 && byte < 0xE0) {
        return Lead{1, byte & 0x1FU, 0x80};
    }
    if (byte >= 0xE0 && byte < 0xF0) {
        return Lead{2, byte & 0x0FU, 0x800};
    }
    if (byte >= 0xF0 && byte < 0xF5) {
        return Lead{3, byte & 0x07U, 0x10000};
    }
    return std::nullopt;
}

bool is_character(char32_t character, char32_t smallest) {
    const bool is_surrogate = character >= 0xD800 && character < 0xE000;
    return character >= smallest && character <= 0x10FFFF && !is_surrogate;
}

/// The first character and how many bytes it has.
std::optional<std::pair<char32_t, std::size_t>> decode(std::string_view text) {
    const auto lead = get_lead(static_cast<unsigned char>(text.front()));
    if (!lead || text.size() <= lead->following) {
        return std::nullopt;
    }
    char32_t character = lead->bits;
    for (std::size_t i = 1; i <= lead->following; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & CONTINUATION_MASK) != CONTINUATION) {
            return std::nullopt;
        }
        character = character << 6U | (byte & ~CONTINUATION_MASK & 0xFFU);
    }
    if (!is_character(character, lead->smallest)) {
        return std::nullopt;
    }
    return std::pair{character, lead->following + 1};
}

}  // namespace

std::optional<char32_t> take_character(std::string_view& text) {
    const auto decoded = decode(text);
    text.remove_prefix(decoded ? decoded->second : 1);
    return decoded ? std::optional(decoded->first) : std::nullopt;
}

void append_character(std::string& text, char32_t character) {
    const auto append = [&text](char32_t bits) { text += static_cast<char>(bits); };
    const auto append_rest = [&append, character](unsigned int shift) {
        append(CONTINUATION | (character >> shift & 0x3FU));
    };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0U | character >> 6U);
        append_rest(0);
    } else if (character < 0x10000) {
        append(0xE0U | character >> 12U);
        append_rest(6);
        append_rest(0);
    } else {
        append(0xF0U | character >> 18U);
        append_rest(12);
        append_rest(6);
        append_rest(0);
    }
}

}  // namespace xmlda
