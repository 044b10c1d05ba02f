#include <information_model/InformationModel.h>
#include <information_model/guards.h>
#include <opc/Server.h>

#include <csignal>
#include <iostream>
#include <mutex>
#include <vector>

using namespace kx::information_model;

struct Sensor {
    const char *name, *unit;
    double lowest, highest;
};

constexpr Sensor SENSORS[] = {
    {"drum_temperature", "degC", 0.0, 400.0}, {"drum_pressure", "bar", 0.0, 60.0},
    {"drum_level", "%", 0.0, 100.0},          {"feed_flow", "kg/s", 0.0, 25.0},
    {"feed_temperature", "degC", 0.0, 150.0}, {"steam_flow", "kg/s", 0.0, 25.0},
    {"flue_gas_oxygen", "%", 0.0, 21.0},      {"furnace_draught", "mbar", -10.0, 10.0},
    {"fan_speed", "1/min", 0.0, 1500.0},      {"bearing_vibration", "um", 0.0, 250.0}};

double measure(const Sensor& sensor) {  // yours asks the sensor
    return (sensor.lowest + sensor.highest) / 2.0;
}

int main() try {
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    auto model = std::make_shared<InformationModel>("boiler_house");
    std::vector<TypedVariable<double>> values;
    for (const Sensor& sensor : SENSORS) {
        Domain& domain = model->get_root().add_domain(sensor.name);
        const Range range = {.lower = Value(sensor.lowest), .upper = Value(sensor.highest)};
        values.push_back(
            domain.add<double>("value", measure(sensor), {.engineering_unit = sensor.unit, .range = range}));
        domain.add<double>(
            "limit", sensor.highest,
            {.writable = true, .engineering_unit = sensor.unit, .range = range, .accept = clamp_to_range});
    }

    opc::Server server("127.0.0.1", model);
    std::cout << "listening on http://127.0.0.1:" << server.start() << std::endl;
    const timespec one_second{1, 0};
    while (sigtimedwait(&stop_signals, nullptr, &one_second) < 0) {
        std::unique_lock lock(model->get_information_tree());
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = measure(SENSORS[i]);
        }
    }
    server.stop(std::chrono::seconds(1));
} catch (const std::exception& error) {
    std::cerr << "cannot serve: " << opc::describe(error) << '\n';
    return 1;
}
