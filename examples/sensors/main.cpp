// Publishes the sensors of the machine: temperatures, fans, voltages, currents and powers from
// /sys/class/hwmon, and the thermal zones from /sys/class/thermal. On a machine without sensors, such as most
// virtual machines, it simulates three. Clients may set the limit above which a temperature is too hot.
//   kx-sensors [PORT [FOLDER]]    8080 and /sys/class unless given

#include <information_model/InformationModel.h>
#include <information_model/guards.h>
#include <opc/Server.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using namespace kx::information_model;
using symbol_list::QUALITY;
namespace fs = std::filesystem;

/// A kind of sensor: the unit that clients see, and the factor from the files of the kernel to that unit.
/// "temp1_input" counts thousandths of a degree.
struct Kind {
    const char* prefix;
    const char* unit;
    double factor;
    int digits;
};

constexpr Kind KINDS[] = {{"temp", "degC", 1e-3, 1},
                          {"fan", "rpm", 1.0, 0},
                          {"in", "V", 1e-3, 3},
                          {"curr", "A", 1e-3, 3},
                          {"power", "W", 1e-6, 2}};

struct Sensor {
    TypedVariable<double> variable;
    std::function<std::optional<double>()> read;
};

std::optional<std::string> read_line(const fs::path& file) {
    std::string line;
    return std::getline(std::ifstream(file), line) ? std::optional(line) : std::nullopt;
}

std::optional<double> read_number(const fs::path& file, double factor) {
    double number = 0.0;
    return std::ifstream(file) >> number ? std::optional(number * factor) : std::nullopt;
}

/// Makes a name from a text of the kernel that no child of the domain has yet.
std::string get_free_name(const Domain& domain, std::string name) {
    std::replace(name.begin(), name.end(), '/', '-');
    name = is_valid_segment(name) ? name : "unnamed";
    std::string free = name;
    for (int number = 2; domain.find_item(Path(free)) != nullptr; ++number) {
        free = name + " " + std::to_string(number);
    }
    return free;
}

std::vector<fs::path> list_sorted(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

class Sensors {
public:
    Sensors(InformationModel& model, const fs::path& folder)
        : tree_(model.get_information_tree()),
          root_(model.get_root()),
          limit_(root_.add<double>("limit", 80.0,
                                   {.description = "A temperature above it is too hot",
                                    .writable = true,
                                    .engineering_unit = "degC",
                                    .range = {.lower = Value(0.0), .upper = Value(150.0)},
                                    .accept = refuse_outside_range})),
          too_hot_(root_.add<bool>("too_hot", false)) {
        for (const fs::path& chip : list_sorted(folder / "hwmon")) {
            add_chip(chip);
        }
        for (const fs::path& zone : list_sorted(folder / "thermal")) {
            if (zone.filename().string().starts_with("thermal_zone")) {
                add_file(root_, read_line(zone / "type").value_or("zone"), KINDS[0], zone / "temp");
            }
        }
        if (sensors_.empty()) {
            simulate();
        }
    }

    /// Reads all sensors and publishes their values together.
    void update() {
        std::vector<std::optional<double>> readings;  // slow: before the lock
        for (const Sensor& sensor : sensors_) {
            readings.push_back(sensor.read());
        }
        const std::unique_lock lock(tree_);
        bool is_too_hot = false;
        for (std::size_t i = 0; i < sensors_.size(); ++i) {
            const auto& [variable, read] = sensors_[i];
            if (!readings[i]) {
                variable.update({.quality = QUALITY::BAD_SENSOR_FAILURE});
                continue;
            }
            variable.update({.value = *readings[i], .quality = QUALITY::GOOD});
            is_too_hot = is_too_hot || (variable.get_variable().get_engineering_unit() == "degC" &&
                                        *readings[i] > limit_.get());
        }
        too_hot_ = is_too_hot;
    }

private:
    void add_chip(const fs::path& chip) {
        Domain& domain = root_.add_domain(get_free_name(root_, read_line(chip / "name").value_or("chip")),
                                          {.pattern_type = pattern_type::DEVICE});
        for (const fs::path& file : list_sorted(chip)) {
            const std::string name = file.filename();
            const std::string sensor = name.substr(0, name.find('_'));
            const auto kind = std::find_if(std::begin(KINDS), std::end(KINDS), [&](const Kind& candidate) {
                return sensor.starts_with(candidate.prefix) &&
                       std::isdigit(sensor[std::strlen(candidate.prefix)]) != 0;
            });
            if (kind != std::end(KINDS) && name == sensor + "_input") {
                add_file(domain, read_line(chip / (sensor + "_label")).value_or(sensor), *kind, file,
                         read_number(chip / (sensor + "_max"), kind->factor));
            }
        }
        if (domain.is_empty()) {
            root_.remove(domain.get_name());
        }
    }

    void add_file(Domain& domain, const std::string& name, const Kind& kind, const fs::path& file,
                  std::optional<double> highest = {}) {
        const auto upper = highest ? std::optional(Value(*highest)) : std::nullopt;
        add(domain, name, kind, upper, [file, factor = kind.factor] { return read_number(file, factor); });
    }

    void add(Domain& domain, const std::string& name, const Kind& kind, const std::optional<Value>& upper,
             std::function<std::optional<double>()> read) {
        sensors_.push_back({domain.add<double>(get_free_name(domain, name), 0.0,
                                               {.engineering_unit = kind.unit,
                                                .range = {.upper = upper},
                                                .fractional_digits = kind.digits,
                                                .quality = QUALITY::BAD_WAITING_FOR_INITIAL_DATA}),
                            std::move(read)});
    }

    void simulate() {
        Domain& domain = root_.add_domain("simulated", {.description = "This machine shows no sensors"});
        const auto wave = [](double middle, double height) {
            return
                [=, step = 0]() mutable { return std::optional(middle + height * std::sin(0.1 * step++)); };
        };
        add(domain, "processor", KINDS[0], Value(95.0), wave(55.0, 30.0));
        add(domain, "fan", KINDS[1], {}, wave(1200.0, 300.0));
        add(domain, "supply", KINDS[2], {}, wave(12.0, 0.1));
    }

    Tree& tree_;
    Domain& root_;
    TypedVariable<double> limit_;
    TypedVariable<bool> too_hot_;
    std::vector<Sensor> sensors_;
};

unsigned short read_port(const char* text) {
    unsigned short port = 0;
    const char* const end = text + std::strlen(text);
    if (const auto [rest, error] = std::from_chars(text, end, port); error != std::errc() || rest != end) {
        throw std::invalid_argument('\'' + std::string(text) + "' is not a port (0 to 65535)");
    }
    return port;
}

}  // namespace

int main(int argc, char** argv) try {
    const unsigned short port = read_port(argc > 1 ? argv[1] : "8080");
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);  // the server's threads inherit it

    auto model = std::make_shared<InformationModel>("sensors");
    Sensors sensors(*model, argc > 2 ? argv[2] : "/sys/class");
    sensors.update();

    opc::Server server("127.0.0.1", port, model);
    server.start();
    std::cout << "listening on http://127.0.0.1:" << server.get_port() << std::endl;

    const timespec one_second{1, 0};
    while (sigtimedwait(&stop_signals, nullptr, &one_second) < 0) {
        sensors.update();
    }
    server.stop(std::chrono::seconds(1));
    return 0;
} catch (const std::exception& error) {
    std::cerr << "cannot serve: " << opc::describe(error) << '\n';
    return 1;
}
