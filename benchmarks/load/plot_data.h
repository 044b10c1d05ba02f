#pragma once

#include "load/Report.h"

namespace kx::benchmarks {

/// A line for each Read of `report`'s services: number of items, then microseconds an item of ours, the floor
/// and the peer; "?" for what was not measured.
std::string create_plot_data(const Report& report);

}  // namespace kx::benchmarks
