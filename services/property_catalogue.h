#pragma once

#include <information_model/Domain.h>
#include <information_model/Value.h>
#include <information_model/Variable.h>

#include <span>
#include <string>
#include <variant>

/// The properties that items have, one row each.
namespace kx::information_model::opc {

/// The value of a property: one in the tree, which may be large and is not copied, or one made
/// from the item.
using PropertyValue = std::variant<const Value*, Value>;

/// A property of all items of one kind, which is `Domain` or `Variable`.
///
/// Both functions require the tree lock, and a borrowed value is valid while it is held.
template <class ItemKind>
struct Property {
    std::string name;

    /// Whether the item has the property. One that it lacks is left out, also when asked for by name.
    /// @throws BadValueTypeException  "euInfo" only: if the value of an enumerated variable holds no symbol
    bool (*is_present)(const ItemKind& item);

    /// Requires: `is_present(item)`.
    /// @throws std::invalid_argument  "dataType" only: if the type cannot be served, as `get_xsi_type_name`
    PropertyValue (*get_value)(const ItemKind& item);

    /// The "xsi:type" that clients expect; empty for that of the value.
    std::string type_name = {};
};

/// The properties of domains and of variables, in the order in which they are written.
std::span<const Property<Domain>> get_domain_properties();
std::span<const Property<Variable>> get_variable_properties();

}  // namespace kx::information_model::opc
