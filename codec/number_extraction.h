#pragma once

#include <string_view>

namespace kx::information_model::opc {

/// Reads a number from the start of a text, with exactly the result that `std::istringstream` (libstdc++,
/// classic locale, default flags) leaves in its variable after `>>`, without the cost of a stream.
///
/// White space is skipped first (space, \\t, \\n, \\v, \\f, \\r), one sign is allowed, and reading stops at
/// the first character that cannot continue the number; what follows is ignored.
/// - No number, the empty text included, is 0 (false).
/// - An integer out of range is the limit of its type; to an unsigned type a negative number wraps if its
///   magnitude fits, and is the maximum otherwise.
/// - A bool is a number: 0 is false, anything else true, words are not numbers.
/// - A floating-point number out of range is the largest finite one of its sign.
/// - One that is too small is 0 of its sign.
/// - One that ends inside its exponent ("1e", "1e+") is 0.
/// - Hexadecimal, infinities and NaN are not read.
///
/// Never throws, except for lack of memory. T is bool, short, int, long, unsigned short, unsigned int,
/// unsigned long, float or double.
template <class T>
T extract_number(std::string_view text);

}  // namespace kx::information_model::opc
