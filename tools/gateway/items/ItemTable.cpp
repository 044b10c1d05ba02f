#include "gateway/items/ItemTable.h"

#include <vector>

namespace gateway {
namespace {

constexpr char STALE[] = "badLastKnownValue";

}  // namespace

ItemWatch::ItemWatch(ItemTable& table, std::shared_ptr<Item> item) : table_(table), item_(std::move(item)) {
    table_.add_watcher(item_);
}

ItemWatch::~ItemWatch() {
    if (item_) {
        table_.remove_watcher(*item_);
    }
}

std::shared_ptr<Item> ItemTable::get(const std::string& path) {
    if (const auto found = items_.find(path); found != items_.end()) {
        return found->second;
    }
    if (items_.size() >= most_items_ + watched_.size()) {
        drop_unwatched();
    }
    return items_.emplace(path, std::make_shared<Item>(path)).first->second;
}

std::shared_ptr<Item> ItemTable::find(const std::string& path) const {
    const auto found = items_.find(path);
    return found == items_.end() ? nullptr : found->second;
}

void ItemTable::update(Item& item, ItemState state, std::uint64_t read_number) {
    if (read_number < item.read_number) {
        return;
    }
    item.read_number = read_number;
    if (state.differs_from(item.state)) {
        item.change = change_ + 1;
        has_news_ = true;
    }
    item.state = std::move(state);
}

void ItemTable::set_stale() {
    const std::uint64_t read_number = get_read_number();
    for (auto& [path, item] : items_) {
        const ItemState& known = item->state;
        if (known.kind == ItemState::Kind::VARIABLE && known.quality != STALE) {
            ItemState state = known;
            state.quality = STALE;
            update(*item, std::move(state), read_number);
        } else if (known.kind == ItemState::Kind::UNKNOWN && item->change == 0) {
            item->change = change_ + 1;  // watchers are to hear that nothing is known
            has_news_ = true;
        }
        item->is_subscribed = false;
    }
    publish();
}

void ItemTable::publish() {
    if (!has_news_) {
        return;
    }
    has_news_ = false;
    ++change_;
    std::vector<std::weak_ptr<std::function<void()>>> now;  // listeners come and go while they are called
    now.insert(now.end(), listeners_->begin(), listeners_->end());
    for (const auto& listener : now) {
        if (const auto strong = listener.lock()) {
            (*strong)();
        }
    }
}

std::shared_ptr<void> ItemTable::listen(std::function<void()> listener) {
    const auto place =
        listeners_->insert(listeners_->end(), std::make_shared<std::function<void()>>(std::move(listener)));
    return std::shared_ptr<void>(nullptr,
                                 [listeners = listeners_, place](void*) { listeners->erase(place); });
}

void ItemTable::add_watcher(const std::shared_ptr<Item>& item) {
    if (item->watchers++ == 0) {
        watched_.emplace(item.get(), item);
        if (watch_listener_) {
            watch_listener_(item);
        }
    }
}

void ItemTable::remove_watcher(Item& item) {
    if (--item.watchers == 0) {
        item.is_subscribed = false;  // the next subscription at the server will not have it
        watched_.erase(&item);
    }
}

void ItemTable::drop_unwatched() {
    std::erase_if(items_, [](const auto& entry) { return entry.second->watchers == 0; });
}

}  // namespace gateway
