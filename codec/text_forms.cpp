#include "codec/text_forms.h"

#include "codec/number_extraction.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace kx::information_model::opc {

namespace {

template <class T>
std::string to_decimal(T value) {
    std::array<char, std::numeric_limits<T>::digits10 + 3> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

constexpr std::uint64_t MILLION = 1'000'000;

/// A number's millionths, rounded; none where that takes more than one multiplication.
std::optional<std::uint64_t> get_millionths(double magnitude) {
    const double product = magnitude * static_cast<double>(MILLION);
    if (!(product < 4e12)) {
        return std::nullopt;
    }
    // Up to there the product is off by less than 0.0005, which matters only close to a half.
    const auto whole = static_cast<std::uint64_t>(product);
    const double fraction = product - static_cast<double>(whole);
    if (std::abs(fraction - 0.5) < 0.001) {
        return std::nullopt;
    }
    return whole + (fraction > 0.5 ? 1 : 0);
}

/// "-1.500000" for 1,500,000 negative millionths.
std::string to_fixed(bool is_negative, std::uint64_t millionths) {
    std::array<char, 16> text;
    char* end = text.data();
    if (is_negative) {
        *end++ = '-';
    }
    end = std::to_chars(end, text.data() + text.size(), millionths / MILLION).ptr;
    *end++ = '.';
    std::uint64_t digits = millionths % MILLION;
    for (char* digit = end + 6; digit-- > end; digits /= 10) {
        *digit = static_cast<char>('0' + digits % 10);
    }
    return {text.data(), end + 6};
}

}  // namespace

std::string to_opc_time(const TimePoint& time) {
    std::string text = to_iso8601_string(time);
    if (text.ends_with('Z')) {
        text.pop_back();
    }
    return text;
}

std::string to_xml_string(bool value) {
    return value ? "1" : "0";
}

std::string to_xml_string(const std::string& value) {
    return value;
}

std::string to_xml_string(double value) {
    if (const auto millionths = get_millionths(std::abs(value))) {
        return to_fixed(std::signbit(value), *millionths);
    }
    // Sign, all integer digits of the largest double, the point, six digits.
    std::array<char, 1 + std::numeric_limits<double>::max_exponent10 + 1 + 1 + 6> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 6).ptr;
    return {text.data(), end};
}

std::string to_xml_string(float value) {
    return to_xml_string(static_cast<double>(value));
}

std::string to_xml_string(long value) {
    return to_decimal(value);
}
std::string to_xml_string(int value) {
    return to_decimal(value);
}
std::string to_xml_string(short value) {
    return to_decimal(value);
}
std::string to_xml_string(const signed char& value) {
    return to_decimal(int{value});
}
std::string to_xml_string(unsigned long value) {
    return to_decimal(value);
}
std::string to_xml_string(unsigned int value) {
    return to_decimal(value);
}
std::string to_xml_string(unsigned short value) {
    return to_decimal(value);
}
std::string to_xml_string(const unsigned char& value) {
    return to_decimal(int{value});
}

std::string to_xml_string(const TimePoint& value) {
    return to_iso8601_string(value);
}
std::string to_xml_string(const Duration& value) {
    return to_iso8601_string(value);
}
std::string to_xml_string(const Path& value) {
    return value.as_string();
}
std::string to_xml_string(const AbsolutePath& value) {
    return value.as_string();
}
std::string to_xml_string(const SymbolInfo& value) {
    return to_decimal(value.get_value());
}

template <>
std::string from_xml_string<std::string>(const std::string& text) {
    return text;
}

template <>
TimePoint from_xml_string<TimePoint>(const std::string& text) {
    return date_time_from_iso8601_string(text);
}

template <>
Duration from_xml_string<Duration>(const std::string& text) {
    return duration_from_iso8601_string(text);
}

template <>
signed char from_xml_string<signed char>(const std::string& text) {
    return static_cast<signed char>(extract_number<short>(text));
}

template <>
unsigned char from_xml_string<unsigned char>(const std::string& text) {
    return static_cast<unsigned char>(extract_number<unsigned short>(text));
}

}  // namespace kx::information_model::opc
