#pragma once

#include "xml/reply/ChildWriter.h"

#include <information_model/Item.h>
#include <information_model/Path.h>

#include <optional>
#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// What an item-value element carries besides the item's name.
struct ItemValueForm {
    /// The item's absolute path, if the caller has it. To make it of the tree takes 3 % of an item of a Read.
    const std::string* item_name = nullptr;
    const std::string* client_item_handle = nullptr;  ///< left out when null
    bool has_timestamp = false;
    bool has_value = true;  ///< of a variable: a domain has none
};

/// Writes the element that reports an item to a client, in the form that all services share: attributes
/// "ItemName" (the item's own absolute path, whatever the client wrote), "ClientItemHandle" and "Timestamp",
/// and a child "Value". The timestamp of a domain, which has none of its own, is the current time.
///
/// Requires: tree lock held.
/// @param writer  of the element's parent
/// @param name    name of the element
/// @param item    a domain or a variable
/// @throws std::invalid_argument, BadValueTypeException  as `write_value_element`
void write_item_value(ChildWriter& writer, std::string_view name, const Item& item,
                      const ItemValueForm& form);

/// Null unless it is absolute: then it is as the item that it leads to has it.
inline const std::string* get_if_absolute(const Path& path) {
    return path.as_string().starts_with('/') ? &path.as_string() : nullptr;
}

/// Null for an empty handle: Read and Write leave those out.
inline const std::string* get_if_not_empty(const std::string& handle) {
    return handle.empty() ? nullptr : &handle;
}

/// Null for an absent handle: the subscription services write an empty one that is there.
inline const std::string* get_if_present(const std::optional<std::string>& handle) {
    return handle ? &*handle : nullptr;
}

}  // namespace kx::information_model::opc
