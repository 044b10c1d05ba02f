#include "load/turns.h"

#include "load/servers.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <future>
#include <stdexcept>
#include <thread>

namespace kx::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int LEAST_ROUNDS = 3;

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

/// One connection, and how long each of its requests took, in microseconds.
class Client {
public:
    Client(unsigned short port, PROTECTION protection) : connection_(port, protection) {}

    std::size_t get_reply_size(const std::string& request) { return connection_.exchange(request).size(); }

    void send_until(const std::string& request, const Load& load, Clock::time_point end) {
        do {
            std::this_thread::sleep_for(load.pause);
            const auto start = Clock::now();
            connection_.exchange(request);
            times_.push_back(Microseconds(Clock::now() - start).count());
            if (!load.keeps_connection) {
                connection_.close();
            }
        } while (Clock::now() < end);
    }

    const std::vector<double>& get_times() const { return times_; }
    void forget_times() { times_.clear(); }

private:
    Connection connection_;
    std::vector<double> times_;
};

/// A server, the connections to it, and what it needed so far.
class Contender {
public:
    Contender(const Participant& participant, PROTECTION protection, const Load& load)
        : name_(participant.name), process_(*participant.host), load_(load) {
        for (std::size_t client = 0; client < load.clients; ++client) {
            clients_.push_back(std::make_unique<Client>(process_.get_port(), protection));
        }
    }

    const std::string& get_name() const { return name_; }

    /// To be called before the first turn.
    void set_request(std::string request) { request_ = std::move(request); }

    std::size_t get_reply_size() { return clients_.front()->get_reply_size(request_); }

    /// Sends the request over all connections at once, again and again, until `length` has passed.
    void take_turn(std::chrono::milliseconds length) {
        const std::size_t before = count_requests();
        const auto cpu_start = process_.get_cpu_time();
        const auto start = Clock::now();
        send_until(start + length);
        const std::chrono::duration<double> wall = Clock::now() - start;
        wait_until_idle(process_);
        const Microseconds cpu = process_.get_cpu_time() - cpu_start;
        const auto requests = static_cast<double>(count_requests() - before);
        figures_.cpu_us.push_back(cpu.count() / requests);
        figures_.requests_per_second.push_back(requests / wall.count());
    }

    /// What came before was for warming up.
    void forget_figures() {
        figures_ = {};
        for (const auto& client : clients_) {
            client->forget_times();
        }
    }

    ServerFigures get_figures() const {
        ServerFigures result = figures_;
        std::vector<double> times;
        for (const auto& client : clients_) {
            times.insert(times.end(), client->get_times().begin(), client->get_times().end());
        }
        result.p50_us = get_percentile(times, 0.5);
        result.p99_us = get_percentile(times, 0.99);
        result.p999_us = get_percentile(times, 0.999);
        return result;
    }

private:
    std::size_t count_requests() const {
        std::size_t requests = 0;
        for (const auto& client : clients_) {
            requests += client->get_times().size();
        }
        return requests;
    }

    void send_until(Clock::time_point end) {
        std::vector<std::future<void>> sending;
        for (const auto& client : clients_) {
            sending.push_back(std::async(std::launch::async, [this, end, &client = *client] {
                client.send_until(request_, load_, end);
            }));
        }
        try {
            for (auto& one : sending) {
                one.get();
            }
        } catch (const std::exception& error) {
            throw std::runtime_error(name_ + ": " + error.what());
        }
    }

    std::string name_;
    const HostProcess& process_;
    const Load& load_;
    std::string request_;
    std::vector<std::unique_ptr<Client>> clients_;
    ServerFigures figures_;
};

using Contenders = std::vector<std::unique_ptr<Contender>>;

/// With their requests.
Contenders create_contenders(const Stage& stage, const Load& load, std::size_t& reply_size) {
    Contenders contenders;
    for (const Participant& participant : stage.participants) {
        contenders.push_back(std::make_unique<Contender>(participant, stage.protection, load));
        contenders.back()->set_request(participant.is_constant
                                           ? create_constant_request(load.body, reply_size)
                                           : create_http_request(load.body));
        if (contenders.size() == 1) {
            reply_size = contenders.back()->get_reply_size();
        }
    }
    return contenders;
}

void run_round(const Contenders& contenders, std::chrono::milliseconds turn) {
    for (const auto& contender : contenders) {
        contender->take_turn(turn);
    }
}

void warm_up(const Contenders& contenders, std::chrono::milliseconds turn) {
    run_round(contenders, turn);
    for (const auto& contender : contenders) {
        contender->forget_figures();
    }
}

}  // namespace

Measurement measure_in_turns(const Stage& stage, const Plan& plan, const Load& load) {
    Measurement result{.request_size = load.body.size()};
    const Contenders contenders = create_contenders(stage, load, result.reply_size);
    warm_up(contenders, plan.turn);
    const auto end = Clock::now() + plan.limit;
    for (int round = 0; round < plan.rounds && (round < LEAST_ROUNDS || Clock::now() < end); ++round) {
        run_round(contenders, plan.turn);
    }
    for (const auto& contender : contenders) {
        result.servers.emplace_back(contender->get_name(), contender->get_figures());
    }
    return result;
}

double get_median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double get_percentile(std::vector<double>& values, double part) {
    const double rank = std::ceil(part * static_cast<double>(values.size()));
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(std::max(rank, 1.0)) - 1;
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

}  // namespace kx::benchmarks
