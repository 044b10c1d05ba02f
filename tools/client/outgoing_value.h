#pragma once

#include "client/requests.h"

#include <string>

namespace xmlda {

/// Makes a value from what a person typed.
///
/// A scalar string is taken as it stands. Booleans may be typed as true/false, on/off, yes/no or 1/0 and are
/// written as "1" or "0", the one form that every server reads. Numbers are checked against the type's
/// range, times and durations for their shape. A byte in an array may also be typed as 128 to 255: it is
/// written as the negative number with the same bits. How an array is typed is `split_list`'s matter.
/// @param type  as `to_type_name` gives it
/// @throws UnsuitableText  the text does not suit the type, or XML cannot carry it; the message names both
OutgoingValue parse_outgoing_value(const std::string& type, const std::string& text);

}  // namespace xmlda
