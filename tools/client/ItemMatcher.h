#pragma once

#include "client/replies.h"
#include "client/requests.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace xmlda {

/// Finds out which of the items that were asked for an item of a reply is: servers may answer in another
/// order, leave items out, and name them otherwise than the request did.
class ItemMatcher {
public:
    explicit ItemMatcher(const std::vector<ItemAddress>& addresses);

    /// The position in the request: by the client item handle, or by the name where a server gives no handle.
    std::optional<std::size_t> find(const ItemReply& reply) const;

    /// For each item of the request the first item of the reply that is it. Where a server identifies none
    /// of them, but gives as many as it was asked for, they are taken in order.
    std::vector<std::optional<ItemReply>> sort(const std::vector<ItemReply>& replies) const;

private:
    std::size_t count_;
    std::map<std::string, std::size_t> by_handle_;
    std::map<std::string, std::size_t> by_name_;  // of the items with the same name the first
};

}  // namespace xmlda
