#include "client/text/text.h"

#include <algorithm>

namespace xmlda {

std::string trim(std::string_view text) {
    constexpr const char* BLANKS = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(BLANKS);
    return begin == std::string_view::npos
               ? ""
               : std::string(text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1));
}

std::string to_lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return lower;
}

}  // namespace xmlda
