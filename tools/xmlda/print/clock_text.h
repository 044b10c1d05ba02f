#pragma once

#include <string>

namespace xmlda {

/// A time of the protocol for people: local, with milliseconds, the date only if it is not today's:
/// "10:11:12.345", "2026-11-20 10:11:12.345". A text that is no time comes back as it is.
std::string to_local_time(const std::string& text);

/// The time in UTC, with all digits that the server sent: "2026-11-21T10:11:12.123456789Z". A text that is no
/// time, or has no zone, comes back as it is.
std::string to_utc(const std::string& text);

/// The present time of day, local.
std::string get_clock();

}  // namespace xmlda
