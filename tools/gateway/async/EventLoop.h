#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace gateway {

/// The one thread that everything in the gateway runs on, as those parts see it that know no network. What it
/// is given to call is called by that thread, one after the other.
class EventLoop {
public:
    using TimerId = std::uint64_t;

    EventLoop() = default;
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;
    virtual ~EventLoop() = default;

    /// Calls `callback` later, never within this call.
    virtual void post(std::function<void()> callback) = 0;

    /// Calls `callback` after `delay`, unless `cancel` comes first.
    virtual TimerId call_after(std::chrono::milliseconds delay, std::function<void()> callback) = 0;

    /// Forgets a callback. One that was called already is ignored.
    virtual void cancel(TimerId timer) = 0;

    virtual std::chrono::steady_clock::time_point get_time() const = 0;
};

}  // namespace gateway
