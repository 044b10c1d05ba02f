#include "support/HostProcess.h"

#include "support/process_state.h"
#include "support/replies.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <exception>
#include <optional>
#include <stdexcept>

namespace kx::information_model::opc::testing {

HostProcess::HostProcess(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& variables)
    : process_(command, ChildProcess::Place::PIPES, variables) {
    const std::string line = process_.read_line().value_or("");
    const std::string port = line.substr(line.rfind(':') + 1);
    if (port.empty() || port.find_first_not_of("0123456789") != std::string::npos) {
        throw std::runtime_error(command.front() + " does not listen, it says '" + line + "'");
    }
    url_ = line.substr(line.rfind(' ') + 1);
    port_ = static_cast<unsigned short>(std::stoul(port));
}

Reply HostProcess::call(const std::string& request) const {
    return HttpClient(port_).post(create_request(request));
}

void HostProcess::kill() {
    process_.send_signal(SIGKILL);
    process_.wait();
}

std::chrono::steady_clock::duration HostProcess::expect_end() {
    process_.send_signal(SIGTERM);
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome = process_.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    return std::chrono::steady_clock::now() - start;
}

void HostProcess::expect_served() const {
    std::optional<int> status;
    std::string failure;
    EXPECT_TRUE(wait_for([&] {
        try {
            status = call("<GetStatus/>").status;
        } catch (const std::exception& closed) {
            failure = closed.what();
        }
        return status.has_value();
    })) << failure;
    EXPECT_EQ(status, 200);
}

std::chrono::nanoseconds HostProcess::get_processor_time() const {
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(process_.get_id(), &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the host has no clock");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::size_t HostProcess::count_files() const {
    return count_open_files(std::to_string(process_.get_id()));
}

std::size_t HostProcess::read_memory(const std::string& name) const {
    return read_process_status(name, std::to_string(process_.get_id())) * 1024;
}

}  // namespace kx::information_model::opc::testing
