#include "xmlda/print/value_text.h"

#include "client/type_names.h"
#include "xmlda/text/printable.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace xmlda {
namespace {

constexpr int MOST_DIGITS = 20;  // behind the point

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

/// A number with so many digits behind the point; the text as it is if it is none.
std::string round_number(const std::string& text, int digits) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size() && std::isfinite(number);
    std::array<char, 400> rounded;
    if (!is_number || digits < 0 || digits > MOST_DIGITS) {
        return text;
    }
    const auto written = std::to_chars(rounded.data(), rounded.data() + rounded.size(), number,
                                       std::chars_format::fixed, digits);
    return written.ec == std::errc() ? std::string(rounded.data(), written.ptr) : text;
}

/// Writes values with what is known of their item, or without.
class Writer {
public:
    explicit Writer(const ItemFacts* facts) : facts_(facts) {}

    std::string write(const Value& value) const {
        const std::string text = write(value, "");
        const bool has_unit = facts_ != nullptr && !facts_->unit.empty() && value.kind != Value::Kind::NIL;
        return has_unit ? text + ' ' + to_printable(facts_->unit) : text;
    }

private:
    /// @param separators  characters that have a meaning around the text
    std::string write(const Value& value, const char* separators) const {
        switch (value.kind) {
            case Value::Kind::NIL:
                return "(nil)";
            case Value::Kind::LIST:
                return write_list(value);
            default:
                return write_scalar(value, separators);
        }
    }

    std::string write_list(const Value& value) const {
        std::string text = "[";
        for (const Value& member : value.members) {
            text += (text.size() > 1 ? ", " : "") + write(member, ",[]\"");
        }
        return text + ']';
    }

    std::string write_scalar(const Value& value, const char* separators) const {
        const std::string text = value.type == "boolean" ? to_boolean_word(value.text) : value.text;
        if (facts_ != nullptr && is_number_type(value.type)) {
            return write_number(value, text);
        }
        const bool is_quoted = is_misread(text) || text.find_first_of(separators) != std::string::npos;
        return is_quoted ? to_quoted(text) : text;
    }

    std::string write_number(const Value& value, const std::string& text) const {
        const bool has_digits = value.type == "double" || value.type == "float" || value.type == "decimal";
        if (has_digits && facts_->fractional_digits) {
            return to_printable(round_number(text, *facts_->fractional_digits));
        }
        const std::string* const symbol = facts_->find_symbol(text);
        return to_printable(text) + (symbol == nullptr ? "" : " (" + to_printable(*symbol) + ')');
    }

    const ItemFacts* facts_;
};

}  // namespace

std::string to_text(const Value& value) {
    return Writer(nullptr).write(value);
}

std::string to_text(const Value& value, const ItemFacts& facts) {
    return Writer(&facts).write(value);
}

}  // namespace xmlda
