#pragma once

#include "http/ConnectionLimits.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <set>

namespace kx::information_model::opc {

class Connection;

/// The connections of one server, so that it can end them. Shared by the server, its listening socket and the
/// connections themselves. Any thread may call all functions.
class OpenConnections {
public:
    explicit OpenConnections(const ConnectionLimits& limits = {}) : limits_(limits) {}
    OpenConnections(const OpenConnections&) = delete;
    OpenConnections& operator=(const OpenConnections&) = delete;

    const ConnectionLimits& get_limits() const noexcept { return limits_; }

    void add(Connection& connection);
    void remove(Connection& connection) noexcept;

    /// Ends those that wait for a request and those whose request is held, now and from now on. Other
    /// requests go on; their connections end with them.
    void end_waiting();

    /// Whether `end_waiting` was called.
    bool are_ending() const noexcept { return are_ending_; }

    /// Waits until no request is under way.
    /// @return whether that was so by `end`
    bool wait_for_requests(std::chrono::steady_clock::time_point end) const;

    /// Breaks all of them off, whatever they are doing.
    void abort();

private:
    template <class Do>
    void for_each(Do action) const;
    bool have_request() const;

    const ConnectionLimits limits_;
    std::atomic<bool> are_ending_ = false;
    mutable std::mutex mutex_;           // taken before that of a connection
    std::set<Connection*> connections_;  // guarded by `mutex_`
};

}  // namespace kx::information_model::opc
