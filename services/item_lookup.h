#pragma once

#include "services/Diagnostics.h"

#include <information_model/Domain.h>
#include <information_model/InformationModel.h>
#include <information_model/Item.h>
#include <information_model/Path.h>
#include <information_model/Variable.h>

#include <stdexcept>
#include <string_view>

/// Steps that every service takes when it works on the tree.
namespace kx::information_model::opc {

/// The root, from which items are looked up.
inline Item& get_root_item(InformationModel& model) {
    return model.get_root();
}

/// Finds the item at `path`. If there is none, a line of diagnostics says so: `message` and the path.
///
/// Requires: tree lock held, exclusively if the item is to be changed.
/// @param root  `Item`, or `const Item`
/// @return null if there is none
template <class ItemKind>
ItemKind* find_or_report(ItemKind& root, const Path& path, std::string_view message,
                         Diagnostics& diagnostics) {
    ItemKind* const item = root.find_item(path);
    if (item == nullptr) {
        diagnostics.add(message, path.as_string());
    }
    return item;
}

/// Calls `action` with the item as what it is, a `const Domain&` or a `const Variable&`.
/// @throws std::invalid_argument  "Unknown item type" if it is neither
template <class Action>
void visit_item(const Item& item, Action action) {
    switch (item.get_item_type()) {
        case ITEM_TYPE::DOMAIN:
            action(static_cast<const Domain&>(item));
            return;
        case ITEM_TYPE::VARIABLE:
            action(static_cast<const Variable&>(item));
            return;
    }
    throw std::invalid_argument("Unknown item type");
}

}  // namespace kx::information_model::opc
