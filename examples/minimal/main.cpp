#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <csignal>
#include <iostream>
#include <mutex>

using namespace kx::information_model;

int main() try {
    // The threads that the server starts inherit this. The loop below waits for the signals.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    auto model = std::make_shared<InformationModel>("plant");
    Domain& boiler = model->get_root().add_domain("boiler", {.description = "Steam boiler 1"});
    auto temperature = boiler.add<double>("temperature", 21.5,
                                          {.description = "Drum temperature",
                                           .writable = true,
                                           .engineering_unit = "degC",
                                           .range = {.lower = Value(0.0), .upper = Value(400.0)}});

    opc::Server server("127.0.0.1", 8080, model);
    std::cout << "listening on http://127.0.0.1:" << server.start() << std::endl;

    const timespec one_second{1, 0};
    while (sigtimedwait(&stop_signals, nullptr, &one_second) < 0) {
        std::unique_lock lock(model->get_information_tree());
        temperature = temperature.get() < 400.0 ? temperature.get() + 0.1 : 21.5;
    }
    server.stop(std::chrono::seconds(1));
    return 0;
} catch (const std::exception& error) {
    std::cerr << "cannot serve: " << opc::describe(error) << '\n';
    return 1;
}
