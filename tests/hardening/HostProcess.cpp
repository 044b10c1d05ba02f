#include "hardening/HostProcess.h"

#include "support/replies.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace kx::information_model::opc::testing {
namespace {

std::vector<std::string> create_command(const std::vector<std::string>& options) {
    std::vector<std::string> command = {KX_HARDENING_HOST};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

/// Freed memory is not to be kept for long by the address sanitizer: it is what is measured.
std::map<std::string, std::string> create_environment() {
    const char* const options = std::getenv("ASAN_OPTIONS");
    return {{"ASAN_OPTIONS", std::string(options == nullptr ? "" : options) + ":quarantine_size_mb=1"}};
}

std::string get_directory(pid_t process) {
    return "/proc/" + std::to_string(process);
}

}  // namespace

const std::size_t MEMORY_FACTOR = std::string(KX_SANITIZERS).empty() ? 1 : 4;

HostProcess::HostProcess(const std::vector<std::string>& options)
    : process_(create_command(options), ChildProcess::Place::PIPES, create_environment()) {
    const std::string line = process_.read_line().value_or("");
    if (line.empty()) {
        throw std::runtime_error("the host does not listen: " + process_.wait().errors);
    }
    port_ = static_cast<unsigned short>(std::stoul(line));
}

void HostProcess::kill() {
    process_.send_signal(SIGKILL);
    process_.wait();
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
    const std::filesystem::directory_iterator files(get_directory(process_.get_id()) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

void HostProcess::expect_served() const {
    std::optional<int> status;
    std::string failure;
    EXPECT_TRUE(wait_for([&] {
        try {
            status = HttpClient(port_).post(create_request("<GetStatus/>")).status;
        } catch (const std::exception& closed) {
            failure = closed.what();
        }
        return status.has_value();
    })) << failure;
    EXPECT_EQ(status, 200);
}

void HostProcess::expect_end() {
    process_.send_signal(SIGTERM);
    const Outcome outcome = process_.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

std::size_t HostProcess::read_status(const std::string& name) const {
    std::ifstream status(get_directory(process_.get_id()) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stoul(line.substr(name.size())) * 1024;
        }
    }
    throw std::runtime_error("no such line: " + name);
}

}  // namespace kx::information_model::opc::testing
