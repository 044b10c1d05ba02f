#pragma once

#include "load/Report.h"

namespace kx::benchmarks {

/// What the library is to keep to, beside what `report` found. Rows for which something was not measured
/// (without the peer, or in a short run) have no value.
Section create_goals(const Report& report);

}  // namespace kx::benchmarks
