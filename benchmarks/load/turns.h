#pragma once

#include "load/Connection.h"
#include "load/HostProcess.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kx::benchmarks {

/// How thoroughly to measure.
struct Plan {
    int rounds;                      ///< that count; one before them warms up
    std::chrono::milliseconds turn;  ///< for each server in each round, and at least one request
    std::chrono::seconds limit;      ///< after it, three rounds suffice
};

/// A server that takes part, under the name that its figures get.
struct Participant {
    std::string name;
    std::unique_ptr<HostProcess> host;
    bool is_constant = false;  ///< answers with constant replies, as long as those of the first participant
};

/// The servers that are compared, ours first. They take turns, so that what else happens on the machine hits
/// all alike.
struct Stage {
    std::vector<Participant> participants = {};
    PROTECTION protection = PROTECTION::PLAIN;

    const HostProcess& get_ours() const { return *participants.front().host; }
};

/// What is sent.
struct Load {
    std::string body;
    std::size_t clients = 1;             ///< connections that send at once, each as soon as it has its reply
    bool keeps_connection = true;        ///< or each request has a connection of its own
    std::chrono::milliseconds pause{0};  ///< before each request, so that caches have gone cold
};

/// What a server needed.
struct ServerFigures {
    std::vector<double> cpu_us;  ///< in each round, processor time for one request, user and system
    std::vector<double> requests_per_second;  ///< in each round, over all clients
    /// @name Percentiles of the time until a client has its reply, over all rounds
    /// @{
    double p50_us = 0;
    double p99_us = 0;
    double p999_us = 0;
    /// @}
};

struct Measurement {
    std::size_t request_size = 0;  ///< of the body in bytes
    std::size_t reply_size = 0;
    std::vector<std::pair<std::string, ServerFigures>> servers = {};  ///< as the stage has them
};

/// Measures a request.
/// @throws std::runtime_error  if a reply is not 200
Measurement measure_in_turns(const Stage& stage, const Plan& plan, const Load& load);

/// The middle value; the mean of the two middle ones if their number is even. Requires: not empty.
double get_median(std::vector<double> values);

/// The least of the values that `part` of them do not exceed. Requires: not empty, 0 < part <= 1.
/// @param values  are put into another order
double get_percentile(std::vector<double>& values, double part);

}  // namespace kx::benchmarks
