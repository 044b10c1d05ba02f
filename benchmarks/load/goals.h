#pragma once

#include "load/Report.h"

namespace kx::benchmarks {

/// What the library is to keep to, beside what `report` found. What was not measured (without the peer, or in
/// a short run) is left out.
Section create_goals(const Report& report);

}  // namespace kx::benchmarks
