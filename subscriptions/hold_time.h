#pragma once

#include <information_model/TimePoint.h>

#include <ctime>

namespace kx::information_model::opc {

/// The distance between two time points, which may lie at the ends of their range.
/// @param to  not earlier than `from`
timespec get_distance(TimePoint from, TimePoint to) noexcept;

/// Blocks the calling thread until the system clock has reached `hold_time`; returns at once if it has
/// passed. A signal handler that runs meanwhile does not shorten it, and it has no upper bound.
///
/// Requires: no lock held.
void hold_until(TimePoint hold_time);

}  // namespace kx::information_model::opc
