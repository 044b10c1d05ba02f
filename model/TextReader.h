#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kx::information_model::detail {

/// The fraction of a second that a text gives.
struct Fraction {
    std::int64_t nanoseconds;  ///< cut after the ninth digit
    bool is_zero;              ///< whether all digits are 0, those that were cut as well
};

/// `text` without the white space at its ends that XML knows: blank, tab, line feed, carriage return.
std::string_view trim(std::string_view text) noexcept;

/// Reads a text from left to right, for the parsers of dates and durations. Decimal digits only: no sign, no
/// white space, no locale. Every function leaves the position as it is when it finds nothing.
class TextReader {
public:
    explicit TextReader(std::string_view text) noexcept : rest_(text) {}

    bool is_at_end() const noexcept { return rest_.empty(); }

    /// Takes `character` if it comes next.
    bool skip(char character) noexcept;

    /// Takes the longest run of digits, which may be empty.
    std::string_view take_digits() noexcept;

    /// Takes exactly `count` digits, at most 9, and gives their number.
    std::optional<std::int64_t> take_number(std::size_t count) noexcept;

    /// Takes "." and at least one digit.
    std::optional<Fraction> take_fraction() noexcept;

private:
    std::string_view rest_;
};

/// The number that `digits` stand for; nothing if it does not fit.
/// Requires: digits only
std::optional<std::uint64_t> to_number(std::string_view digits) noexcept;

}  // namespace kx::information_model::detail
