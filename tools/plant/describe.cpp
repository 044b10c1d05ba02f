#include "describe.h"

#include <algorithm>
#include <cstddef>
#include <variant>

namespace plant {
namespace {

constexpr std::size_t LONGEST_LINE = 200;

bool is_control_character(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
}

}  // namespace

std::string describe(const kx::information_model::Value& value) {
    const auto* const text = std::get_if<std::string>(&value);
    std::string line = text != nullptr ? '"' + *text + '"' : value.to_string();
    if (line.size() > LONGEST_LINE) {
        line.replace(LONGEST_LINE, std::string::npos, "...");
    }
    std::replace_if(line.begin(), line.end(), is_control_character, '?');
    return line;
}

}  // namespace plant
