#include "client/outgoing_value.h"

#include "client/errors.h"
#include "client/split_list.h"
#include "client/text/text.h"
#include "client/type_names.h"
#include "client/xml/XmlWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <regex>
#include <string_view>

namespace xmlda {
namespace {

constexpr int BYTE_VALUES = 256;

/// @param form  what texts of the type look like; may be empty
UnsuitableText create_misfit(const std::string& type, const std::string& text, const std::string& form) {
    const bool has_vowel = std::string("aeiou").find(type.front()) != std::string::npos && type[1] == 'n';
    return UnsuitableText("'" + text + "' is not a" + (has_vowel ? "n " : " ") + type +
                          (form.empty() ? "" : " (" + form + ')'));
}

/// Reads all of the text as a decimal number; a leading "+" is allowed.
template <class Number>
std::optional<Number> parse_number(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_whole = error == std::errc() && end == text.data() + text.size();
    return is_whole ? std::optional(number) : std::nullopt;
}

template <class Number>
bool is_integer(const std::string& text) {
    return parse_number<Number>(text).has_value();
}

template <class Number>
bool is_floating(const std::string& text) {
    const bool has_digit = text.find_first_of("0123456789") != std::string::npos;  // not "inf", "nan"
    return has_digit && parse_number<Number>(text).has_value();
}

/// Texts of more than a hundred characters match nothing: the standard library's matcher goes down one level
/// of the stack with each.
bool matches(const std::string& text, const char* pattern) {
    return text.size() <= 100 && std::regex_match(text, std::regex(pattern));
}

bool is_special_number(const std::string& text) {
    return text == "INF" || text == "-INF" || text == "NaN";
}

bool is_time(const std::string& text) {
    return matches(text, R"(-?\d{4,}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?(Z|[+-]\d\d:\d\d)?)");
}

bool is_duration(const std::string& text) {
    return matches(text, R"(-?P(?=.)(\d+Y)?(\d+M)?(\d+D)?(T(?=.)(\d+H)?(\d+M)?(\d+(\.\d+)?S)?)?)");
}

struct Check {
    std::string_view type;
    bool (*suits)(const std::string& text);
    const char* form = "";  ///< for messages
};

/// Types that are not here take every text.
const std::array CHECKS = {
    Check{"double",
          [](const std::string& text) { return is_floating<double>(text) || is_special_number(text); }},
    Check{"float",
          [](const std::string& text) { return is_floating<float>(text) || is_special_number(text); }},
    Check{"decimal", [](const std::string& text) { return matches(text, R"([+-]?(\d+(\.\d*)?|\.\d+))"); }},
    Check{"integer", [](const std::string& text) { return matches(text, R"([+-]?\d+)"); }},
    Check{"long", is_integer<std::int64_t>, "-9223372036854775808 to 9223372036854775807"},
    Check{"int", is_integer<std::int32_t>, "-2147483648 to 2147483647"},
    Check{"short", is_integer<std::int16_t>, "-32768 to 32767"},
    Check{"byte", is_integer<std::int8_t>, "-128 to 127"},
    Check{"unsignedLong", is_integer<std::uint64_t>, "0 to 18446744073709551615"},
    Check{"unsignedInt", is_integer<std::uint32_t>, "0 to 4294967295"},
    Check{"unsignedShort", is_integer<std::uint16_t>, "0 to 65535"},
    Check{"unsignedByte", is_integer<std::uint8_t>, "0 to 255"},
    Check{"dateTime", is_time, "2026-11-21T10:11:12Z"},
    Check{"duration", is_duration, "P5D, PT30M"},
};

std::string to_boolean_text(const std::string& text) {
    const std::string word = to_lower(text);
    for (const char* const yes : {"true", "1", "on", "yes"}) {
        if (word == yes) {
            return "1";
        }
    }
    for (const char* const no : {"false", "0", "off", "no"}) {
        if (word == no) {
            return "0";
        }
    }
    throw create_misfit("boolean", text, "true or false");
}

/// The text of a scalar as it is written into a request.
std::string to_scalar_text(const std::string& type, const std::string& typed) {
    if (type == "string") {
        return typed;
    }
    std::string text = trim(typed);
    if (type == "boolean") {
        return to_boolean_text(text);
    }
    for (const Check& check : CHECKS) {
        if (check.type == type && !check.suits(text)) {
            throw create_misfit(type, text, check.form);
        }
    }
    return text;
}

std::string to_member_text(const std::string& type, const std::string& text) {
    const auto number = type == "byte" ? parse_number<int>(text) : std::nullopt;
    const bool is_unsigned_byte =
        number && *number > std::numeric_limits<signed char>::max() && *number < BYTE_VALUES;
    return is_unsigned_byte ? std::to_string(*number - BYTE_VALUES) : to_scalar_text(type, text);
}

void check_characters(const std::vector<std::string>& texts) {
    if (!std::all_of(texts.begin(), texts.end(), is_xml_text)) {
        throw UnsuitableText("the value holds a character that XML cannot carry");
    }
}

std::vector<std::string> to_texts(const std::string& type, const std::string& text) {
    if (!is_array_type(type)) {
        return {to_scalar_text(type, text)};
    }
    std::vector<std::string> members = split_list(text);
    for (std::string& member : members) {
        member = to_member_text(get_member_type(type), member);
    }
    return members;
}

}  // namespace

OutgoingValue parse_outgoing_value(const std::string& type, const std::string& text) {
    if (!is_writable_type(type)) {
        throw UnsuitableText("values of the type '" + type + "' cannot be written from a text");
    }
    OutgoingValue value{type, to_texts(type, text)};
    check_characters(value.texts);
    return value;
}

}  // namespace xmlda
