// Measures the services over real sockets: processor time of the serving process for each request, in turns
// with an HTTP server of the same make that answers with a constant reply of the same size, and with a peer.
// Prints lines of JSON.

#include "load/Arguments.h"
#include "load/HostProcess.h"
#include "load/Suite.h"
#include "load/servers.h"

#include <csignal>
#include <exception>
#include <iostream>

namespace {

using namespace kx::benchmarks;

void run(const Arguments& arguments) {
    if (arguments.help) {
        print_help(std::cout);
    } else if (arguments.serve) {
        serve_tree (*arguments.serve)([&](unsigned short port) { report_port(port, arguments.port_to); });
    } else {
        Suite(arguments.suite, std::cout).run();
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::signal(SIGPIPE, SIG_IGN);
        run(parse_arguments({argv + 1, argv + argc}));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "kx_load: " << error.what() << " (--help lists the options)\n";
        return 1;
    }
}
