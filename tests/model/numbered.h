#pragma once

#include <string>

namespace kx::information_model::testing {

/// `text` followed by `number`. Not written with "+", because g++ 12 warns of that without reason when it
/// optimises.
inline std::string numbered(std::string text, int number) {
    text += std::to_string(number);
    return text;
}

}  // namespace kx::information_model::testing
