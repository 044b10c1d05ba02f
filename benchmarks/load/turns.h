#pragma once

#include "load/Connection.h"
#include "load/HostProcess.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kx::benchmarks {

/// How thoroughly to measure.
struct Plan {
    int rounds;                      ///< that count; one before them warms up
    std::chrono::milliseconds turn;  ///< for each server in each round, and at least one request
    std::chrono::seconds limit;      ///< after it, three rounds suffice
};

/// The servers that are compared. They take turns, so that what else happens on the machine hits all alike.
struct Stage {
    std::unique_ptr<HostProcess> ours;
    std::unique_ptr<HostProcess> floor;
    std::unique_ptr<HostProcess> peer;  ///< may be null
    PROTECTION protection = PROTECTION::PLAIN;
};

/// What one request costs: medians over the rounds. Times are the processor time of the serving process, user
/// and system, in microseconds for one request; ratios and differences are taken within each round.
struct Measurement {
    std::size_t request_size = 0;  ///< of the body in bytes
    std::size_t reply_size = 0;
    double cpu_us = 0;
    double floor_us = 0;
    double above_floor_us = 0;
    std::optional<double> peer_us;
    std::optional<double> of_peer;   ///< our time divided by the peer's
    double requests_per_second = 0;  ///< of ours, over all clients
};

/// Measures a request.
/// @param with_peer  whether the peer, if there is one, takes part
/// @param clients    how many connections send at once, each as soon as it has its reply
/// @throws std::runtime_error  if a reply is not 200
Measurement measure_in_turns(const Stage& stage, const Plan& plan, const std::string& body, bool with_peer,
                             std::size_t clients = 1);

/// The middle value; the mean of the two middle ones if their number is even. Requires: not empty.
double get_median(std::vector<double> values);

}  // namespace kx::benchmarks
