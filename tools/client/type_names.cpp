#include "client/type_names.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace xmlda {
namespace {

constexpr std::string_view ARRAY = "ArrayOf";
constexpr std::array<std::string_view, 13> NUMBER_TYPES = {
    "double",       "float",       "decimal",       "long",         "int",     "short",          "byte",
    "unsignedLong", "unsignedInt", "unsignedShort", "unsignedByte", "integer", "unsignedInteger"};
constexpr std::array<std::string_view, 9> OTHER_TYPES = {
    "boolean", "string", "dateTime", "duration", "date", "time", "QName", "base64Binary", "anyURI"};

template <std::size_t SIZE>
bool contains(const std::array<std::string_view, SIZE>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

char to_upper(char character) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
}

char to_lower(char character) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

}  // namespace

bool is_array_type(const std::string& type) {
    return type.size() > ARRAY.size() && type.starts_with(ARRAY);
}

std::string get_member_type(const std::string& type) {
    std::string member = type.substr(ARRAY.size());
    member.front() = to_lower(member.front());
    return member;
}

std::string to_type_name(const std::string& text) {
    std::string name = text.substr(text.find(':') + 1);  // npos + 1 is 0
    if (name.size() > 2 && name.ends_with("[]")) {
        name.resize(name.size() - 2);
        name.front() = to_upper(name.front());
        name.insert(0, ARRAY);
    }
    return name;
}

std::string to_request_type(const std::string& type) {
    return is_array_type(type) ? type : "xsd:" + type;
}

bool is_writable_type(const std::string& type) {
    const std::string scalar = is_array_type(type) ? get_member_type(type) : type;
    return contains(NUMBER_TYPES, scalar) || contains(OTHER_TYPES, scalar);
}

bool is_number_type(const std::string& type) {
    return contains(NUMBER_TYPES, type);
}

}  // namespace xmlda
