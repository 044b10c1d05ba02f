#pragma once

#include <information_model/Variable.h>

#include <utility>

namespace plant {

/// Gives a variable a new content from the plant's own side and stamps the time. Observers are not called:
/// this host registers them to hear of clients alone, whose writes call them all.
/// Requires: exclusive tree lock held; `T` is the alternative of the variable's declared type.
template <class T>
void refresh(kx::information_model::Variable& variable, T content) {
    using namespace kx::information_model;
    variable.set_value(Value(std::move(content)), CALLBACK_RESTRAIN::NO_CALLBACKS, true);
}

/// The content of a variable whose declared type holds a `T`.
/// Requires: tree lock held.
template <class T>
const T& get_content(const kx::information_model::Variable& variable) {
    return std::get<T>(variable.get_value());
}

}  // namespace plant
