// Serves one writable variable of every type, a scalar and an array, for the tests of other people's clients.
// Beside them stand a reading that clients may not write, and a sensor that has failed. It listens on a free
// port, whatever its arguments, and prints its URL. SIGTERM ends it.

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace kx::information_model;
using namespace std::chrono_literals;
using symbol_list::QUALITY;

/// Adds `name`, and `name` with an "s" for the array.
template <class Type>
void add(Domain& domain, const std::string& name, Type scalar, std::vector<Type> array) {
    domain.add<Type>(name, std::move(scalar), {.description = "A scalar", .writable = true});
    domain.add<std::vector<Type>>(name + "s", std::move(array),
                                  {.description = "An array", .writable = true});
}

void add_values(Domain& root) {
    Domain& values = root.add_domain("values", {.description = "A variable of each type"});
    add<bool>(values, "boolean", true, {true, false});
    add<signed char>(values, "byte", -128, {-128, 127});
    add<short>(values, "short", -32768, {-32768, 32767});
    add<int>(values, "int", -2'147'483'647 - 1, {1, -1});
    add<long>(values, "long", -9'007'199'254'740'993, {9'007'199'254'740'993, -1});
    add<unsigned char>(values, "unsignedByte", 255, {0, 127});
    add<unsigned short>(values, "unsignedShort", 65535, {0, 65535});
    add<unsigned int>(values, "unsignedInt", 4'294'967'295U, {0U, 4'294'967'295U});
    add<unsigned long>(values, "unsignedLong", 18'446'744'073'709'551'615U,
                       {0U, 18'446'744'073'709'551'615U});
    add<float>(values, "float", 0.5F, {0.5F, -0.25F});
    add<double>(values, "double", 0.125, {0.125, -1e6});
    add<std::string>(values, "string", "a < b & c", {"a", "", "\u00fc"});
    add<TimePoint>(values, "dateTime", std::chrono::sys_days(2026y / 9 / 14) + 6h + 30min,
                   {std::chrono::sys_days(2026y / 9 / 14) + 250ms});
    add<Duration>(values, "duration", Duration(36h), {Duration(36h), Duration(90s)});
}

void add_readings(Domain& root) {
    Domain& readings = root.add_domain("readings", {.description = "What clients may not write"});
    readings.add<double>("good", 21.5, {.engineering_unit = "degC"});
    readings.add<double>("failed", 850.0,
                         {.engineering_unit = "degC", .quality = QUALITY::BAD_SENSOR_FAILURE});
}

}  // namespace

int main() try {
    // Blocked before the server starts its threads, which inherit it.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    auto model = std::make_shared<InformationModel>("values");
    add_values(model->get_root());
    add_readings(model->get_root());
    opc::Server server("127.0.0.1", model);
    std::cout << "listening on http://127.0.0.1:" << server.start() << std::endl;

    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    server.stop(1s);
    return 0;
} catch (const std::exception& error) {
    std::cerr << "cannot serve: " << opc::describe(error) << '\n';
    return 1;
}
