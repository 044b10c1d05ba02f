// A host for tests that try to bring it down: a process of its own, so that what happens to it is seen from
// outside. Prints the port, serves until SIGTERM, destroys the server and ends with status 0.
//   hardening_host [files=N] [threads=N] [certificate=FILE key=FILE] [quiet=yes]
// With "quiet" nobody needs to read what it writes to standard error.

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/ThreadPool.h>

#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace kx::information_model;

namespace {

using Options = std::map<std::string, std::string>;

Options read_options(int argument_count, char** arguments) {
    Options options;
    for (int index = 1; index < argument_count; ++index) {
        const std::string argument = arguments[index];
        const std::size_t end = argument.find('=');
        options[argument.substr(0, end)] = argument.substr(end + 1);
    }
    return options;
}

void limit_files(rlim_t count) {
    const rlimit limit{count, count};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        throw std::runtime_error("setrlimit");
    }
}

std::shared_ptr<InformationModel> create_model() {
    auto model = std::make_shared<InformationModel>("plant");
    Domain& root = model->get_root();
    root.add_variable("number", Value(21.5), {.writable = true});
    root.add_variable("text", Value(""), {.writable = true});
    root.add_variable("numbers", Value(std::vector{Value(1.5)}), {.writable = true});
    root.add_variable("large", Value(std::string(std::size_t{8} << 20U, 'x')));
    return model;
}

}  // namespace

int main(int argument_count, char** arguments) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    Options options = read_options(argument_count, arguments);
    if (options.contains("quiet") && std::freopen("/dev/null", "w", stderr) == nullptr) {
        throw std::runtime_error("freopen");
    }
    if (options.contains("files")) {
        limit_files(std::stoul(options["files"]));
    }
    if (options.contains("threads")) {
        Poco::ThreadPool::defaultPool().addCapacity(std::stoi(options["threads"]));
    }
    const auto model = create_model();
    {
        opc::Server server("127.0.0.1", options["certificate"], options["key"], model);
        std::cout << server.start() << std::endl;
        int signal = 0;
        sigwait(&signals, &signal);
    }
    // A worker that is about to end may let go of it a moment later.
    for (int attempt = 0; model.use_count() > 1 && attempt < 1000; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return model.use_count() == 1 ? 0 : 1;
}
