#pragma once

#include "load/HostProcess.h"
#include "load/SoakClient.h"

#include <chrono>
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace kx::benchmarks {

struct SoakOptions {
    std::size_t clients = 8;
    std::chrono::seconds length = std::chrono::minutes(15);
    std::size_t requests = 1'000'000;  ///< it ends when both are reached
    double memory_limit = 5;           ///< by how many percent memory may have grown after the first tenth
    /// Of the subscriptions that are left behind. Short, so that how many of them there are, and what memory
    /// they take, does not depend on how busy the machine is.
    std::chrono::milliseconds ping_rate = std::chrono::seconds(1);
};

/// Clients that use all services, as fast as they can, of a host that changes its tree all the time; and a
/// look at the host before, after a tenth of it, and afterwards.
class Soak {
public:
    /// Starts the host. Requires: no other thread runs, because it is forked.
    explicit Soak(SoakOptions options);

    /// Runs it, and prints what it found as lines of JSON. To be called once. Tells on the error stream how
    /// far it is.
    void run(std::ostream& lines);

    /// What was wrong; empty if nothing was. Each client stops at its first failure.
    const std::vector<std::string>& get_failures() const noexcept { return failures_; }

private:
    struct State {
        double resident_mb;
        std::size_t descriptors;
        std::size_t threads;
    };

    State look_at_host() const;

    /// With the descriptor that the thread which accepts has while it waits, and not in between.
    State look_at_idle_host() const;
    void run_clients();
    /// Waits until the host has closed what the clients have left.
    void wait_for_descriptors();
    void check_memory();
    void count_survivors();
    void print(std::ostream& lines) const;

    SoakOptions options_;
    std::unique_ptr<HostProcess> host_;
    std::vector<std::unique_ptr<SoakClient>> clients_;
    std::vector<std::string> failures_;
    ServiceCounts counts_{};
    std::chrono::duration<double> length_{0};
    std::size_t abandoned_ = 0;
    std::size_t survivors_ = 0;
    State before_{};
    State after_a_tenth_{};
    State at_the_end_{};
    State afterwards_{};
};

}  // namespace kx::benchmarks
