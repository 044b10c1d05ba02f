#include "load/turns.h"

#include "load/servers.h"

#include <algorithm>
#include <exception>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace kx::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int LEAST_ROUNDS = 3;

struct Turn {
    double cpu_us;  // for one request
    double requests_per_second;
};

/// What a server still does when its reply has arrived belongs to the request.
void wait_until_idle(const HostProcess& process) {
    const auto end = Clock::now() + std::chrono::seconds(1);
    auto before = process.get_cpu_time();
    while (Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const auto now = process.get_cpu_time();
        if (now == before) {
            return;
        }
        before = now;
    }
}

/// One server and the connections to it.
class Contender {
public:
    /// @param name  for messages
    Contender(std::string name, const HostProcess& process, PROTECTION protection, std::size_t clients)
        : name_(std::move(name)), process_(process) {
        for (std::size_t client = 0; client < clients; ++client) {
            connections_.push_back(std::make_unique<Connection>(process.get_port(), protection));
        }
    }

    std::size_t get_reply_size(const std::string& request) {
        return connections_[0]->exchange(request).size();
    }

    /// Sends `request` over all connections at once, again and again, until `length` has passed.
    Turn take_turn(const std::string& request, std::chrono::milliseconds length) {
        const auto cpu_start = process_.get_cpu_time();
        const auto start = Clock::now();
        const auto requests = static_cast<double>(send_until(request, start + length));
        const std::chrono::duration<double> wall = Clock::now() - start;
        wait_until_idle(process_);
        const std::chrono::duration<double, std::micro> cpu = process_.get_cpu_time() - cpu_start;
        return {cpu.count() / requests, requests / wall.count()};
    }

private:
    std::size_t send_until(const std::string& request, Clock::time_point end) {
        std::vector<std::future<std::size_t>> clients;
        for (const auto& connection : connections_) {
            clients.push_back(std::async(std::launch::async, [&request, end, &connection = *connection] {
                std::size_t requests = 0;
                do {
                    connection.exchange(request);
                    ++requests;
                } while (Clock::now() < end);
                return requests;
            }));
        }
        return add_up(clients);
    }

    std::size_t add_up(std::vector<std::future<std::size_t>>& clients) const {
        try {
            std::size_t requests = 0;
            for (auto& client : clients) {
                requests += client.get();
            }
            return requests;
        } catch (const std::exception& error) {
            throw std::runtime_error(name_ + ": " + error.what());
        }
    }

    std::string name_;
    const HostProcess& process_;
    std::vector<std::unique_ptr<Connection>> connections_;
};

/// What the rounds gave.
struct Rounds {
    std::vector<double> cpu_us;
    std::vector<double> floor_us;
    std::vector<double> above_floor_us;
    std::vector<double> peer_us;
    std::vector<double> of_peer;
    std::vector<double> requests_per_second;
};

std::optional<double> get_median_if_any(const std::vector<double>& values) {
    return values.empty() ? std::nullopt : std::optional(get_median(values));
}

Measurement summarise(const Rounds& rounds) {
    return {.cpu_us = get_median(rounds.cpu_us),
            .floor_us = get_median(rounds.floor_us),
            .above_floor_us = get_median(rounds.above_floor_us),
            .peer_us = get_median_if_any(rounds.peer_us),
            .of_peer = get_median_if_any(rounds.of_peer),
            .requests_per_second = get_median(rounds.requests_per_second)};
}

/// The servers of a stage with what is sent to them.
class Race {
public:
    Race(const Stage& stage, const std::string& body, bool with_peer, std::size_t clients)
        : ours_("server", *stage.ours, stage.protection, clients),
          floor_("constant replies", *stage.floor, stage.protection, clients),
          request_(create_http_request(body)),
          reply_size_(ours_.get_reply_size(request_)),
          constant_request_(create_constant_request(body, reply_size_)) {
        if (with_peer && stage.peer != nullptr) {
            peer_.emplace("peer", *stage.peer, stage.protection, clients);
        }
    }

    std::size_t get_reply_size() const { return reply_size_; }

    void run_round(std::chrono::milliseconds turn, Rounds& rounds) {
        const Turn ours = ours_.take_turn(request_, turn);
        const Turn floor = floor_.take_turn(constant_request_, turn);
        rounds.cpu_us.push_back(ours.cpu_us);
        rounds.floor_us.push_back(floor.cpu_us);
        rounds.above_floor_us.push_back(ours.cpu_us - floor.cpu_us);
        rounds.requests_per_second.push_back(ours.requests_per_second);
        if (peer_) {
            const Turn peer = peer_->take_turn(request_, turn);
            rounds.peer_us.push_back(peer.cpu_us);
            rounds.of_peer.push_back(ours.cpu_us / peer.cpu_us);
        }
    }

private:
    Contender ours_;
    Contender floor_;
    std::optional<Contender> peer_;
    std::string request_;
    std::size_t reply_size_;
    std::string constant_request_;
};

}  // namespace

Measurement measure_in_turns(const Stage& stage, const Plan& plan, const std::string& body, bool with_peer,
                             std::size_t clients) {
    Race race(stage, body, with_peer, clients);
    Rounds warm_up;
    race.run_round(plan.turn, warm_up);
    Rounds rounds;
    const auto end = Clock::now() + plan.limit;
    for (int round = 0; round < plan.rounds && (round < LEAST_ROUNDS || Clock::now() < end); ++round) {
        race.run_round(plan.turn, rounds);
    }
    Measurement result = summarise(rounds);
    result.request_size = body.size();
    result.reply_size = race.get_reply_size();
    return result;
}

double get_median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace kx::benchmarks
