#pragma once

#include <information_model/Domain.h>
#include <information_model/InformationModel.h>
#include <information_model/Item.h>
#include <information_model/Variable.h>

#include <stdexcept>

/// Steps that every service takes when it works on the tree.
namespace kx::information_model::opc {

/// The root, from which items are looked up.
inline Item& get_root_item(InformationModel& model) {
    return dynamic_cast<Item&>(model.get_information_tree());
}

/// Calls `on_domain(const Domain&)` or `on_variable(const Variable&)`, whichever the item is.
/// @throws std::invalid_argument  "Unknown item type" if it is neither
template <class OnDomain, class OnVariable>
void visit_item(const Item& item, OnDomain on_domain, OnVariable on_variable) {
    switch (item.get_item_type()) {
        case ITEM_TYPE::DOMAIN:
            on_domain(static_cast<const Domain&>(item));
            return;
        case ITEM_TYPE::VARIABLE:
            on_variable(static_cast<const Variable&>(item));
            return;
    }
    throw std::invalid_argument("Unknown item type");
}

}  // namespace kx::information_model::opc
