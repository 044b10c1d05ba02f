#pragma once

#include "client/ItemFacts.h"
#include "xmlda/print/item_output.h"
#include "xmlda/soap/Client.h"

#include <optional>
#include <vector>

namespace xmlda {

/// What the items' properties say, by one GetProperties: nothing of an item that the server says nothing
/// about.
/// @return nothing at all if the server does not answer: values can be shown without
std::optional<std::vector<ItemFacts>> query_facts(Client& client, const std::vector<ItemAddress>& addresses);

/// The items of a reply together with what their properties say.
/// @param addresses  of the items
/// @param asks       whether the server is asked; false afterwards if it did not answer
std::vector<std::optional<ShownItem>> add_facts(Client& client, const std::vector<ItemAddress>& addresses,
                                                const std::vector<std::optional<ItemReply>>& items,
                                                bool& asks);

}  // namespace xmlda
