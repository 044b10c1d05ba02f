#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace kx::fuzz {

/// Ends the process, which is how a target reports a finding, unless `condition` holds.
/// @param what    what must hold
/// @param detail  what was seen instead
inline void require(bool condition, std::string_view what, std::string_view detail = "") {
    if (condition) {
        return;
    }
    std::fprintf(stderr, "NOT SO: %.*s\n%.*s\n", static_cast<int>(what.size()), what.data(),
                 static_cast<int>(detail.size()), detail.data());
    std::abort();
}

}  // namespace kx::fuzz
