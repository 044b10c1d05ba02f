#pragma once

/// How text on a terminal stands out. What begins with one of these ends with PLAIN.
namespace xmlda::style {

inline constexpr char BOLD[] = "\x1b[1m";
inline constexpr char UNDERLINED[] = "\x1b[4m";
inline constexpr char CHANGED[] = "\x1b[1;36m";  ///< changed since the last look
inline constexpr char BAD[] = "\x1b[31m";        ///< not to be relied on
inline constexpr char UNCERTAIN[] = "\x1b[33m";  ///< to be relied on with care
inline constexpr char PLAIN[] = "\x1b[0m";

}  // namespace xmlda::style
