#include "model/value_types.h"

#include <information_model/exceptions.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace kx::information_model::detail {

namespace {

constexpr std::size_t NO_INDEX = std::variant_npos;

/// What belongs to a type: its name, and the places of its scalar and of its array among the alternatives.
struct Row {
    std::string_view name;
    std::size_t scalar = NO_INDEX;
    std::size_t array = NO_INDEX;
};

template <class T>
constexpr std::size_t get_index() noexcept {
    return []<std::size_t... INDEX>(std::index_sequence<INDEX...>) {
        return ((std::is_same_v<std::variant_alternative_t<INDEX, ValueContent>, T> ? INDEX : 0) + ...);
    }
    (std::make_index_sequence<std::variant_size_v<ValueContent>>());
}

template <class T>
constexpr Row make_row(std::string_view name) noexcept {
    return {name, get_index<T>(), get_index<std::vector<T>>()};
}

/// By the numbers of the types, which begin with 1.
constexpr std::array<Row, 20> ROWS = {
    Row{""},
    make_row<bool>("BOOLEAN"),
    make_row<std::string>("STRING"),
    make_row<double>("DOUBLE"),
    make_row<float>("FLOAT"),
    Row{"DECIMAL"},
    make_row<long>("LONG"),
    make_row<int>("INT"),
    make_row<short>("SHORT"),
    make_row<signed char>("BYTE"),
    make_row<unsigned long>("UNSIGNED_LONG"),
    make_row<unsigned int>("UNSIGNED_INT"),
    make_row<unsigned short>("UNSIGNED_SHORT"),
    make_row<unsigned char>("UNSIGNED_BYTE"),
    make_row<TimePoint>("DATE_TIME"),
    make_row<Duration>("DURATION"),
    make_row<Path>("PATH"),
    make_row<AbsolutePath>("ABSOLUTE_PATH"),
    Row{"ATTACHMENT"},
    make_row<SymbolInfo>("SYMBOL"),
};

std::size_t get_number(ValueTypeInfo type) noexcept {
    const auto number = static_cast<std::size_t>(type.get_type());
    return number < ROWS.size() ? number : 0;
}

}  // namespace

std::string get_type_name(ValueTypeInfo type) {
    std::string name = type.is_array() ? "array of " : "";
    const std::size_t number = get_number(type);
    if (number == 0) {
        return name += "type " + std::to_string(static_cast<std::uint32_t>(type.get_type()));
    }
    return name += ROWS[number].name;
}

bool is_consistent(const Value& value) noexcept {
    const ValueTypeInfo type = value.get_type_info();
    const Row& row = ROWS[get_number(type)];
    const std::size_t index = type.is_array() ? row.array : row.scalar;
    return index == NO_INDEX || index == value.index();
}

std::string describe_type(const Value& value) {
    std::string text = get_type_name(value.get_type_info());
    if (!is_consistent(value)) {
        text += " by its descriptor and not by its content";
    }
    return text;
}

void check_limit(std::string_view name, const std::optional<Value>& limit, std::string_view variable,
                 VALUE_TYPE type) {
    const ValueTypeInfo expected(type, false);
    if (!limit || (limit->get_type_info() == expected && is_consistent(*limit))) {
        return;
    }
    std::string details(name);
    ((details += " of ") += variable) += " must be ";
    details += get_type_name(expected) + ", but is " + describe_type(*limit);
    throw BadValueTypeException(std::move(details));
}

}  // namespace kx::information_model::detail
