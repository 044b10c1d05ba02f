// A long load of all services on a host that changes its tree, with a look at what the host has left of it.
// Prints lines of JSON.

#include "load/Soak.h"

#include <csignal>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace kx::benchmarks;

const std::map<std::string, std::function<void(SoakOptions&, const std::string&)>> OPTIONS{
    {"--seconds", [](SoakOptions& options,
                     const std::string& text) { options.length = std::chrono::seconds(std::stol(text)); }},
    {"--requests",
     [](SoakOptions& options, const std::string& text) { options.requests = std::stoul(text); }},
    {"--clients", [](SoakOptions& options, const std::string& text) { options.clients = std::stoul(text); }},
    {"--memory-limit",
     [](SoakOptions& options, const std::string& text) { options.memory_limit = std::stod(text); }},
    {"--ping-rate",
     [](SoakOptions& options, const std::string& text) {
         options.ping_rate = std::chrono::milliseconds(std::stol(text));
     }},
};

SoakOptions parse_arguments(const std::vector<std::string>& words) {
    SoakOptions options;
    for (auto word = words.begin(); word != words.end(); ++word) {
        const auto option = OPTIONS.find(*word);
        if (option == OPTIONS.end() || ++word == words.end()) {
            throw std::invalid_argument(
                "usage: kx_soak [--seconds N] [--requests N] [--clients N] [--memory-limit PERCENT] "
                "[--ping-rate MILLISECONDS]");
        }
        option->second(options, *word);
    }
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::signal(SIGPIPE, SIG_IGN);
        Soak soak(parse_arguments({argv + 1, argv + argc}));
        soak.run(std::cout);
        for (const std::string& failure : soak.get_failures()) {
            std::cerr << failure.substr(0, 2000) << '\n';
        }
        return soak.get_failures().empty() ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "kx_soak: " << error.what() << '\n';
        return 1;
    }
}
