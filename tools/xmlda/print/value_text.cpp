#include "xmlda/print/value_text.h"

#include "xmlda/text/printable.h"

#include <string_view>

namespace xmlda {
namespace {

bool is_blank(char character) {
    return character == ' ';
}

bool is_misread(std::string_view text) {
    return text.empty() || is_blank(text.front()) || is_blank(text.back()) || text.starts_with('"') ||
           text.starts_with('[') || needs_escapes(text);
}

std::string to_boolean_word(const std::string& text) {
    if (text == "1") {
        return "true";
    }
    return text == "0" ? "false" : text;
}

/// @param separators  characters that have a meaning around the text
std::string to_scalar_text(const Value& value, const char* separators) {
    const std::string text = value.type == "boolean" ? to_boolean_word(value.text) : value.text;
    const bool is_quoted = is_misread(text) || text.find_first_of(separators) != std::string::npos;
    return is_quoted ? to_quoted(text) : text;
}

std::string to_text(const Value& value, const char* separators);

std::string to_list_text(const Value& value) {
    std::string text = "[";
    for (const Value& member : value.members) {
        text += (text.size() > 1 ? ", " : "") + to_text(member, ",[]\"");
    }
    return text + ']';
}

std::string to_text(const Value& value, const char* separators) {
    switch (value.kind) {
        case Value::Kind::NIL:
            return "(nil)";
        case Value::Kind::LIST:
            return to_list_text(value);
        default:
            return to_scalar_text(value, separators);
    }
}

}  // namespace

std::string to_text(const Value& value) {
    return to_text(value, "");
}

}  // namespace xmlda
