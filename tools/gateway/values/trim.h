#pragma once

#include <string_view>

namespace gateway {

/// The text without the white space at its ends that XML knows: blank, tab, line feed, carriage return.
inline std::string_view trim(std::string_view text) {
    constexpr std::string_view BLANKS = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(BLANKS);
    return begin == std::string_view::npos ? ""
                                           : text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1);
}

}  // namespace gateway
