#pragma once

#include <information_model/Value.h>
#include <information_model/ValueTypeInfo.h>

#include <optional>
#include <string>
#include <string_view>

namespace kx::information_model::detail {

/// "DOUBLE", "array of DOUBLE"; "type 42" for a number that is no type.
std::string get_type_name(ValueTypeInfo type);

/// Whether the content is of the kind that the descriptor names. DECIMAL and ATTACHMENT, which have no
/// content, and unknown types name none, so that any content will do.
bool is_consistent(const Value& value) noexcept;

/// "an INT", or what else there is to be said of a value's type, for a message.
std::string describe_type(const Value& value);

/// @param name      what the limit is: "delta"
/// @param limit     what is checked; an absent one is right
/// @param variable  whose limit it is, for the message
/// @param type      that of the variable, or of its members
/// @throws BadValueTypeException  if the limit is not a scalar of the type
void check_limit(std::string_view name, const std::optional<Value>& limit, std::string_view variable,
                 VALUE_TYPE type);

}  // namespace kx::information_model::detail
