// Shows the machine that it runs on: its load and its free memory, and an alarm whose limit clients may set.

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

namespace {

using namespace kx::information_model;
using symbol_list::QUALITY;

/// The first number of /proc/loadavg: how many programs wanted to run during the last minute.
std::optional<double> read_load() {
    std::ifstream file("/proc/loadavg");
    double load = 0.0;
    return file >> load ? std::optional(load) : std::nullopt;
}

/// Reads "MemAvailable:   1234567 kB" from /proc/meminfo.
std::optional<unsigned long> read_free_memory() {
    std::ifstream file("/proc/meminfo");
    for (std::string name; file >> name;) {
        if (unsigned long kilobytes = 0; name == "MemAvailable:" && file >> kilobytes) {
            return kilobytes;
        }
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return std::nullopt;
}

/// What is not there keeps its last value, with a quality that says so.
template <class Number>
void show(Variable& variable, const std::optional<Number>& number) {
    if (number.has_value()) {
        variable = Value(*number);
    }
    variable.set_quality(number.has_value() ? QUALITY::GOOD : QUALITY::BAD_LAST_KNOWN_VALUE);
}

class Machine {
public:
    explicit Machine(InformationModel& model)
        : tree_(model.get_information_tree()),
          domain_(
              model.get_root().add_domain("machine", {.description = "The machine that the host runs on"})),
          load_(domain_.add_variable("load", Value(0.0), {.description = "Load of the last minute"})),
          free_memory_(domain_.add_variable("free_memory", Value(0UL), {.engineering_unit = "kB"})),
          load_limit_(domain_.add_variable("load_limit", Value(4.0), {.writable = true})),
          overloaded_(domain_.add_variable("overloaded", Value(false))),
          limit_writes_(load_limit_.on_change([](const Path& path, const Value& value) {
              std::cout << path << " is now " << std::get<double>(value) << std::endl;
          })) {}

    void update() {
        const auto load = read_load();  // before the lock: clients wait while it is held
        const auto free_memory = read_free_memory();
        const std::unique_lock lock(tree_);
        show(load_, load);
        show(free_memory_, free_memory);
        overloaded_ = Value(std::get<double>(load_.get_value()) > std::get<double>(load_limit_.get_value()));
    }

private:
    Tree& tree_;
    Domain& domain_;
    Variable& load_;
    Variable& free_memory_;
    Variable& load_limit_;
    Variable& overloaded_;
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
