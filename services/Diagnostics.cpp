#include "services/Diagnostics.h"

#include "model/standard_error.h"

namespace kx::information_model::opc {

Diagnostics::~Diagnostics() {
    if (!lines_.empty()) {
        detail::write_to_standard_error(lines_);
    }
}

void Diagnostics::add(std::string_view message, std::string_view detail) {
    lines_.append(message).append(detail).append(1, '\n');
}

}  // namespace kx::information_model::opc
