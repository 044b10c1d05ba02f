#include "xmlda/text/width.h"

#include "client/text/utf8.h"

#include <algorithm>

#include <wchar.h>

namespace xmlda {
namespace {

constexpr std::string_view OMISSION = "...";

/// 1 where the system does not know.
std::size_t get_width(char32_t character) {
    const int width = ::wcwidth(static_cast<wchar_t>(character));
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

/// The longest beginning of the text that is not wider.
std::string_view take_columns(std::string_view text, std::size_t width) {
    std::string_view rest = text;
    std::size_t taken = 0;
    while (!rest.empty()) {
        std::string_view next = rest;
        taken += get_width(take_character(next).value_or(U'?'));
        if (taken > width) {
            break;
        }
        rest = next;
    }
    return text.substr(0, text.size() - rest.size());
}

}  // namespace

std::size_t get_width(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        width += get_width(take_character(text).value_or(U'?'));
    }
    return width;
}

std::string cut_to_width(const std::string& text, std::size_t width) {
    if (get_width(text) <= width) {
        return text;
    }
    const std::size_t kept = width - std::min(width, OMISSION.size());
    return std::string(take_columns(text, kept)) + std::string(OMISSION.substr(0, width - kept));
}

std::string cut_front_to_width(const std::string& text, std::size_t width) {
    if (get_width(text) <= width) {
        return text;
    }
    const std::size_t kept = width - std::min(width, OMISSION.size());
    std::string_view rest = text;
    while (get_width(rest) > kept) {
        take_character(rest);
    }
    return std::string(OMISSION.substr(0, width - kept)) + std::string(rest);
}

std::string pad_to_width(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, get_width(text)), ' ');
}

}  // namespace xmlda
