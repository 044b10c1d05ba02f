#include "xmlda/text/printable.h"

#include "client/text/utf8.h"

#include <array>
#include <cstdio>

namespace xmlda {
namespace {

/// Control characters, and what a terminal may take for a line break or a change of direction.
bool is_unsafe(char32_t character) {
    const bool is_control = character < 0x20 || (character >= 0x7F && character < 0xA0);
    const bool is_mark =
        character == 0x200E || character == 0x200F || character == 0x061C || character == 0xFEFF;
    const bool is_direction =
        (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    const bool is_separator = character == 0x2028 || character == 0x2029;
    return is_control || is_mark || is_direction || is_separator;
}

std::string format(const char* pattern, unsigned int number) {
    std::array<char, 16> text;
    const int size = std::snprintf(text.data(), text.size(), pattern, number);
    return {text.data(), static_cast<std::size_t>(size)};
}

std::string escape(char32_t character) {
    switch (character) {
        case U'\n':
            return "\\n";
        case U'\r':
            return "\\r";
        case U'\t':
            return "\\t";
        default:
            return format(character < 0x100 ? "\\x%02x" : "\\u%04x", static_cast<unsigned int>(character));
    }
}

/// Copies the text; `transform` gets each character that is one, and what it stands for in the text, and
/// returns what is put in its place.
template <class Transform>
std::string transform_characters(std::string_view text, Transform transform) {
    std::string result;
    while (!text.empty()) {
        const std::string_view rest = text;
        const auto character = take_character(text);
        const std::string_view part = rest.substr(0, rest.size() - text.size());
        result += character ? transform(*character, part)
                            : format("\\x%02x", static_cast<unsigned char>(part.front()));
    }
    return result;
}

}  // namespace

std::string to_printable(std::string_view text) {
    return transform_characters(text, [](char32_t character, std::string_view part) {
        return is_unsafe(character) ? escape(character) : std::string(part);
    });
}

std::string to_quoted(std::string_view text) {
    return '"' +
           transform_characters(text,
                                [](char32_t character, std::string_view part) {
                                    if (is_unsafe(character)) {
                                        return escape(character);
                                    }
                                    const bool has_meaning = character == U'"' || character == U'\\';
                                    return std::string(has_meaning ? "\\" : "").append(part);
                                }) +
           '"';
}

bool needs_escapes(std::string_view text) {
    while (!text.empty()) {
        const auto character = take_character(text);
        if (!character || is_unsafe(*character)) {
            return true;
        }
    }
    return false;
}

std::string to_printable_lines(std::string_view text) {
    return transform_characters(text, [](char32_t character, std::string_view part) {
        const bool stays = character == U'\n' || character == U'\t' || !is_unsafe(character);
        return stays ? std::string(part) : escape(character);
    });
}

}  // namespace xmlda
