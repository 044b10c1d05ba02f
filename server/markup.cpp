#include "server/markup.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kx::information_model::opc {

namespace {

/// What stands for each byte; an empty text means the byte itself.
using Escapes = std::array<std::string_view, 256>;

constexpr Escapes create_text_escapes() {
    Escapes escapes{};
    escapes['<'] = "&lt;";
    escapes['>'] = "&gt;";
    escapes['&'] = "&amp;";
    escapes['"'] = "&quot;";
    return escapes;
}

constexpr Escapes create_attribute_escapes() {
    Escapes escapes = create_text_escapes();
    escapes['\t'] = "&#x9;";
    escapes['\n'] = "&#xA;";
    escapes['\r'] = "&#xD;";
    return escapes;
}

constexpr Escapes TEXT_ESCAPES = create_text_escapes();
constexpr Escapes ATTRIBUTE_ESCAPES = create_attribute_escapes();

void append_escaped(std::string& output, std::string_view text, const Escapes& escapes) {
    std::size_t start = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const std::string_view escape = escapes[static_cast<unsigned char>(text[position])];
        if (!escape.empty()) {
            output.append(text, start, position - start);
            output.append(escape);
            start = position + 1;
        }
    }
    output.append(text, start);
}

// Eight bytes at once, as the classic tests for a byte in a word have it.
constexpr std::uint64_t ONES = 0x0101010101010101U;
constexpr std::uint64_t HIGHS = 0x8080808080808080U;

constexpr std::uint64_t find_zero(std::uint64_t word) {
    return (word - ONES) & ~word & HIGHS;
}

constexpr std::uint64_t find(std::uint64_t word, unsigned char byte) {
    return find_zero(word ^ (ONES * byte));
}

constexpr std::uint64_t find_special(std::uint64_t word) {
    const std::uint64_t below_blank = (word - ONES * 0x20) & ~word & HIGHS;
    const std::uint64_t beyond_ascii = word & HIGHS;
    return below_blank | beyond_ascii | find(word, '<') | find(word, '>') | find(word, '&') | find(word, '"');
}

std::uint64_t load(const char* bytes, std::size_t count) {
    std::uint64_t word = ONES * ' ';
    if (count > 0) {  // of an empty text there may be no bytes at all to point to
        std::memcpy(&word, bytes, count);
    }
    return word;
}

}  // namespace

bool is_plain_markup(std::string_view text) noexcept {
    constexpr std::size_t WIDTH = sizeof(std::uint64_t);
    std::uint64_t special = 0;
    std::size_t position = 0;
    for (; position + WIDTH <= text.size(); position += WIDTH) {
        special |= find_special(load(text.data() + position, WIDTH));
    }
    return (special | find_special(load(text.data() + position, text.size() - position))) == 0;
}

void append_escaped_text(std::string& output, std::string_view text) {
    append_escaped(output, text, TEXT_ESCAPES);
}

void append_escaped_attribute(std::string& output, std::string_view text) {
    append_escaped(output, text, ATTRIBUTE_ESCAPES);
}

}  // namespace kx::information_model::opc
