// What a Read of 100 items through a gateway costs it, beside what the same Read costs the server alone:
//   kx-plant --bulk 1000 &  kx-gateway http://127.0.0.1:8080 &
//   kx_gateway_reads SERVER-PORT SERVER-PID GATEWAY-PORT GATEWAY-PID [ROUNDS [REQUESTS]]
// In each round the requests go to the server and then to the gateway, over connections that stay open. So
// what else keeps the machine busy slows down both.
#include "gateway/Connection.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace kx::benchmarks;

constexpr std::size_t ITEMS = 100;
constexpr double GOAL = 3;

/// Server or gateway.
struct Program {
    std::uint16_t port = 0;
    int process = 0;
};

struct Settings {
    Program server;
    Program gateway;
    std::size_t rounds = 9;
    std::size_t requests = 200;
};

/// Processor time of one request, in microseconds.
struct Round {
    double direct = 0;   // of the server, asked by the client
    double gateway = 0;  // of the gateway, asked by the client
    double behind = 0;   // of the server, asked by the gateway

    double get_ratio() const { return gateway / direct; }
};

std::string create_read() {
    std::string items;
    for (std::size_t i = 1; i <= ITEMS; ++i) {
        items += "<Items ItemName=\"/bulk/0/v" + std::to_string(i) + "\" ClientItemHandle=\"" +
                 std::to_string(i) + "\"/>";
    }
    return create_request(
        "/", "text/xml",
        envelop("<Read><Options ReturnItemTime=\"true\" ReturnItemName=\"true\"/><ItemList>" + items +
                "</ItemList></Read>"));
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto place = text.find(part); place != std::string::npos; place = text.find(part, place + 1)) {
        ++found;
    }
    return found;
}

void check(const std::string& reply) {
    if (count(reply, "<Items ") != ITEMS || count(reply, "</Value>") != ITEMS) {
        throw std::runtime_error("not all items were read: " + reply);
    }
}

class Run {
public:
    explicit Run(const Settings& settings)
        : settings_(settings), server_(settings.server.port), gateway_(settings.gateway.port) {}

    void run() {
        check(server_.call(request_));
        check(gateway_.call(request_));
        measure();  // to warm up
        std::vector<Round> rounds;
        for (std::size_t i = 0; i < settings_.rounds; ++i) {
            rounds.push_back(measure());
        }
        print(rounds);
    }

private:
    Round measure() {
        const double requests = static_cast<double>(settings_.requests) / 1e6;
        const double server_before = get_processor_time(settings_.server.process);
        repeat(server_);
        const double server_between = get_processor_time(settings_.server.process);
        const double gateway_before = get_processor_time(settings_.gateway.process);
        repeat(gateway_);
        const double gateway_after = get_processor_time(settings_.gateway.process);
        const double server_after = get_processor_time(settings_.server.process);
        return {.direct = (server_between - server_before) / requests,
                .gateway = (gateway_after - gateway_before) / requests,
                .behind = (server_after - server_between) / requests};
    }

    void repeat(Connection& connection) const {
        for (std::size_t i = 0; i < settings_.requests; ++i) {
            connection.call(request_);
        }
    }

    static void print(std::vector<Round> rounds) {
        std::sort(rounds.begin(), rounds.end(),
                  [](const Round& left, const Round& right) { return left.get_ratio() < right.get_ratio(); });
        const Round& median = rounds[rounds.size() / 2];
        std::cout << std::fixed << std::setprecision(0) << "Read of " << ITEMS
                  << " items, processor time of one:\n  the server alone       " << std::setw(6)
                  << median.direct << " us\n  the gateway            " << std::setw(6) << median.gateway
                  << " us\n  the server behind it   " << std::setw(6) << median.behind << " us\n"
                  << std::setprecision(2) << "goal: the gateway takes at most " << GOAL
                  << " times what the server alone takes: " << median.get_ratio() << " (from "
                  << rounds.front().get_ratio() << " to " << rounds.back().get_ratio() << "), "
                  << (median.get_ratio() <= GOAL ? "met" : "missed") << std::endl;
    }

    const Settings settings_;
    const std::string request_ = create_read();
    Connection server_;
    Connection gateway_;
};

Settings read_arguments(int argc, char** argv) {
    if (argc < 5) {
        throw std::runtime_error(
            "usage: kx_gateway_reads SERVER-PORT SERVER-PID GATEWAY-PORT GATEWAY-PID [ROUNDS [REQUESTS]]");
    }
    const auto read = [&](int place, std::size_t otherwise) {
        return argc > place ? std::strtoul(argv[place], nullptr, 10) : otherwise;
    };
    const auto read_program = [&](int place) {
        return Program{.port = static_cast<std::uint16_t>(read(place, 0)),
                       .process = static_cast<int>(read(place + 1, 0))};
    };
    Settings settings;
    settings.server = read_program(1);
    settings.gateway = read_program(3);
    settings.rounds = std::max<std::size_t>(1, read(5, settings.rounds));
    settings.requests = std::max<std::size_t>(1, read(6, settings.requests));
    return settings;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Run(read_arguments(argc, argv)).run();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "kx_gateway_reads: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
