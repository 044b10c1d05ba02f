#pragma once

#include <information_model/Value.h>

#include <string>

namespace plant {

/// A value as one short line for people: texts in quotes, symbols by name, arrays in brackets. Long ones
/// are cut, and control characters, which a client could send to play with a terminal, become "?".
std::string describe(const kx::information_model::Value& value);

}  // namespace plant
