#pragma once

#include <cstdint>

namespace kx::information_model {

/// The types of value. The numbers are fixed. DECIMAL and ATTACHMENT have no content: they can be declared
/// but not served.
enum class VALUE_TYPE : std::uint32_t {
    BOOLEAN = 1,
    STRING = 2,
    DOUBLE = 3,
    FLOAT = 4,
    DECIMAL = 5,
    LONG = 6,
    INT = 7,
    SHORT = 8,
    BYTE = 9,
    UNSIGNED_LONG = 10,
    UNSIGNED_INT = 11,
    UNSIGNED_SHORT = 12,
    UNSIGNED_BYTE = 13,
    DATE_TIME = 14,
    DURATION = 15,
    PATH = 16,
    ABSOLUTE_PATH = 17,
    ATTACHMENT = 18,
    SYMBOL = 19
};

/// Describes the type of a value: one scalar of a type, or an array of it.
class ValueTypeInfo {
public:
    /// @param type      that of the scalar, or of each member
    /// @param is_array  whether it is an array
    constexpr ValueTypeInfo(VALUE_TYPE type, bool is_array) noexcept : type_(type), is_array_(is_array) {}

    /// The type of the scalar, or of each member.
    constexpr VALUE_TYPE get_type() const noexcept { return type_; }
    /// Whether it is an array.
    constexpr bool is_array() const noexcept { return is_array_; }

    friend constexpr bool operator==(const ValueTypeInfo&, const ValueTypeInfo&) noexcept = default;

private:
    VALUE_TYPE type_;
    bool is_array_;
};

}  // namespace kx::information_model
