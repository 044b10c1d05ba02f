// Publishes the load and the free memory of its machine, and an alarm whose limit clients may set.

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <unistd.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

namespace {

using namespace kx::information_model;
using symbol_list::QUALITY;

/// The average number of programs that ran or waited for a processor in the last minute.
std::optional<double> read_load() {
    double load = 0.0;
    return getloadavg(&load, 1) == 1 ? std::optional(load) : std::nullopt;
}

/// The free memory in kB.
std::optional<unsigned long> read_free_memory() {
    const long pages = sysconf(_SC_AVPHYS_PAGES);
    const long page_size = sysconf(_SC_PAGESIZE);
    if (pages < 0 || page_size < 0) {
        return std::nullopt;
    }
    return static_cast<unsigned long>(pages) * static_cast<unsigned long>(page_size) / 1024;
}

/// Sets a new value. Without one the variable keeps its last value, and its quality says so.
template <class Number>
void show(TypedVariable<Number> variable, const std::optional<Number>& number) {
    if (number.has_value()) {
        variable.update({.value = *number, .quality = QUALITY::GOOD});
    } else {
        variable.get_variable().set_quality(QUALITY::BAD_LAST_KNOWN_VALUE);
    }
}

class Machine {
public:
    explicit Machine(InformationModel& model)
        : tree_(model.get_information_tree()),
          domain_(
              model.get_root().add_domain("machine", {.description = "The machine that the host runs on"})),
          load_(domain_.add<double>("load", 0.0, {.description = "Load of the last minute"})),
          free_memory_(domain_.add<unsigned long>("free_memory", 0UL, {.engineering_unit = "kB"})),
          load_limit_(domain_.add<double>(
              "load_limit", 4.0, {.writable = true, .range = {.lower = Value(0.0), .upper = Value(1000.0)}})),
          overloaded_(domain_.add<bool>("overloaded", false)),
          limit_writes_(load_limit_.get_variable().on_change([](const Path& path, const Value& value) {
              std::cout << path << " is now " << std::get<double>(value) << std::endl;
          })) {}

    void update() {
        const auto load = read_load();  // before the lock, because clients wait while it is held
        const auto free_memory = read_free_memory();
        const std::unique_lock lock(tree_);
        show(load_, load);
        show(free_memory_, free_memory);
        overloaded_ = load_.get() > load_limit_.get();
    }

private:
    Tree& tree_;
    Domain& domain_;
    TypedVariable<double> load_;
    TypedVariable<unsigned long> free_memory_;
    TypedVariable<double> load_limit_;
    TypedVariable<bool> overloaded_;
    Registration limit_writes_;
};

/// Blocks the signals that end the program, in this thread and in those that the server starts later.
sigset_t block_stop_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

unsigned short read_port(const std::string& text) {
    unsigned short port = 0;
    const char* const end = text.data() + text.size();
    if (const auto [rest, error] = std::from_chars(text.data(), end, port);
        error != std::errc() || rest != end) {
        throw std::invalid_argument("'" + text + "' is not a port (0 to 65535)");
    }
    return port;
}

}  // namespace

int main(int argc, char** argv) try {
    const unsigned short port = argc > 1 ? read_port(argv[1]) : 8080;
    const sigset_t stop_signals = block_stop_signals();

    auto model = std::make_shared<InformationModel>("machine_room");
    Machine machine(*model);
    machine.update();

    opc::Server server("127.0.0.1", port, model);
    server.start();
    std::cout << "listening on http://127.0.0.1:" << server.get_port() << std::endl;

    const timespec one_second{1, 0};
    while (sigtimedwait(&stop_signals, nullptr, &one_second) < 0) {
        machine.update();
    }
    server.stop(std::chrono::seconds(1));
    return 0;
} catch (const std::exception& error) {
    std::cerr << "cannot serve: " << opc::describe(error) << '\n';
    return 1;
}
