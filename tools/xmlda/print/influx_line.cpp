#include "xmlda/print/influx_line.h"

#include "client/type_names.h"
#include "xmlda/print/clock_text.h"
#include "xmlda/text/numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace xmlda {
namespace {

/// Line breaks would end the line, so they are written as letters.
constexpr std::array<std::pair<char, char>, 4> BREAKS = {
    {{'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}, {'\f', 'f'}}};

/// @param special  what gets a backslash in front
std::string escape(std::string_view text, std::string_view special) {
    std::string escaped;
    for (const char character : text) {
        const auto* const found = std::find_if(BREAKS.begin(), BREAKS.end(),
                                               [=](const auto& pair) { return pair.first == character; });
        if (found != BREAKS.end()) {
            escaped += {'\\', found->second};
            continue;
        }
        if (special.find(character) != std::string_view::npos) {
            escaped += '\\';
        }
        escaped += character;
    }
    return escaped;
}

/// A measurement, or the value of a tag. A backslash stands for itself there, but for one at the end, which
/// would take the meaning from what follows and cannot be written.
std::string to_name(std::string_view text, std::string_view special) {
    return escape(text.substr(0, text.find_last_not_of('\\') + 1), special);
}

std::string to_field_text(std::string_view text) {
    return '"' + escape(text, "\"\\") + '"';
}

bool is_fraction_type(const std::string& type) {
    return type == "double" || type == "float" || type == "decimal";
}

/// Whether digits are on both sides of the point, if there is one.
bool has_whole_point(std::string_view digits) {
    constexpr std::string_view DIGITS = "0123456789";
    const std::size_t point = digits.find('.');
    return point == std::string_view::npos ||
           (point > 0 && DIGITS.find(digits[point - 1]) != std::string_view::npos &&
            point + 1 < digits.size() && DIGITS.find(digits[point + 1]) != std::string_view::npos);
}

/// The field with a fraction: the digits that the server sent, in a form that all readers take.
std::string get_fraction_field(const std::string& text) {
    const auto number = parse_number<double>(text);
    if (!number || !std::isfinite(*number)) {
        return "";
    }
    const std::string_view digits = without_plus(text);
    if (has_whole_point(digits)) {
        return std::string("value=").append(digits);
    }
    return "value=" + to_shortest_text(*number);
}

/// The field that holds a scalar; empty if it cannot be written.
std::string get_value_field(const Value& value) {
    if (value.kind != Value::Kind::SCALAR) {
        return "";
    }
    if (is_fraction_type(value.type)) {
        return get_fraction_field(value.text);
    }
    if (is_number_type(value.type)) {
        if (const auto integer = parse_number<std::int64_t>(value.text)) {
            return "value_integer=" + std::to_string(*integer) + 'i';
        }
    }
    const bool is_true = value.text == "1" || value.text == "true";
    const bool is_false = value.text == "0" || value.text == "false";
    if (value.type == "boolean" && (is_true || is_false)) {
        return std::string("value_boolean=") + (is_true ? "true" : "false");
    }
    return "value_text=" + to_field_text(value.text);
}

/// Collects fields with commas between them.
void add_field(std::string& fields, const std::string& field) {
    if (!field.empty()) {
        fields += (fields.empty() ? "" : ",") + field;
    }
}

std::string get_fields(const Value* value, const ShownItem& item) {
    std::string fields;
    if (value != nullptr) {
        add_field(fields, get_value_field(*value));
        if (const std::string* const symbol = item.facts.find_symbol(value->text)) {
            add_field(fields, "symbol=" + to_field_text(*symbol));
        }
    }
    if (const auto quality = item.get_quality()) {
        add_field(fields, "quality=" + to_field_text(quality->to_text()));
    }
    if (item.reply.result) {
        add_field(fields, "result=" + to_field_text(item.reply.result->code));
    }
    return fields;
}

}  // namespace

void write_influx_lines(std::ostream& stream, const std::string& measurement, const ItemAddress& address,
                        const ShownItem& item) {
    const auto add_tag = [](std::string& tags, const char* name, const std::string& text) {
        const std::string value = to_name(text, ",= ");
        tags += value.empty() ? "" : ',' + std::string(name) + '=' + value;
    };
    std::string tags;
    add_tag(tags, "item", address.name);
    add_tag(tags, "item_path", address.path);
    add_tag(tags, "unit", item.facts.unit);

    const auto time = to_nanoseconds(item.reply.timestamp.value_or(""));
    const auto write_line = [&](const std::string& index, const Value* value) {
        const std::string fields = get_fields(value, item);
        if (!fields.empty()) {
            stream << to_name(measurement, ", ") << index << tags << ' ' << fields;
            stream << (time ? ' ' + std::to_string(*time) : "") << '\n';
        }
    };
    const Value* const value = item.reply.value ? &*item.reply.value : nullptr;
    if (value == nullptr || value->kind != Value::Kind::LIST) {
        write_line("", value);
        return;
    }
    for (std::size_t i = 0; i < value->members.size(); ++i) {
        write_line(",index=" + std::to_string(i), &value->members[i]);
    }
}

}  // namespace xmlda
