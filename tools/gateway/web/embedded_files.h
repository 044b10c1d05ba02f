#pragma once

#include <string_view>

namespace gateway {

/// A file that is part of the program.
/// @param name  for example "page.js"
/// @return its bytes; empty if there is none of this name
std::string_view get_embedded_file(std::string_view name);

}  // namespace gateway
