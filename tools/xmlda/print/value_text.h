#pragma once

#include "client/Value.h"

#include <string>

namespace xmlda {

/// A value for people, on one line and safe for a terminal: booleans as "true" and "false", arrays as
/// "[a, b]", nil as "(nil)", all else as the server wrote it. A text is put in double quotes, with escapes,
/// where it would be misread without: if it is empty, begins or ends with a blank, begins with a quote or a
/// bracket, holds control characters, or, in an array, a comma, a bracket or a quote.
std::string to_text(const Value& value);

}  // namespace xmlda
