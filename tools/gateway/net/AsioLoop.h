#pragma once

#include "gateway/async/EventLoop.h"

#include <functional>
#include <memory>

namespace boost::asio {
class io_context;
}

namespace gateway {

/// The event loop of the program.
class AsioLoop : public EventLoop {
public:
    AsioLoop();
    ~AsioLoop() override;

    void post(std::function<void()> callback) override;
    TimerId call_after(std::chrono::milliseconds delay, std::function<void()> callback) override;
    void cancel(TimerId timer) override;
    std::chrono::steady_clock::time_point get_time() const override;

    /// Calls `callback` when SIGINT or SIGTERM comes, once for each.
    void on_termination(std::function<void()> callback);

    /// Runs until `stop`.
    void run();
    void stop();

    boost::asio::io_context& get_context();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace gateway
