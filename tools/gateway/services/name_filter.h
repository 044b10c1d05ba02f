#pragma once

#include <string_view>

namespace gateway {

/// Whether a name suits a pattern: "*" stands for any characters, "?" for one, "#" for a digit, "[a-f]" for
/// one of them and "[!a-f]" for any other. Upper and lower case differ. An empty pattern suits everything.
bool matches_filter(std::string_view name, std::string_view pattern);

}  // namespace gateway
