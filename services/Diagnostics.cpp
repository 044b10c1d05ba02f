#include "services/Diagnostics.h"

#include <exception>
#include <iostream>

namespace kx::information_model::opc {

Diagnostics::~Diagnostics() {
    if (lines_.empty()) {
        return;
    }
    try {
        std::cerr << lines_ << std::flush;
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): there is no other place to report to
    }
}

void Diagnostics::add(std::string_view message, std::string_view detail) {
    lines_.append(message).append(detail).append(1, '\n');
}

}  // namespace kx::information_model::opc
