#pragma once

#include "subscriptions/HoldWatch.h"

#include <information_model/TimePoint.h>

#include <ctime>
#include <string>

namespace kx::information_model::opc {

/// Reads the text of a hold time, an `xsd:dateTime`. One that lies before the earliest time point is that
/// time point: it has passed all the same.
/// @throws std::invalid_argument  if the text is malformed, or names a time after the last time point
TimePoint read_hold_time(const std::string& text);

/// The distance between two time points, which may lie at the ends of their range.
/// @param to  not earlier than `from`
timespec get_distance(TimePoint from, TimePoint to) noexcept;

/// Blocks the calling thread until the system clock has reached `hold_time`; returns at once if it has
/// passed. A signal handler that runs meanwhile does not shorten it, and it has no upper bound.
///
/// Requires: no lock held.
/// @param watch  waits, and may end the hold; null to wait whatever happens
/// @return false if `watch` ended it
bool hold_until(TimePoint hold_time, HoldWatch* watch = nullptr);

}  // namespace kx::information_model::opc
