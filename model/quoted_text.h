#pragma once

#include <string>
#include <string_view>

namespace kx::information_model::detail {

/// `text` between double quotes, for a message of one line: control characters become "\xNN", and a text of
/// more than 256 bytes is cut and ends in "...".
std::string quoted_text(std::string_view text);

}  // namespace kx::information_model::detail
