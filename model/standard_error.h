#pragma once

#include <chrono>
#include <string_view>

namespace kx::information_model::detail {

/// Writes these bytes to `std::cerr`, on behalf of a thread that must not be lost to it.
///
/// The stream is the host's: its state stays as it is, also when the write fails, and nothing is written
/// while the host has put it into a failed state. Where the stream ends in a pipe or a terminal that takes
/// nothing more, this waits for `patience`, drops what is left, and does not wait again until something can
/// be written. A buffer that the host has put into the stream is called as it is.
void write_to_standard_error(std::string_view text,
                             std::chrono::milliseconds patience = std::chrono::seconds(5)) noexcept;

}  // namespace kx::information_model::detail
