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

// Sixteen bytes at once, in what the compiler makes of it: one register on the machines that matter.
using Bytes [[gnu::vector_size(16)]] = signed char;

constexpr std::size_t WIDTH = sizeof(Bytes);

// Of each byte: -1 if it has to be looked at. Seen as signed, what is beyond ASCII lies below a blank too.
Bytes find_special(Bytes bytes) {
    return (bytes < 0x20) | (bytes == '<') | (bytes == '>') | (bytes == '&') | (bytes == '"');
}

bool is_any_set(Bytes bytes) {
    std::array<std::uint64_t, WIDTH / sizeof(std::uint64_t)> words;
    std::memcpy(words.data(), &bytes, WIDTH);
    return (words[0] | words[1]) != 0;
}

Bytes load(const char* bytes, std::size_t count) {
    Bytes loaded = Bytes{} + static_cast<signed char>(' ');
    if (count > 0) {  // of an empty text there may be no bytes at all to point to
        std::memcpy(&loaded, bytes, count);
    }
    return loaded;
}

}  // namespace

bool is_plain_markup(std::string_view text) noexcept {
    Bytes special{};
    std::size_t position = 0;
    for (; position + WIDTH <= text.size(); position += WIDTH) {
        special |= find_special(load(text.data() + position, WIDTH));
    }
    return !is_any_set(special | find_special(load(text.data() + position, text.size() - position)));
}

void append_escaped_text(std::string& output, std::string_view text) {
    append_escaped(output, text, TEXT_ESCAPES);
}

void append_escaped_attribute(std::string& output, std::string_view text) {
    append_escaped(output, text, ATTRIBUTE_ESCAPES);
}

}  // namespace kx::information_model::opc
