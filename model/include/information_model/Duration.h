#pragma once

#include <information_model/export.h>

#include <chrono>
#include <compare>
#include <string>

namespace kx::information_model {

/// A signed length of time, counted in nanoseconds in one 64-bit word. A plain value.
class KX_INFORMATION_MODEL_EXPORT Duration {
public:
    /// Zero.
    constexpr Duration() noexcept = default;

    /// Accepts any length that converts to nanoseconds without loss, for example
    /// `Duration(std::chrono::hours(2))`.
    constexpr explicit Duration(std::chrono::nanoseconds length) noexcept : length_(length) {}

    /// The length in nanoseconds.
    constexpr std::chrono::nanoseconds get_nanoseconds() const noexcept { return length_; }

    friend constexpr bool operator==(Duration, Duration) noexcept = default;
    // NOLINTNEXTLINE(modernize-use-nullptr): the default is mistaken for a pointer
    friend constexpr auto operator<=>(Duration, Duration) noexcept = default;

private:
    std::chrono::nanoseconds length_{0};
};

/// Writes a duration as ISO 8601 text, for example "P1DT2H3M4.5S"; "PT0S" for zero, a leading "-" for a
/// negative one. Days are the largest unit. `duration_from_iso8601_string` reads it back unchanged.
KX_INFORMATION_MODEL_EXPORT std::string to_iso8601_string(Duration duration);

/// Reads an `xsd:duration` text.
///
/// An optional "-", "P", then numbers with "Y", "M", "D" and, after a "T", "H", "M", "S": each at most once,
/// in this order, at least one, and at least one after a "T". Only the seconds may have a fraction. A year
/// counts as `std::chrono::years`, a month as `std::chrono::months` (their mean lengths). Fraction digits of
/// the seconds beyond the ninth are cut. White space may stand at both ends.
/// @throws std::invalid_argument  naming the text, if it is malformed or does not fit into 64 bits
KX_INFORMATION_MODEL_EXPORT Duration duration_from_iso8601_string(const std::string& text);

}  // namespace kx::information_model
