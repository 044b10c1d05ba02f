#pragma once

#include <information_model/Value.h>
#include <information_model/Variable.h>
#include <information_model/export.h>

namespace kx::information_model {

// Guards for `VariableOptions::accept` and `Variable::set_guard` that go by the variable's own range:
// numbers, times and durations, and each member of an array of them. Other types, and limits that are absent
// or of another type than the value, do not restrict anything.

/// Changes a value outside the range to the nearer limit, and refuses a NaN.
KX_INFORMATION_MODEL_EXPORT bool clamp_to_range(const Variable& variable, Value& value);

/// Refuses a value outside the range, and a NaN.
KX_INFORMATION_MODEL_EXPORT bool refuse_outside_range(const Variable& variable, Value& value);

}  // namespace kx::information_model
