#pragma once

#include <string>

namespace kx::benchmarks {

/// The machine and how busy it was when asked, in one line. A busy one makes all figures larger and less
/// steady.
std::string describe_circumstances();

}  // namespace kx::benchmarks
