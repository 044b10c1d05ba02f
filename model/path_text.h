#pragma once

#include <string_view>

namespace kx::information_model::detail {

/// Allocates nothing when the text is a path.
/// @throws InvalidPathException  if `text` is not one that a `Path` can be made from
void check_path(std::string_view text);

}  // namespace kx::information_model::detail
