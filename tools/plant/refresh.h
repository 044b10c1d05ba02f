#pragma once

#include <information_model/TypedVariable.h>

#include <type_traits>
#include <utility>

namespace plant {

/// Gives a variable a new content from the plant's own side and stamps the time. Observers are not called:
/// this host registers them to hear of clients alone, whose writes call them all.
/// Requires: exclusive tree lock held.
template <class T>
void refresh(const kx::information_model::TypedVariable<T>& variable, std::type_identity_t<T> content) {
    using namespace kx::information_model;
    const auto create_value = [&content] {
        if constexpr (std::is_enum_v<T>) {
            return Value(SymbolInfo(content));
        } else {
            return Value(std::move(content));
        }
    };
    variable.get_variable().set_value(create_value(), CALLBACK_RESTRAIN::NO_CALLBACKS, true);
}

}  // namespace plant
