#pragma once

#include <information_model/export.h>

#include <chrono>
#include <string>

namespace kx::information_model {

/// Nanoseconds since the Unix epoch on the system clock, signed, 64 bits: 1677-09-21 to 2262-04-11.
using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

/// Writes a time as ISO 8601 extended UTC text ending in "Z", for example "2026-11-21T10:11:12Z".
///
/// A fraction of 3, 6 or 9 digits follows the seconds if it is not zero: the shortest exact one.
/// Independent of the locale. Every time point can be written; `date_time_from_iso8601_string`
/// reads the text back to the same time point.
KX_INFORMATION_MODEL_EXPORT std::string to_iso8601_string(TimePoint time);

/// Reads an `xsd:dateTime` text.
///
/// @param text  date, "T", time, any number of fraction digits (those beyond the ninth are cut), then
///              "Z", a numeric offset up to 14:00, or nothing, which means UTC; 24:00:00 is the start of
///              the next day. White space may stand at both ends, and nothing else anywhere. A year has at
///              least four digits, and leading zeros only up to the fourth; there is neither a year 0000 nor
///              a leap second.
/// @throws std::invalid_argument  naming the text, if it is malformed or lies outside the range of
///                                `TimePoint`
KX_INFORMATION_MODEL_EXPORT TimePoint date_time_from_iso8601_string(const std::string& text);

}  // namespace kx::information_model
