#pragma once

#include "client/ItemFacts.h"
#include "client/Value.h"

#include <string>

namespace xmlda {

/// A value for people, on one line and safe for a terminal: booleans as "true" and "false", arrays as
/// "[a, b]", nil as "(nil)", all else as the server wrote it. A text is put in double quotes, with escapes,
/// where it would be misread without: if it is empty, begins or ends with a blank, begins with a quote or a
/// bracket, holds control characters, or, in an array, a comma, a bracket or a quote.
std::string to_text(const Value& value);

/// The same with what the item's properties say: as many digits behind the point as mean something, the name
/// of a number that has one, and the unit: "21.5 degC", "2 (manual)", "[1.50, 2.50] bar".
std::string to_text(const Value& value, const ItemFacts& facts);

}  // namespace xmlda
