#include "Arguments.h"
#include "ClientWrites.h"
#include "Plant.h"
#include "Simulation.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

namespace {

using namespace kx::information_model;

constexpr int FAILED = 1;
constexpr int WRONG_ARGUMENTS = 2;
constexpr std::chrono::seconds FAREWELL(1);  // for requests under way

/// Prints one line, whatever `message` holds.
int fail(std::string message, int status) {
    for (char& character : message) {
        character = character == '\n' || character == '\r' ? ' ' : character;
    }
    std::cerr << "kx-plant: " << message << std::endl;
    return status;
}

/// Blocks the signals that end the program, in this thread and in those that it starts from now on.
sigset_t block_stop_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

std::string get_url(const opc::Server& server) {
    const std::string address = server.get_address();
    const bool is_ipv6 = address.find(':') != std::string::npos;
    return (server.is_tls_enabled() ? "https://" : "http://") + (is_ipv6 ? '[' + address + ']' : address) +
           ':' + std::to_string(server.get_port());
}

/// A command that shows the tree with its values.
std::string create_example(const std::string& url, const plant::Arguments& arguments) {
    const std::string trust = arguments.certificate_file.empty() ? "" : " --ca " + arguments.certificate_file;
    return "xmlda browse " + url + " --recursive --values" + trust;
}

std::unique_ptr<opc::Server> create_server(const plant::Arguments& arguments,
                                           const std::shared_ptr<InformationModel>& model) {
    opc::add_worker_threads(arguments.threads - plant::Arguments().threads);
    return std::make_unique<opc::Server>(arguments.address, arguments.port, arguments.certificate_file,
                                         arguments.private_key_file, model);
}

/// Waits for one of the signals.
/// @param only_briefly  at most until a fault may have begun or ended
/// @return whether one came
bool wait_for_signal(const sigset_t& signals, bool only_briefly) {
    constexpr timespec BRIEFLY = {.tv_sec = 0, .tv_nsec = 50'000'000};
    int signal_number = 0;
    return only_briefly ? sigtimedwait(&signals, nullptr, &BRIEFLY) > 0
                        : sigwait(&signals, &signal_number) == 0;
}

/// Ends the server, or makes a new one at the same place, as the plant's faults want it.
void follow(const plant::Plant& plant, std::unique_ptr<opc::Server>& server,
            const plant::Arguments& arguments, const std::shared_ptr<InformationModel>& model) {
    if (!plant.is_served() && server) {
        server->stop(std::chrono::milliseconds(0));
        server.reset();
    } else if (plant.is_served() && !server) {
        server = std::make_unique<opc::Server>(arguments.address, arguments.port, arguments.certificate_file,
                                               arguments.private_key_file, model);
        server->start();
    }
}

int run(const plant::Arguments& arguments) {
    const sigset_t stop_signals = block_stop_signals();
    std::signal(SIGPIPE, SIG_IGN);  // a client or a reader of our output that goes away must not end us

    auto model = std::make_shared<InformationModel>("plant");
    plant::Plant plant(*model, arguments.bulk_variables, arguments.faults);
    auto client_writes = std::make_unique<plant::ClientWrites>(model->get_root());
    std::unique_ptr<opc::Server> server = create_server(arguments, model);
    auto simulation = std::make_unique<plant::Simulation>(plant);
    server->start();
    plant::print_line("listening on " + get_url(*server));
    plant::print_line("to try: " + create_example(get_url(*server), arguments));

    plant::Arguments same_place = arguments;
    same_place.port = server->get_port();
    while (!wait_for_signal(stop_signals, plant.has_faults())) {
        follow(plant, server, same_place, model);
    }
    if (server) {
        server->stop(FAREWELL);
    }
    simulation.reset();
    server.reset();
    client_writes.reset();
    plant::print_line("stopped");
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const plant::CommandLine command_line = plant::parse_command_line(argc, argv);
        if (command_line.text) {
            std::cout << *command_line.text << std::flush;
            return EXIT_SUCCESS;
        }
        return run(command_line.arguments);
    } catch (const plant::ArgumentError& error) {
        return fail(error.what(), WRONG_ARGUMENTS);
    } catch (const std::exception& error) {
        return fail(opc::describe(error), FAILED);
    }
}
