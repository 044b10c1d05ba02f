#include "gateway/Arguments.h"
#include "gateway/Gateway.h"
#include "gateway/net/AsioLoop.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include <malloc.h>
#include <sys/resource.h>

namespace {

constexpr int FAILED = 1;
constexpr int WRONG_ARGUMENTS = 2;

int fail(const std::string& message, int status) {
    std::cerr << "kx-gateway: " << message << '\n';
    return status;
}

/// Each client takes a file; what is allowed by default is far less than what may be asked for.
void allow_many_files(std::size_t clients) {
    constexpr rlim_t OTHER_FILES = 64;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < clients + OTHER_FILES) {
        std::cout << "only " << limit.rlim_cur - OTHER_FILES << " of " << clients
                  << " clients can connect at a time: raise the limit of open files (ulimit -n)" << std::endl;
    }
}

/// The memory of one request is wanted again by the next one. The C library would give it back in between
/// and take it anew page by page, unless a request is large.
void keep_freed_memory() {
    constexpr int KEPT = 8 << 20;
    constexpr int LARGE = 1 << 20;
    ::mallopt(M_TRIM_THRESHOLD, KEPT);
    ::mallopt(M_MMAP_THRESHOLD, LARGE);
}

std::string get_url(const gateway::Arguments& arguments, std::uint16_t port) {
    const bool is_any = arguments.address == "0.0.0.0" || arguments.address == "::";
    std::string host = is_any ? "127.0.0.1" : arguments.address;
    if (host.find(':') != std::string::npos) {
        host = "[" + host + "]";
    }
    const std::string scheme = arguments.certificate.certificate_file.empty() ? "http://" : "https://";
    return scheme + host + ":" + std::to_string(port) + "/";
}

int run(const gateway::Arguments& arguments) {
    keep_freed_memory();
    std::signal(SIGPIPE, SIG_IGN);  // a client or a reader of our output that goes away must not end us
    gateway::AsioLoop loop;
    gateway::Gateway gateway(loop, arguments);
    allow_many_files(arguments.most_clients);
    const std::uint16_t port = gateway.start();
    const std::string url = get_url(arguments, port);
    std::cout << "gateway to " << arguments.server << " listening on " << arguments.address << " port "
              << port << "\npage: " << url << "\nclients: " << url << "   description: " << url
              << "?wsdl   metrics: " << url << "metrics" << std::endl;
    loop.on_termination([&gateway] { gateway.stop(); });
    loop.run();
    std::cout << "stopped" << std::endl;
    if (!gateway.has_ended()) {
        std::_Exit(EXIT_SUCCESS);  // what still waits for the server or a client is not waited for
    }
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const gateway::Arguments arguments = gateway::parse_arguments(argc, argv);
        if (!arguments.to_print.empty()) {
            std::cout << arguments.to_print << std::flush;
            return EXIT_SUCCESS;
        }
        return run(arguments);
    } catch (const gateway::ArgumentError& error) {
        return fail(error.what(), WRONG_ARGUMENTS);
    } catch (const std::invalid_argument& error) {
        return fail(error.what(), WRONG_ARGUMENTS);
    } catch (const std::exception& error) {
        return fail(error.what(), FAILED);
    }
}
