#include "gateway/items/ItemTable.h"

#include <algorithm>
#include <vector>

namespace gateway {
namespace {

constexpr char STALE[] = "badLastKnownValue";

std::size_t measure(const xmlda::Value& value) {
    std::size_t size = sizeof value + value.type.size() + value.text.size();
    for (const xmlda::Value& member : value.members) {
        size += measure(member);
    }
    return size;
}

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
    if (items_.size() >= most_items_ + watched_.size() || bytes_ > next_drop_) {
        drop_unwatched();
    }
    auto item = std::make_shared<Item>(path);
    items_.emplace(path, item);
    count_bytes(*item);
    return item;
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
    if (item.counted_bytes > 0) {
        count_bytes(item);
    }
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
    std::erase_if(items_, [this](const auto& entry) {
        Item& item = *entry.second;
        if (item.watchers > 0) {
            return false;
        }
        bytes_ -= std::exchange(item.counted_bytes, 0);  // a request may hold it still
        return true;
    });
    next_drop_ = std::max(most_bytes_, 2 * bytes_);
}

/// The path is kept twice.
void ItemTable::count_bytes(Item& item) {
    bytes_ -= item.counted_bytes;
    item.counted_bytes = sizeof item + 2 * item.path.size() + measure(item.state.value);
    bytes_ += item.counted_bytes;
}

}  // namespace gateway
