#include "load/lock_waits.h"

#include "load/Connection.h"
#include "load/HostUpdates.h"
#include "load/requests.h"
#include "load/servers.h"
#include "load/turns.h"

#include <algorithm>
#include <future>
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

Figures measure_lock_waits(const Readers& readers, std::size_t variables, std::chrono::seconds length) {
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
    Figures figures{{"waits", static_cast<double>(found.size())},
                    {"median ms", {}},
                    {"worst ms", {}},
                    {"requests/s", requests / static_cast<double>(length.count())}};
    if (!found.empty()) {
        figures[1].second = get_median(found);
        figures[2].second = *std::max_element(found.begin(), found.end());
    }
    return figures;
}

}  // namespace kx::benchmarks
