#pragma once

#include <information_model/Path.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx::information_model::opc {

/// One item of a subscription, as the client asked for it. The item need not exist.
struct SubscriptionItem {
    Path path;
    std::optional<std::string> client_item_handle;
    // These have no effect; kept: clients rely on their being accepted.
    float deadband;
    std::chrono::milliseconds requested_sampling_rate;
    bool enable_buffering;
};

/// One subscription. Shared by the store and by the polls under way, so that it outlives its removal from
/// the store for as long as a poll needs it.
///
/// The request that creates it fills in the items after it is in the store. A poll may come before they are
/// complete, because a handle can be guessed, and is shared by two subscriptions made in the same nanosecond;
/// it then finds no items. The times are written by polls without a lock: two polls of one subscription at
/// once may both report the same changes.
///
/// While it is in the store, its expiry only ever moves to a later time: the store relies on it.
struct Subscription {
    Subscription(std::chrono::milliseconds rate, std::string server_handle,
                 std::chrono::steady_clock::time_point expires_at)
        : ping_rate(rate), handle(std::move(server_handle)), expiry(expires_at) {}

    /// Moves the expiry to one ping rate from now.
    void restart_expiry() {
        const auto restarted = std::chrono::steady_clock::now() + ping_rate;
        auto current = expiry.load();
        while (current < restarted && !expiry.compare_exchange_weak(current, restarted)) {
        }
    }

    const std::chrono::milliseconds ping_rate;                  ///< how long it lives after a poll
    const std::string handle;                                   ///< the key in the store
    std::atomic<std::chrono::steady_clock::time_point> expiry;  ///< swept when this has passed
    /// End of the previous poll; the clock's epoch until the first one.
    std::atomic<std::chrono::system_clock::time_point> last_poll{std::chrono::system_clock::time_point{}};
    std::vector<SubscriptionItem> items;      ///< in request order; constant once they are complete
    std::atomic<bool> items_complete{false};  ///< nobody but the request that creates it reads `items` before
    std::chrono::steady_clock::time_point due;  ///< the store's, see there: guarded by its mutex
};

/// Whether the sweep at `now` forgets the subscription: its expiry has passed, not just been reached.
inline bool is_expired(const Subscription& subscription, std::chrono::steady_clock::time_point now) {
    return subscription.expiry.load() < now;
}

}  // namespace kx::information_model::opc
