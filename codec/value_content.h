#pragma once

#include <information_model/Value.h>
#include <information_model/exceptions.h>

#include <variant>

namespace kx::information_model::opc {

/// The content of `value` as a T; the reference is valid as long as the value.
/// @throws BadValueTypeException  if the value holds something else, or nothing
template <class T>
const T& get_content(const Value& value) {
    if (const T* content = std::get_if<T>(&value)) {
        return *content;
    }
    throw BadValueTypeException();
}

}  // namespace kx::information_model::opc
