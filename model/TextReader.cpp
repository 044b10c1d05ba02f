#include "model/TextReader.h"

#include <algorithm>

namespace kx::information_model::detail {

namespace {

constexpr std::size_t NANOSECOND_DIGITS = 9;

bool is_digit(char character) noexcept {
    return character >= '0' && character <= '9';
}

}  // namespace

std::string_view trim(std::string_view text) noexcept {
    constexpr std::string_view WHITE_SPACE = " \t\n\r";
    const std::size_t begin = text.find_first_not_of(WHITE_SPACE);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(WHITE_SPACE) + 1 - begin);
}

bool TextReader::skip(char character) noexcept {
    if (!rest_.starts_with(character)) {
        return false;
    }
    rest_.remove_prefix(1);
    return true;
}

std::string_view TextReader::take_digits() noexcept {
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), is_digit);
    const std::string_view digits = rest_.substr(0, static_cast<std::size_t>(end - rest_.begin()));
    rest_.remove_prefix(digits.size());
    return digits;
}

std::optional<std::int64_t> TextReader::take_number(std::size_t count) noexcept {
    const std::string_view digits = rest_.substr(0, count);
    if (digits.size() < count || !std::all_of(digits.begin(), digits.end(), is_digit)) {
        return std::nullopt;
    }
    rest_.remove_prefix(count);
    return static_cast<std::int64_t>(*to_number(digits));
}

std::optional<Fraction> TextReader::take_fraction() noexcept {
    if (rest_.size() < 2 || rest_[0] != '.' || !is_digit(rest_[1])) {
        return std::nullopt;
    }
    rest_.remove_prefix(1);
    const std::string_view all_digits = take_digits();
    const std::string_view digits = all_digits.substr(0, NANOSECOND_DIGITS);
    auto nanoseconds = static_cast<std::int64_t>(*to_number(digits));
    for (std::size_t i = digits.size(); i < NANOSECOND_DIGITS; ++i) {
        nanoseconds *= 10;
    }
    return Fraction{nanoseconds, all_digits.find_first_not_of('0') == std::string_view::npos};
}

std::optional<std::uint64_t> to_number(std::string_view digits) noexcept {
    std::uint64_t number = 0;
    for (const char digit : digits) {
        if (__builtin_mul_overflow(number, std::uint64_t{10}, &number) ||
            __builtin_add_overflow(number, static_cast<std::uint64_t>(digit - '0'), &number)) {
            return std::nullopt;
        }
    }
    return number;
}

}  // namespace kx::information_model::detail
