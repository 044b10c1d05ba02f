#pragma once

#include "load/Connection.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kx::benchmarks {

/// The services, in the order of the counts.
inline constexpr std::array<std::string_view, 8> SERVICE_NAMES{
    "GetStatus",         "Browse", "GetProperties", "Read", "Write", "Subscribe", "SubscriptionPolledRefresh",
    "SubscriptionCancel"};

using ServiceCounts = std::array<std::size_t, SERVICE_NAMES.size()>;

/// One of the clients of a soak: uses every service, over one connection, and looks at each reply: its
/// status, whether it is well-formed, the name of its response and how many items it has. Every tenth
/// subscription is left behind instead of being cancelled. One thread at a time.
class SoakClient {
public:
    /// @param variables  of the tree, made by `build_tree`
    /// @param ping_rate  of the subscriptions that are left behind: how long they live
    SoakClient(unsigned short port, std::size_t variables, std::chrono::milliseconds ping_rate);

    /// Makes a dozen requests.
    /// @throws std::runtime_error  telling what was wrong with a reply
    void run_round();

    /// Polls all subscriptions that were left behind.
    /// @return how many of them are still there
    /// @throws std::runtime_error  as `run_round`
    std::size_t count_survivors();

    const ServiceCounts& get_counts() const noexcept { return counts_; }
    std::size_t get_request_count() const noexcept;
    std::size_t get_abandoned_count() const noexcept { return abandoned_.size(); }

private:
    const std::string& call(std::string_view service, const std::string& body);
    void call_and_count(std::string_view service, const std::string& body, std::string_view mark,
                        std::size_t count);
    std::string subscribe(std::chrono::milliseconds ping_rate);
    void follow_subscription();
    void abandon_subscription();

    Connection connection_;
    std::size_t variables_;
    std::chrono::milliseconds ping_rate_;
    std::size_t rounds_ = 0;
    ServiceCounts counts_{};
    std::vector<std::string> abandoned_;
};

}  // namespace kx::benchmarks
