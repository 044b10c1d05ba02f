#include "xmlda/print/JsonWriter.h"

#include "client/text/utf8.h"
#include "client/type_names.h"
#include "xmlda/text/printable.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace xmlda {
namespace {

constexpr std::size_t INDENTATION = 2;
constexpr char REPLACEMENT[] = "\xEF\xBF\xBD";

std::string escape(char32_t character) {
    std::array<char, 8> text;
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned int>(character));
    return text.data();
}

/// @param part  what stands for the character in the text
std::string encode(char32_t character, std::string_view part) {
    switch (character) {
        case U'"':
            return "\\\"";
        case U'\\':
            return "\\\\";
        case U'\n':
            return "\\n";
        case U'\r':
            return "\\r";
        case U'\t':
            return "\\t";
        default:
            return needs_escapes(part) ? escape(character) : std::string(part);
    }
}

std::string quote(std::string_view text) {
    std::string quoted = "\"";
    while (!text.empty()) {
        const std::string_view rest = text;
        const auto character = take_character(text);
        quoted += character ? encode(*character, rest.substr(0, rest.size() - text.size())) : REPLACEMENT;
    }
    return quoted + '"';
}

bool take(std::string_view& text, std::string_view characters) {
    const bool is_there = !text.empty() && characters.find(text.front()) != std::string_view::npos;
    text.remove_prefix(is_there ? 1 : 0);
    return is_there;
}

bool take_digits(std::string_view& text) {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count > 0;
}

bool is_json_number(std::string_view text) {
    take(text, "-");
    if (!take(text, "0") && !take_digits(text)) {
        return false;
    }
    if (take(text, ".") && !take_digits(text)) {
        return false;
    }
    if (take(text, "eE")) {
        take(text, "+-");
        return take_digits(text) && text.empty();
    }
    return text.empty();
}

}  // namespace

JsonWriter& JsonWriter::key(std::string_view name) {
    separate();
    stream_ << quote(name) << (layout_ == Layout::INDENTED ? ": " : ":");
    behind_key_ = true;
    return *this;
}

JsonWriter& JsonWriter::text(std::string_view text) {
    separate();
    stream_ << quote(text);
    return *this;
}

JsonWriter& JsonWriter::boolean(bool value) {
    separate();
    stream_ << (value ? "true" : "false");
    return *this;
}

JsonWriter& JsonWriter::null() {
    separate();
    stream_ << "null";
    return *this;
}

JsonWriter& JsonWriter::value(const Value& value) {
    switch (value.kind) {
        case Value::Kind::NIL:
            return null();
        case Value::Kind::LIST:
            begin_array();
            for (const Value& member : value.members) {
                this->value(member);
            }
            return end_array();
        default:
            write_scalar(value);
            return *this;
    }
}

JsonWriter& JsonWriter::member(std::string_view name, std::string_view text) {
    return text.empty() ? *this : key(name).text(text);
}

JsonWriter& JsonWriter::begin(char bracket) {
    separate();
    stream_ << bracket;
    has_members_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::end(char bracket) {
    const bool had_members = has_members_.back();
    has_members_.pop_back();
    if (had_members) {
        break_line();
    }
    stream_ << bracket;
    return *this;
}

void JsonWriter::write_scalar(const Value& value) {
    const bool is_true = value.text == "1" || value.text == "true";
    const bool is_false = value.text == "0" || value.text == "false";
    if (value.type == "boolean" && (is_true || is_false)) {
        boolean(is_true);
    } else if (is_number_type(value.type) && is_json_number(value.text)) {
        separate();
        stream_ << value.text;
    } else {
        text(value.text);
    }
}

void JsonWriter::separate() {
    if (behind_key_) {
        behind_key_ = false;
        return;
    }
    if (has_members_.empty()) {
        return;
    }
    if (has_members_.back()) {
        stream_ << ',';
    }
    has_members_.back() = true;
    break_line();
}

void JsonWriter::break_line() {
    if (layout_ == Layout::INDENTED) {
        stream_ << '\n' << std::string(has_members_.size() * INDENTATION, ' ');
    }
}

}  // namespace xmlda
