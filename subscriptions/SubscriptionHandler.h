#pragma once

#include "subscriptions/Subscription.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>

namespace kx::information_model::opc {

/// The subscriptions of one server, by handle. All operations may be called from any thread.
///
/// Lock order: the tree lock is taken before this object's mutex, never after it. The mutex is held for one
/// operation on the map at a time.
class SubscriptionHandler {
public:
    /// Makes a subscription without items and keeps it under a new handle: the steady clock's nanoseconds in
    /// decimal. One made in the same nanosecond replaces it. It expires one ping rate from now, so one with a
    /// ping rate of 0 or less is gone at the next request.
    std::shared_ptr<Subscription> create(std::chrono::milliseconds ping_rate);

    /// Keeps a subscription under its handle, in place of one that has the same handle.
    void add(std::shared_ptr<Subscription> subscription);

    /// @return null if there is no such subscription
    std::shared_ptr<Subscription> find(const std::string& handle) const;

    /// Forgets a subscription; polls that hold it go on.
    /// @return whether there was one when it looked; a sweep may still have come before the removal
    bool remove(const std::string& handle);

    /// Forgets every subscription whose expiry lies before now. Called for each request with a SOAP body, so
    /// it looks only at subscriptions that may have expired: those whose expiry, when it last looked, lies
    /// before now.
    void remove_expired();

    /// How many subscriptions there are.
    std::size_t get_size() const;

private:
    // The time from which on a subscription may have expired, its `due`, and the subscription.
    using Due = std::pair<std::chrono::steady_clock::time_point, Subscription*>;

    mutable std::mutex mutex_;
    [[maybe_unused]] std::int64_t limit_ = 10;  // kept, without effect
    // Guarded by mutex_:
    std::map<std::string, std::shared_ptr<Subscription>> subscriptions_;
    std::set<Due> due_;  // one for each subscription; never later than its expiry
};

}  // namespace kx::information_model::opc
