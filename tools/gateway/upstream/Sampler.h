#pragma once

#include "gateway/async/EventLoop.h"
#include "gateway/async/Task.h"
#include "gateway/async/sleep.h"
#include "gateway/items/ItemTable.h"
#include "gateway/upstream/ServerClient.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace gateway {

/// Whether the server answers, and what it said of itself.
struct ServerCondition {
    bool is_running = false;
    std::string failure = "not asked yet";  ///< why it does not answer
    std::string vendor;
    std::string version;
};

/// Keeps the items that somebody watches up to date: one subscription at the server, polled at an interval;
/// what changed is read again. When the server is away, the values become the last known ones, and when it is
/// back, everything is subscribed and read anew.
class Sampler {
public:
    Sampler(EventLoop& loop, ServerClient& client, ItemTable& table, std::chrono::milliseconds interval);
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    /// Begins. Call once.
    void start();

    /// Ends, and gives the subscription back to the server if it answers.
    Task<> stop();

    const ServerCondition& get_condition() const { return condition_; }
    std::chrono::milliseconds get_interval() const { return interval_; }

    /// Told after each change of the condition.
    void set_listener(std::function<void()> listener) { listener_ = std::move(listener); }

    /// Which of what is known of items is read.
    enum class Scope {
        STATES,  ///< and facts, where an item has none yet
        ALL_FACTS
    };

    /// Reads items from the server and stores what it said.
    /// @return false if the server does not answer: the items keep what they have
    Task<bool> read(std::vector<std::shared_ptr<Item>> items, Scope scope = Scope::STATES);

    /// Whether what is known of an item is what the server said within the interval, so that a client more
    /// that watches it costs the server nothing.
    bool is_up_to_date(const Item& item) const {
        return condition_.is_running && !handle_.empty() && item.is_subscribed && item.watchers > 0;
    }

    /// Does now what would be done after the interval: something was written.
    void hurry() const { wake_.set(true); }

    std::uint64_t get_polls() const { return polls_; }

private:
    void notice(bool answered, const std::string& failure);
    void set_condition(bool is_running, const std::string& failure);
    Task<> run();
    Task<> sample_or_fail();
    Task<> sample();
    Task<> ask_status();
    Task<> subscribe_anew();
    void forget_subscription();
    std::vector<std::shared_ptr<Item>> take_next_in_turn();
    std::vector<std::shared_ptr<Item>> get_all_watched() const;
    std::vector<std::shared_ptr<Item>> get_unsubscribed() const;
    bool needs_new_subscription() const;
    std::vector<std::shared_ptr<Item>> find_items(const std::vector<std::string>& names) const;

    EventLoop& loop_;
    ServerClient& client_;
    ItemTable& table_;
    const std::chrono::milliseconds interval_;
    ServerCondition condition_;
    std::function<void()> listener_;
    bool is_stopping_ = false;
    Completion<bool> has_ended_;
    Completion<bool> wake_;
    std::string handle_;                        // of the subscription, empty if there is none
    std::size_t subscribed_ = 0;                // items in it
    std::vector<std::shared_ptr<Item>> fresh_;  // watched since the last round
    std::vector<std::weak_ptr<Item>> turn_;     // watched, to be read again one after the other
    bool has_more_items_ = false;               // watched ones are not in the subscription
    std::chrono::steady_clock::time_point next_subscribe_;
    std::chrono::steady_clock::time_point next_status_;
    std::uint64_t polls_ = 0;
};

}  // namespace gateway
