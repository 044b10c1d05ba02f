#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace xmlda {

/// A time of the protocol for people: local, with milliseconds, the date only if it is not today's:
/// "10:11:12.345", "2026-11-20 10:11:12.345". A text that is no time comes back as it is.
std::string to_local_time(const std::string& text);

/// The time in UTC, with all digits that the server sent: "2026-11-21T10:11:12.123456789Z". A text that is no
/// time, or has no zone, comes back as it is.
std::string to_utc(const std::string& text);

/// Reads a time of the protocol as nanoseconds since 1970; nothing if the text is not a time, has no zone, or
/// is before 1678 or after 2261.
std::optional<std::int64_t> to_nanoseconds(const std::string& text);

/// Such a time in UTC, with as many digits behind the point as it has: none, 3, 6 or 9.
std::string from_nanoseconds(std::int64_t time);

/// Reads a time that a person typed, as nanoseconds since 1970: "2026-11-21", "2026-11-21 10:11" and
/// "2026-11-21T10:11:12.5", which are local, and the same with "Z" or "+01:00" behind it. Nothing if it is
/// none, or is before 1678 or after 2261.
std::optional<std::int64_t> parse_time(const std::string& text);

/// The present time in UTC, with milliseconds.
std::string get_present_time();

/// The present time of day, local.
std::string get_clock();

}  // namespace xmlda
