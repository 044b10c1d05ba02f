#include "gateway/values/convert_value.h"

#include "client/type_names.h"
#include "client/xml/schema_texts.h"
#include "gateway/values/trim.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <regex>
#include <string_view>

namespace gateway {
namespace {

using xmlda::Value;

constexpr char BAD_TYPE[] = "E_BADTYPE";
constexpr char OUT_OF_RANGE[] = "E_RANGE";

struct IntegerType {
    std::string_view name;
    std::int64_t least;
    std::uint64_t most;
};

template <class T>
constexpr IntegerType describe(std::string_view name) {
    return {name, static_cast<std::int64_t>(std::numeric_limits<T>::min()),
            static_cast<std::uint64_t>(std::numeric_limits<T>::max())};
}

constexpr std::array INTEGER_TYPES = {
    describe<std::int8_t>("byte"),          describe<std::int16_t>("short"),
    describe<std::int32_t>("int"),          describe<std::int64_t>("long"),
    describe<std::uint8_t>("unsignedByte"), describe<std::uint16_t>("unsignedShort"),
    describe<std::uint32_t>("unsignedInt"), describe<std::uint64_t>("unsignedLong")};

const IntegerType* find_integer_type(std::string_view name) {
    const auto found = std::find_if(INTEGER_TYPES.begin(), INTEGER_TYPES.end(),
                                    [name](const IntegerType& type) { return type.name == name; });
    return found == INTEGER_TYPES.end() ? nullptr : &*found;
}

std::optional<double> parse_double(std::string_view text) {
    if (text == "INF" || text == "-INF") {
        return text == "INF" ? HUGE_VAL : -HUGE_VAL;
    }
    if (text == "NaN") {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    if (text.find_first_of("0123456789") == std::string_view::npos) {
        return std::nullopt;
    }
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        // Either too large or too close to zero; an exponent tells which.
        return text.find("e-") != std::string_view::npos || text.find("E-") != std::string_view::npos
                   ? 0
                   : HUGE_VAL;
    }
    return number;
}

ConvertedValue fail(const char* code) {
    ConvertedValue result;
    result.code = code;
    return result;
}

ConvertedValue succeed(const std::string& type, std::string text) {
    ConvertedValue result;
    result.value.type = type;
    result.value.text = std::move(text);
    return result;
}

std::optional<bool> parse_boolean(std::string_view text) {
    if (text == "true" || text == "1") {
        return true;
    }
    if (text == "false" || text == "0") {
        return false;
    }
    return std::nullopt;
}

/// All of a text as a whole number, if it is written as one.
ConvertedValue convert_digits(std::string_view text, const IntegerType& type) {
    const std::string name(type.name);
    const bool is_negative = text.starts_with('-');
    std::string_view digits = text.substr(is_negative || text.starts_with('+') ? 1 : 0);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return fail(BAD_TYPE);
    }
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const std::uint64_t most =
        is_negative ? std::uint64_t{0} - static_cast<std::uint64_t>(type.least) : type.most;
    if (error != std::errc() || number > most) {
        return fail(OUT_OF_RANGE);
    }
    return succeed(name, (is_negative && number > 0 ? "-" : "") + std::to_string(number));
}

ConvertedValue convert_to_integer(std::string_view text, const IntegerType& type, Fractions fractions) {
    ConvertedValue exact = convert_digits(text, type);
    if (exact.code != BAD_TYPE) {
        return exact;
    }
    const std::optional<double> number = parse_double(text);
    if (!number) {
        return fail(BAD_TYPE);
    }
    const double rounded = std::nearbyint(*number);
    if (std::isnan(*number) ||
        (fractions == Fractions::REFUSED && rounded != *number && !std::isinf(*number))) {
        return fail(BAD_TYPE);
    }
    constexpr double MOST_EXACT = 9007199254740992.0;  // beyond, a double is no longer exact
    if (std::abs(rounded) > MOST_EXACT) {
        return fail(OUT_OF_RANGE);
    }
    return convert_digits(std::to_string(static_cast<std::int64_t>(rounded)), type);
}

std::string write_without_exponent(double number) {
    std::array<char, 400> text{};  // the least number has some 330 characters
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return std::string(text.data(), end);
}

ConvertedValue convert_to_decimal(std::string_view text) {
    const std::optional<double> number = parse_double(text);
    if (!number || std::isnan(*number)) {
        return fail(BAD_TYPE);
    }
    if (std::isinf(*number)) {
        return fail(OUT_OF_RANGE);
    }
    const bool has_exponent = text.find_first_of("eE") != std::string_view::npos;
    return succeed("decimal", has_exponent ? write_without_exponent(*number) : std::string(text));
}

ConvertedValue convert_to_floating(std::string_view text, const std::string& type) {
    const std::optional<double> number = parse_double(text);
    if (!number) {
        return fail(BAD_TYPE);
    }
    const bool is_special = text == "INF" || text == "-INF" || text == "NaN";
    const bool is_too_large =
        std::isinf(*number) || (type == "float" && std::abs(*number) > std::numeric_limits<float>::max());
    return is_too_large && !is_special ? fail(OUT_OF_RANGE) : succeed(type, std::string(text));
}

/// Texts of more than a hundred characters match nothing: the standard library's matcher goes down one level
/// of the stack with each.
bool matches(const std::string& text, const char* pattern) {
    return text.size() <= 100 && std::regex_match(text, std::regex(pattern));
}

bool is_time(const std::string& text) {
    return matches(text, R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?(Z|[+-]\d\d:\d\d)?)");
}

bool is_duration(const std::string& text) {
    return matches(text, R"(-?P(?=.)(\d+Y)?(\d+M)?(\d+D)?(T(?=.)(\d+H)?(\d+M)?(\d+(\.\d+)?S)?)?)");
}

ConvertedValue convert_to_boolean(std::string_view text) {
    if (const std::optional<bool> flag = parse_boolean(text)) {
        return succeed("boolean", *flag ? "true" : "false");
    }
    const std::optional<double> number = parse_double(text);
    return number && !std::isnan(*number) ? succeed("boolean", *number != 0 ? "true" : "false")
                                          : fail(BAD_TYPE);
}

ConvertedValue convert_text(const Value& value, const std::string& type, Fractions fractions) {
    std::string_view text = trim(value.text);
    if (type == "boolean") {
        return convert_to_boolean(text);
    }
    if (xmlda::is_number_type(type)) {
        if (value.type == "boolean") {
            text = parse_boolean(text).value_or(false) ? "1" : "0";
        }
        if (const IntegerType* const integer = find_integer_type(type)) {
            return convert_to_integer(text, *integer, fractions);
        }
        if (type == "decimal") {
            return convert_to_decimal(text);
        }
        return type == "double" || type == "float" ? convert_to_floating(text, type) : fail(BAD_TYPE);
    }
    const bool is_suitable = (type == "dateTime" && is_time(std::string(text))) ||
                             (type == "duration" && is_duration(std::string(text)));
    const bool may_be = value.type.empty() || value.type == "string" || value.type == type;
    return is_suitable && may_be ? succeed(type, std::string(text)) : fail(BAD_TYPE);
}

ConvertedValue convert_scalar(const Value& value, const std::string& type, Fractions fractions) {
    if (type == "string") {
        return succeed(type, value.text);
    }
    ConvertedValue result = convert_text(value, type, fractions);
    const bool is_valid = !result.code.empty() || xmlda::is_of_type(result.value.text, type);
    return is_valid ? result : fail(BAD_TYPE);
}

int get_base64_digit(char character) {
    constexpr std::string_view DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t digit = DIGITS.find(character);
    return digit == std::string_view::npos ? -1 : static_cast<int>(digit);
}

/// The bytes as an array of signed numbers, which is how the server has them.
ConvertedValue decode_base64(std::string_view text) {
    ConvertedValue result;
    result.value.kind = Value::Kind::LIST;
    result.value.type = "ArrayOfByte";
    unsigned bits = 0;
    int count = 0;
    bool has_ended = false;
    for (const char character : text) {
        const int digit = get_base64_digit(character);
        if (character == '=') {
            has_ended = true;
        } else if (digit >= 0 && !has_ended) {
            bits = (bits << 6U | static_cast<unsigned>(digit)) & 0xFFFFFFU;
            count += 6;
            if (count >= 8) {
                count -= 8;
                Value member;
                member.type = "byte";
                const auto byte = static_cast<unsigned char>(bits >> static_cast<unsigned>(count));
                member.text = std::to_string(static_cast<int>(static_cast<signed char>(byte)));
                result.value.members.push_back(std::move(member));
            }
        } else if (std::string_view(" \t\r\n").find(character) == std::string_view::npos) {
            return fail(BAD_TYPE);
        }
    }
    return result;
}

/// Bytes of an array may be written as 128 to 255: the negative number with the same bits is sent.
ConvertedValue convert_byte(const Value& member, Fractions fractions) {
    ConvertedValue result = convert_scalar(member, "byte", fractions);
    if (result.code == OUT_OF_RANGE) {
        result = convert_scalar(member, "unsignedByte", fractions);
        if (result.code.empty()) {
            result.value.type = "byte";
            result.value.text = std::to_string(std::stoi(result.value.text) - 256);
        }
    }
    return result;
}

ConvertedValue convert_array(const Value& value, const std::string& type, Fractions fractions) {
    if (value.kind == Value::Kind::SCALAR) {
        const bool is_empty = value.type.empty() && trim(value.text).empty();
        if (is_empty) {
            ConvertedValue result;
            result.value.kind = Value::Kind::LIST;
            result.value.type = type;
            return result;
        }
        return value.type == "base64Binary" && type == "ArrayOfByte" ? decode_base64(value.text)
                                                                     : fail(BAD_TYPE);
    }
    const std::string member_type = xmlda::get_member_type(type);
    ConvertedValue result;
    result.value.kind = Value::Kind::LIST;
    result.value.type = type;
    for (const Value& member : value.members) {
        if (member.kind != Value::Kind::SCALAR) {
            return fail(BAD_TYPE);
        }
        ConvertedValue converted = member_type == "byte" ? convert_byte(member, fractions)
                                                         : convert_scalar(member, member_type, fractions);
        if (!converted.code.empty()) {
            return converted;
        }
        result.value.members.push_back(std::move(converted.value));
    }
    return result;
}

}  // namespace

ConvertedValue convert_value(const Value& value, const std::string& type, Fractions fractions) {
    if (value.kind == Value::Kind::NIL) {
        return fail(BAD_TYPE);
    }
    if (type == "ArrayOfAnyType" && value.kind == Value::Kind::LIST) {
        ConvertedValue result;
        result.value = value;
        result.value.type = type;
        return result;
    }
    if (xmlda::is_array_type(type)) {
        return convert_array(value, type, fractions);
    }
    return value.kind == Value::Kind::LIST ? fail(BAD_TYPE) : convert_scalar(value, type, fractions);
}

}  // namespace gateway
