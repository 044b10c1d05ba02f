#pragma once

#include <string>
#include <string_view>

namespace xmlda {

/// The text in a form that does nothing to a terminal and stays on one line: control characters, characters
/// that change the direction of text, other line separators and bytes that are not UTF-8 are replaced by
/// escapes ("\n", "\t", "\x1b", "\u202e"). All else is unchanged.
std::string to_printable(std::string_view text);

/// The text in double quotes, with escapes as `to_printable` writes them and backslashes before quotes and
/// backslashes.
std::string to_quoted(std::string_view text);

/// Whether `to_printable` would change the text.
bool needs_escapes(std::string_view text);

/// As `to_printable`, but line breaks and tabs stay: for texts of several lines.
std::string to_printable_lines(std::string_view text);

}  // namespace xmlda
