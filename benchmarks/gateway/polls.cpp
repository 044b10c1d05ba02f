// How long a change takes to reach many clients that each hold a poll at a gateway, and what that costs it:
//   kx-plant --bulk 1000 &  kx-gateway http://127.0.0.1:8080 &
//   kx_gateway_polls GATEWAY-PORT GATEWAY-PID [CLIENTS [ITEMS [ROUNDS]]]
// Every client subscribes to ITEMS of the bulk variables, the first of which all of them have. Then that one
// is written, again and again, each time when all clients wait. One thread and epoll: the clients cost little
// beside the gateway.
#include "gateway/Connection.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <sys/epoll.h>
#include <sys/resource.h>

namespace {

using namespace kx::benchmarks;
using Clock = std::chrono::steady_clock;

constexpr std::size_t CLIENTS_OF_AN_ADDRESS = 100;  // as many subscriptions an address may have
constexpr std::size_t BULK_VARIABLES = 1000;
constexpr auto PATIENCE = std::chrono::seconds(120);

struct Settings {
    std::uint16_t port = 0;
    int gateway = 0;
    std::size_t clients = 10'000;
    std::size_t items = 10;
    int rounds = 5;
};

std::string get_name(std::size_t variable) {
    return variable == 0 ? "/boiler/temperature_setpoint" : "/bulk/0/v" + std::to_string(variable);
}

std::string get_value(int round) {
    return std::to_string(150 + round) + ".5";
}

/// One client, with an address that has room for its subscription.
class Client : public Connection {
public:
    Client(const Settings& settings, std::size_t number)
        : Connection(settings.port, static_cast<std::uint32_t>(2 + number / CLIENTS_OF_AN_ADDRESS)) {}

    /// @return the request that polls
    void subscribe(const Settings& settings, std::size_t number) {
        std::string items;
        for (std::size_t i = 0; i < settings.items; ++i) {
            const std::size_t variable =
                i == 0 ? 0 : 1 + (number * settings.items + i) % (BULK_VARIABLES - 1);
            items += "<Items ItemName=\"" + get_name(variable) + "\" ClientItemHandle=\"" +
                     std::to_string(i) + "\"/>";
        }
        const std::string& reply = call(
            create_request("/", "text/xml",
                           envelop("<Subscribe ReturnValuesOnReply=\"true\" SubscriptionPingRate=\"600000\">"
                                   "<Options ReturnItemTime=\"true\"/><ItemList>" +
                                   items + "</ItemList></Subscribe>")));
        const std::string attribute = "ServerSubHandle=\"";
        const auto begin = reply.find(attribute) + attribute.size();
        const std::string handle = reply.substr(begin, reply.find('"', begin) - begin);
        poll_ = create_request("/", "text/xml",
                               envelop("<SubscriptionPolledRefresh WaitTime=\"600000\"><Options "
                                       "ReturnItemTime=\"true\"/><ServerSubHandles>" +
                                       handle + "</ServerSubHandles></SubscriptionPolledRefresh>"));
    }

    void poll() { send(poll_); }

private:
    std::string poll_;
};

double to_seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

std::string get_memory(int process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with("VmRSS:")) {
            return line.substr(line.find_first_not_of(" \t", 6));
        }
    }
    return "unknown";
}

std::string get_figure(Client& client, const std::string& name) {
    const std::string& reply = client.call("GET /metrics HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    const auto begin = reply.find("\nkx_gateway_" + name + " ") + name.size() + 13;
    return reply.substr(begin, reply.find('\n', begin) - begin);
}

class Run {
public:
    explicit Run(const Settings& settings)
        : settings_(settings), epoll_(::epoll_create1(0)), operator_(settings, settings.clients) {}

    void run() {
        subscribe();
        for (int round = 1; round <= settings_.rounds; ++round) {
            change(round);
        }
        std::cout << "connections to the server: " << get_figure(operator_, "server_connections") << '\n';
    }

private:
    void subscribe() {
        const auto begin = Clock::now();
        for (std::size_t i = 0; i < settings_.clients; ++i) {
            clients_.push_back(std::make_unique<Client>(settings_, i));
            clients_.back()->subscribe(settings_, i);
            clients_.back()->poll();
            epoll_event event{};
            event.events = EPOLLIN;
            event.data.u64 = i;
            ::epoll_ctl(epoll_, EPOLL_CTL_ADD, clients_.back()->get_socket(), &event);
        }
        std::cout << std::fixed << std::setprecision(2) << settings_.clients << " clients subscribed in "
                  << to_seconds(Clock::now() - begin) << " s; the gateway has "
                  << get_memory(settings_.gateway) << '\n';
        settle();
    }

    /// Waits until the gateway has nothing to do: all polls are held.
    void settle() const {
        double before = get_processor_time(settings_.gateway);
        while (true) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            const double now = get_processor_time(settings_.gateway);
            if (now - before < 0.2) {
                return;
            }
            before = now;
        }
    }

    void change(int round) {
        const double processor_before = get_processor_time(settings_.gateway);
        const auto begin = Clock::now();
        operator_.call(
            create_request("/api/write", "application/json",
                           "{\"item\":\"" + get_name(0) + "\",\"value\":" + get_value(round) + "}"));
        std::vector<double> times;
        std::vector<epoll_event> events(1024);
        double processor_at_end = 0;
        while (times.size() < settings_.clients) {
            const int count = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), 1000);
            if (Clock::now() - begin > PATIENCE) {
                throw std::runtime_error("only " + std::to_string(times.size()) +
                                         " clients heard of the change");
            }
            for (int i = 0; i < count; ++i) {
                Client& client = *clients_[events[static_cast<std::size_t>(i)].data.u64];
                if (client.receive()) {
                    check(client, round);
                    times.push_back(to_seconds(Clock::now() - begin));
                    client.poll();
                }
            }
            processor_at_end = get_processor_time(settings_.gateway);
        }
        settle();
        std::cout << "change " << round << ": first " << times.front() << " s, half "
                  << times[times.size() / 2] << " s, all " << times.back() << " s; the gateway worked "
                  << processor_at_end - processor_before << " s until then, "
                  << get_processor_time(settings_.gateway) - processor_before
                  << " s until all wait again, and has " << get_memory(settings_.gateway) << std::endl;
    }

    static void check(const Client& client, int round) {
        if (client.get_reply().find(">" + get_value(round)) == std::string::npos) {
            throw std::runtime_error("a reply without the change: " + client.get_reply());
        }
    }

    const Settings settings_;
    int epoll_;
    Client operator_;
    std::vector<std::unique_ptr<Client>> clients_;
};

Settings read_arguments(int argc, char** argv) {
    if (argc < 3) {
        throw std::runtime_error(
            "usage: kx_gateway_polls GATEWAY-PORT GATEWAY-PID [CLIENTS [ITEMS [ROUNDS]]]");
    }
    const auto read = [&](int place, std::size_t otherwise) {
        return argc > place ? std::strtoul(argv[place], nullptr, 10) : otherwise;
    };
    Settings settings;
    settings.port = static_cast<std::uint16_t>(read(1, 0));
    settings.gateway = static_cast<int>(read(2, 0));
    settings.clients = read(3, settings.clients);
    settings.items = read(4, settings.items);
    settings.rounds = static_cast<int>(read(5, 5));
    return settings;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
        Run(read_arguments(argc, argv)).run();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "kx_gateway_polls: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
