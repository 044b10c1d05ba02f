#include "load/Soak.h"

#include "load/HostUpdates.h"
#include "load/lines.h"
#include "load/servers.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace kx::benchmarks {

namespace {

constexpr std::size_t VARIABLES = 2 * UPDATED_VARIABLES;
constexpr std::chrono::seconds CLOSING_TIME{60};

using Clock = std::chrono::steady_clock;

/// Counts what several threads do, and keeps what went wrong.
class Progress {
public:
    void add(std::size_t requests) { requests_ += requests; }
    std::size_t get_requests() const { return requests_; }

    void add_failure(const std::string& failure) {
        const std::lock_guard lock(mutex_);
        failures_.push_back(failure);
        ++failed_;
    }
    std::size_t get_failed() const { return failed_; }

    /// Requires: the threads have ended.
    const std::vector<std::string>& get_failures() const { return failures_; }

private:
    std::atomic<std::size_t> requests_{0};
    std::atomic<std::size_t> failed_{0};
    std::mutex mutex_;
    std::vector<std::string> failures_;  // guarded by mutex_
};

void run_client(SoakClient& client, Progress& progress, const std::stop_token& stop) {
    try {
        while (!stop.stop_requested()) {
            const std::size_t before = client.get_request_count();
            client.run_round();
            progress.add(client.get_request_count() - before);
        }
    } catch (const std::exception& error) {
        progress.add_failure(std::string("a client: ") + error.what());
    }
}

}  // namespace

Soak::Soak(SoakOptions options) : options_(options) {
    LockWaits waits;  // the child has a mapping of its own, which stays
    host_ = std::make_unique<HostProcess>(serve_growing_tree(VARIABLES, waits));
}

void Soak::run(std::ostream& lines) {
    before_ = look_at_idle_host();
    for (std::size_t number = 0; number < options_.clients; ++number) {
        clients_.push_back(std::make_unique<SoakClient>(host_->get_port(), VARIABLES, options_.ping_rate));
    }
    run_clients();
    at_the_end_ = look_at_host();
    check_memory();
    count_survivors();
    clients_.clear();
    wait_for_descriptors();
    print(lines);
}

Soak::State Soak::look_at_host() const {
    return {static_cast<double>(host_->get_resident_size()) / (1024 * 1024), host_->get_descriptor_count(),
            host_->get_thread_count()};
}

Soak::State Soak::look_at_idle_host() const {
    State state = look_at_host();
    for (int times = 0; times < 20; ++times) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        state.descriptors = std::max(state.descriptors, look_at_host().descriptors);
    }
    return state;
}

void Soak::run_clients() {
    Progress progress;
    const auto start = Clock::now();
    const auto is_reached = [&](double part) {
        return progress.get_failed() == clients_.size() ||
               (Clock::now() - start >= part * options_.length &&
                static_cast<double>(progress.get_requests()) >=
                    part * static_cast<double>(options_.requests));
    };
    std::vector<std::jthread> threads;
    for (const auto& client : clients_) {
        threads.emplace_back(
            [&, &client = *client](const std::stop_token& stop) { run_client(client, progress, stop); });
    }
    for (int tenth = 1; tenth <= 10; ++tenth) {
        while (!is_reached(0.1 * tenth)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        if (tenth == 1) {
            after_a_tenth_ = look_at_host();
        }
        std::cerr << tenth << "0 %: " << progress.get_requests() << " requests\n";
    }
    length_ = Clock::now() - start;
    threads.clear();
    failures_ = progress.get_failures();
}

void Soak::check_memory() {
    const double growth = (at_the_end_.resident_mb / after_a_tenth_.resident_mb - 1) * 100;
    if (growth > options_.memory_limit) {
        failures_.push_back("memory has grown by " + std::to_string(growth) + " % after the first tenth");
    }
}

void Soak::count_survivors() {
    std::this_thread::sleep_for(options_.ping_rate + std::chrono::seconds(1));  // a poll would renew them
    for (const auto& client : clients_) {
        try {
            survivors_ += client->count_survivors();
        } catch (const std::exception& error) {
            failures_.push_back(std::string("a last poll: ") + error.what());
        }
        abandoned_ += client->get_abandoned_count();
        for (std::size_t service = 0; service < counts_.size(); ++service) {
            counts_[service] += client->get_counts()[service];
        }
    }
    if (survivors_ > 0) {
        failures_.push_back(std::to_string(survivors_) + " subscriptions are still there");
    }
}

void Soak::wait_for_descriptors() {
    const auto deadline = Clock::now() + CLOSING_TIME;
    do {
        afterwards_ = look_at_host();
        if (afterwards_.descriptors <= before_.descriptors) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    } while (Clock::now() < deadline);
    failures_.push_back(std::to_string(afterwards_.descriptors - before_.descriptors) +
                        " descriptors are left behind");
}

void Soak::print(std::ostream& lines) const {
    double total = 0;
    for (std::size_t service = 0; service < counts_.size(); ++service) {
        const auto count = static_cast<double>(counts_[service]);
        print_figures(lines, "Requests", std::string(SERVICE_NAMES[service]), {{"number", count}});
        total += count;
    }
    print_figures(lines, "Requests", "all", {{"number", total}});
    const auto print_host = [&](const std::string& row, auto State::*figure) {
        print_figures(lines, "Host", row,
                      {{"before", static_cast<double>(before_.*figure)},
                       {"after 10 %", static_cast<double>(after_a_tenth_.*figure)},
                       {"at the end", static_cast<double>(at_the_end_.*figure)},
                       {"afterwards", static_cast<double>(afterwards_.*figure)}});
    };
    print_host("resident memory, MB", &State::resident_mb);
    print_host("descriptors", &State::descriptors);
    print_host("threads", &State::threads);
    const auto print_rest = [&](const std::string& row, double number) {
        print_figures(lines, "Rest", row, {{"number", number}});
    };
    print_rest("clients", static_cast<double>(options_.clients));
    print_rest("seconds", length_.count());
    print_rest("subscriptions left behind", static_cast<double>(abandoned_));
    print_rest("of these still there", static_cast<double>(survivors_));
    print_rest("failures", static_cast<double>(failures_.size()));
}

}  // namespace kx::benchmarks
