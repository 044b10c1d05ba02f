#include "codec/text_forms.h"

#include "codec/number_extraction.h"

#include <array>
#include <charconv>
#include <limits>

namespace kx::information_model::opc {

namespace {

template <class T>
std::string to_decimal(T value) {
    std::array<char, std::numeric_limits<T>::digits10 + 3> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
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
