#pragma once

#include "client/Value.h"

#include <string>

namespace gateway {

/// What becomes of a fraction where an integer is wanted.
enum class Fractions {
    ROUNDED,  ///< for what is read
    REFUSED   ///< for what is written: a setpoint is not changed silently
};

struct ConvertedValue {
    std::string code;    ///< empty, "E_BADTYPE" or "E_RANGE"
    xmlda::Value value;  ///< if `code` is empty
};

/// Makes a value of another type: numbers, booleans and texts become each other where the text or the range
/// allows it, arrays member by member. A value without a type is read as the type that is wanted.
/// @param type  without prefix, "double" or "ArrayOfDouble"
ConvertedValue convert_value(const xmlda::Value& value, const std::string& type, Fractions fractions);

}  // namespace gateway
