#include "xmlda/commands/facts.h"

namespace xmlda {

std::optional<std::vector<ItemFacts>> query_facts(Client& client, const std::vector<ItemAddress>& addresses) {
    std::vector<ItemFacts> facts(addresses.size());
    if (addresses.empty()) {
        return facts;
    }
    try {
        const PropertiesReply reply =
            client.call(create_properties_request(addresses, get_fact_names()), parse_properties_reply);
        const auto sorted = sort_properties(addresses, reply.items);
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            if (sorted[i] != nullptr) {
                facts[i] = to_facts(*sorted[i]);
            }
        }
        return facts;
    } catch (const Failure&) {
        return std::nullopt;
    }
}

std::vector<std::optional<ShownItem>> add_facts(Client& client, const std::vector<ItemAddress>& addresses,
                                                const std::vector<std::optional<ItemReply>>& items,
                                                bool& asks) {
    std::vector<std::size_t> present;
    std::vector<ItemAddress> asked;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i] && !items[i]->has_error()) {
            present.push_back(i);
            asked.push_back(addresses[i]);
        }
    }
    const auto facts = asks ? query_facts(client, asked) : std::nullopt;
    asks = facts.has_value();
    std::vector<std::optional<ShownItem>> shown(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i]) {
            shown[i].emplace(ShownItem{*items[i], {}});
        }
    }
    for (std::size_t i = 0; facts && i < present.size(); ++i) {
        shown[present[i]]->facts = (*facts)[i];
    }
    return shown;
}

}  // namespace xmlda
