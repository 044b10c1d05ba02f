#include "load/lock_waits.h"

#include "load/Connection.h"
#include "load/HostUpdates.h"
#include "load/requests.h"
#include "load/servers.h"
#include "load/turns.h"

#include <algorithm>
#include <future>
#include <iostream>
#include <stop_token>
#include <thread>

namespace kx::benchmarks {

namespace {

std::size_t send_until_stopped(unsigned short port, const std::string& request, const std::stop_token& stop) {
    Connection connection(port);
    std::size_t requests = 0;
    for (; !stop.stop_requested(); ++requests) {
        connection.exchange(request);
    }
    return requests;
}

std::vector<double> wait_for_waits(const LockWaits& waits, std::chrono::seconds length) {
    const std::size_t first = waits.get_count();
    std::this_thread::sleep_for(length);
    return waits.get_since(first);
}

}  // namespace

const std::vector<Readers>& get_readers() {
    static const std::vector<Readers> readers{
        {"no clients", 0, 1},
        {"1 client, Read 1000", 1, 1000},
        {"4 clients, Read 1000", 4, 1000},
        {"16 clients, Read 1000", 16, 1000},
        {"1 client, Read 100000", 1, 100'000},
    };
    return readers;
}

std::vector<std::string> get_lock_wait_columns() {
    return {"waits", "median ms", "worst ms", "requests/s"};
}

Row measure_lock_waits(const Readers& readers, std::size_t variables, std::chrono::seconds length) {
    std::cerr << "Host's wait for the lock: " << readers.name << '\n';
    LockWaits waits;
    const HostProcess host(serve_changing_tree(variables, waits));
    const std::string request = create_http_request(create_read_request(readers.items, variables));
    std::stop_source stop;
    std::vector<std::future<std::size_t>> senders;
    for (std::size_t client = 0; client < readers.clients; ++client) {
        senders.push_back(
            std::async(std::launch::async, send_until_stopped, host.get_port(), request, stop.get_token()));
    }
    const std::vector<double> found = wait_for_waits(waits, length);
    stop.request_stop();
    double requests = 0;
    for (auto& sender : senders) {
        requests += static_cast<double>(sender.get());
    }
    if (found.empty()) {
        return {readers.name, {0, {}, {}, requests / static_cast<double>(length.count())}};
    }
    return {readers.name,
            {static_cast<double>(found.size()), get_median(found),
             *std::max_element(found.begin(), found.end()), requests / static_cast<double>(length.count())}};
}

}  // namespace kx::benchmarks
