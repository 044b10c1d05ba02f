#include "codec/number_extraction.h"

#include <charconv>
#include <concepts>
#include <cstddef>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <system_error>
#include <type_traits>

namespace kx::information_model::opc {

namespace {

// Longer than any double in fixed notation. What is longer still goes to a stream: there the position of the
// point and the exponent may make up for each other over any distance.
constexpr std::size_t MAXIMUM_FAST_SIZE = 400;

constexpr bool is_space(char letter) {
    return letter == ' ' || (letter >= '\t' && letter <= '\r');
}
constexpr bool is_digit(char letter) {
    return letter >= '0' && letter <= '9';
}
constexpr bool is_sign(char letter) {
    return letter == '+' || letter == '-';
}

std::string_view skip_space(std::string_view text) {
    std::size_t count = 0;
    while (count < text.size() && is_space(text[count])) {
        ++count;
    }
    return text.substr(count);
}

template <class T>
T extract_with_stream(std::string_view text) {
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());  // the host may have set another global one
    T value = 0;
    stream >> value;
    return value;
}

// A magnitude and its sign as a T, as far as T reaches.
template <class T>
T to_integer(unsigned long magnitude, bool is_negative, bool is_overflow) {
    using Limits = std::numeric_limits<T>;
    constexpr auto MAXIMUM = static_cast<unsigned long>(Limits::max());
    const bool is_below_zero = is_negative && std::is_signed_v<T>;
    if (is_overflow || magnitude > (is_below_zero ? MAXIMUM + 1 : MAXIMUM)) {
        return is_below_zero ? Limits::min() : Limits::max();
    }
    return static_cast<T>(is_negative ? 0 - magnitude : magnitude);
}

template <std::integral T>
T extract(std::string_view text) {
    const bool is_negative = text.starts_with('-');
    if (is_negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    unsigned long magnitude = 0;
    const auto error = std::from_chars(text.data(), text.data() + text.size(), magnitude).ec;
    return to_integer<T>(magnitude, is_negative, error == std::errc::result_out_of_range);
}

template <>
bool extract<bool>(std::string_view text) {
    return extract<long>(text) != 0;
}

std::size_t skip_digits(std::string_view text, std::size_t position) {
    while (position < text.size() && is_digit(text[position])) {
        ++position;
    }
    return position;
}

// What a stream gathers before it converts it: the characters that could go on to be a number, even if they
// do not. It does not go back from an exponent without digits; the number is then invalid.
std::string_view get_floating_point_prefix(std::string_view text) {
    const std::size_t start = !text.empty() && is_sign(text[0]) ? 1 : 0;
    std::size_t end = skip_digits(text, start);
    bool has_digits = end > start;
    if (end < text.size() && text[end] == '.') {
        const std::size_t fraction = end + 1;
        end = skip_digits(text, fraction);
        has_digits = has_digits || end > fraction;
    }
    if (has_digits && end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        ++end;
        end = skip_digits(text, end < text.size() && is_sign(text[end]) ? end + 1 : end);
    }
    return text.substr(0, end);
}

template <std::floating_point T>
T extract(std::string_view text) {
    text = get_floating_point_prefix(text);
    const std::string_view number = text.starts_with('+') ? text.substr(1) : text;
    if (number.size() > MAXIMUM_FAST_SIZE) {
        return extract_with_stream<T>(text);
    }
    T value = 0;
    const char* const end = number.data() + number.size();
    const auto result = std::from_chars(number.data(), end, value);
    if (result.ec == std::errc::result_out_of_range) {  // does not tell too large from too small
        return extract_with_stream<T>(text);
    }
    return result.ec == std::errc() && result.ptr == end ? value : T{0};
}

}  // namespace

template <class T>
T extract_number(std::string_view text) {
    return extract<T>(skip_space(text));
}

template bool extract_number(std::string_view);
template short extract_number(std::string_view);
template int extract_number(std::string_view);
template long extract_number(std::string_view);
template unsigned short extract_number(std::string_view);
template unsigned int extract_number(std::string_view);
template unsigned long extract_number(std::string_view);
template float extract_number(std::string_view);
template double extract_number(std::string_view);

}  // namespace kx::information_model::opc
