#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kx::information_model::detail {

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

    /// Takes "." and at least one digit, and gives them in nanoseconds, cut after the ninth digit.
    std::optional<std::int64_t> take_fraction() noexcept;

private:
    std::string_view rest_;
};

/// The number that `digits` stand for; nothing if it does not fit.
/// Requires: digits only
std::optional<std::uint64_t> to_number(std::string_view digits) noexcept;

}  // namespace kx::information_model::detail
