#pragma once

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

namespace xmlda {

inline std::string_view without_plus(std::string_view text) {
    return text.starts_with('+') ? text.substr(1) : text;
}

/// The number that the whole text is, with a sign or without; nothing if it is none, or is beyond the type.
template <class Number>
std::optional<Number> parse_number(std::string_view text) {
    const std::string_view digits = without_plus(text);
    const char* const end = digits.data() + digits.size();
    Number number{};
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// The shortest text that stands for the number.
inline std::string to_shortest_text(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

}  // namespace xmlda
