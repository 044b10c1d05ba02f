#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace gateway {

/// A time as XML Schema has it, in UTC with milliseconds: "2026-11-21T10:11:12.345Z".
std::string to_date_time(std::chrono::system_clock::time_point time);

/// Reads a time of XML Schema, with or without a zone; without one it is in UTC.
/// @return nothing if it is none
std::optional<std::chrono::system_clock::time_point> parse_date_time(const std::string& text);

}  // namespace gateway
