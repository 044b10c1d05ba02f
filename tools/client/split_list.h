#pragma once

#include <string>
#include <vector>

namespace xmlda {

/// The members of a list as a person typed it: separated by commas, with or without brackets around it. A
/// member in double quotes is read as in JSON, any other without the blanks around it. A text of nothing but
/// blanks, or nothing but blanks in brackets, has no members.
/// @throws UnsuitableText  a quote that does not end, a malformed escape, or text behind a closing quote
std::vector<std::string> split_list(const std::string& text);

}  // namespace xmlda
