#include "client/ItemMatcher.h"

#include <algorithm>

namespace xmlda {
namespace {

bool is_anonymous(const ItemReply& reply) {
    return reply.handle.value_or("").empty() && reply.name.value_or("").empty();
}

std::optional<std::size_t> look_up(const std::map<std::string, std::size_t>& positions,
                                   const std::string& text) {
    const auto found = positions.find(text);
    return found == positions.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

ItemMatcher::ItemMatcher(const std::vector<ItemAddress>& addresses) : count_(addresses.size()) {
    for (std::size_t i = 0; i < count_; ++i) {
        by_handle_.emplace(to_item_handle(i), i);
        by_name_.emplace(addresses[i].name, i);
    }
}

std::optional<std::size_t> ItemMatcher::find(const ItemReply& reply) const {
    const std::string handle = reply.handle.value_or("");
    return handle.empty() ? look_up(by_name_, reply.name.value_or("")) : look_up(by_handle_, handle);
}

std::vector<std::optional<ItemReply>> ItemMatcher::sort(const std::vector<ItemReply>& replies) const {
    if (replies.size() == count_ && std::all_of(replies.begin(), replies.end(), is_anonymous)) {
        return {replies.begin(), replies.end()};
    }
    std::vector<std::optional<ItemReply>> sorted(count_);
    for (const ItemReply& reply : replies) {
        const auto position = find(reply);
        if (position && !sorted[*position]) {
            sorted[*position] = reply;
        }
    }
    return sorted;
}

}  // namespace xmlda
