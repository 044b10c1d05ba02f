#pragma once

#include "gateway/items/Item.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

namespace gateway {

class ItemTable;

/// Says that somebody wants to know of changes of an item, for as long as it lives.
class ItemWatch {
public:
    ItemWatch(ItemTable& table, std::shared_ptr<Item> item);
    ItemWatch(ItemWatch&& other) noexcept : table_(other.table_), item_(std::move(other.item_)) {}
    ItemWatch& operator=(ItemWatch&&) = delete;
    ItemWatch(const ItemWatch&) = delete;
    ItemWatch& operator=(const ItemWatch&) = delete;
    ~ItemWatch();

    Item& get() const { return *item_; }
    Item* operator->() const { return item_.get(); }
    const std::shared_ptr<Item>& share() const { return item_; }

private:
    ItemTable& table_;
    std::shared_ptr<Item> item_;
};

/// What the gateway knows of the server's items, and the numbers by which watchers see what is new: a watcher
/// keeps the number of the last change that it has seen of each item.
class ItemTable {
public:
    /// @param most_items  how many that nobody watches are kept
    /// @param most_bytes  how much they may take. More only if those that are watched take half of it
    explicit ItemTable(std::size_t most_items = 100'000, std::size_t most_bytes = std::size_t{64} << 20U)
        : most_items_(most_items), most_bytes_(most_bytes), next_drop_(most_bytes) {}
    ItemTable(const ItemTable&) = delete;
    ItemTable& operator=(const ItemTable&) = delete;

    /// The item of this path, made if there is none.
    std::shared_ptr<Item> get(const std::string& path);
    std::shared_ptr<Item> find(const std::string& path) const;

    /// A number for a request to the server, larger than all before.
    std::uint64_t get_read_number() { return ++last_read_; }

    /// Stores what the server said. Watchers hear of it with the next `publish`.
    /// @param read_number  of the request. Replies may overtake each other: one to an older request than that
    ///                     which the item was read by is ignored
    void update(Item& item, ItemState state, std::uint64_t read_number);

    /// The server is away: the values are the last known ones. Who watches what was never read hears of that,
    /// too.
    void set_stale();

    /// Tells the watchers if something changed since the last time.
    void publish();

    std::uint64_t get_change() const { return change_; }
    std::size_t get_watched() const { return watched_.size(); }
    std::size_t get_size() const { return items_.size(); }

    /// Those that somebody watches.
    const std::unordered_map<Item*, std::shared_ptr<Item>>& get_watched_items() const { return watched_; }

    /// Calls `listener` after changes, until the returned object dies.
    std::shared_ptr<void> listen(std::function<void()> listener);

    /// Calls `listener` when an item is watched that was not.
    void set_watch_listener(std::function<void(const std::shared_ptr<Item>&)> listener) {
        watch_listener_ = std::move(listener);
    }

private:
    friend class ItemWatch;

    using Listeners = std::list<std::shared_ptr<std::function<void()>>>;

    void add_watcher(const std::shared_ptr<Item>& item);
    void remove_watcher(Item& item);
    void drop_unwatched();

    void count_bytes(Item& item);

    const std::size_t most_items_;
    const std::size_t most_bytes_;
    std::size_t next_drop_;  // when the items take more than these bytes
    std::size_t bytes_ = 0;
    std::unordered_map<std::string, std::shared_ptr<Item>> items_;
    std::unordered_map<Item*, std::shared_ptr<Item>> watched_;
    std::uint64_t change_ = 1;
    std::uint64_t last_read_ = 0;
    bool has_news_ = false;
    std::shared_ptr<Listeners> listeners_ = std::make_shared<Listeners>();
    std::function<void(const std::shared_ptr<Item>&)> watch_listener_;
};

}  // namespace gateway
