#include "load/HostProcess.h"

#include "support/process_state.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace kx::benchmarks {

using information_model::opc::testing::read_process_status;

void report_port(unsigned short port, int descriptor) {
    if (write(descriptor, &port, sizeof port) != sizeof port) {
        std::_Exit(1);
    }
    while (true) {
        pause();
    }
}

HostProcess::HostProcess(const Serve& serve) {
    start([&serve](int descriptor) {
        serve([descriptor](unsigned short port) { report_port(port, descriptor); });
    });
}

HostProcess::HostProcess(const std::string& program, std::size_t variables) {
    start([&](int descriptor) {
        execl(program.c_str(), program.c_str(), "--serve", std::to_string(variables).c_str(), "--port-to",
              std::to_string(descriptor).c_str(), nullptr);
        throw std::runtime_error("cannot run " + program);
    });
}

void HostProcess::start(const std::function<void(int descriptor)>& run) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0 || (pid_ = fork()) < 0) {
        throw std::runtime_error("cannot start a process");
    }
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            run(ends[1]);
        } catch (const std::exception& error) {
            std::cerr << "cannot serve: " << error.what() << '\n';
        }
        std::_Exit(1);
    }
    close(ends[1]);
    const bool started = read(ends[0], &port_, sizeof port_) == sizeof port_;
    close(ends[0]);
    if (!started) {
        throw std::runtime_error("the host did not start");
    }
}

HostProcess::~HostProcess() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

std::chrono::nanoseconds HostProcess::get_cpu_time() const {
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("cannot read the processor time of the host");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::size_t HostProcess::get_resident_size() const {
    return read_process_status("VmRSS:", std::to_string(pid_)) * 1024;
}

std::size_t HostProcess::get_peak_resident_size() const {
    return read_process_status("VmHWM:", std::to_string(pid_)) * 1024;
}

void HostProcess::reset_peak_resident_size() const {
    std::ofstream("/proc/" + std::to_string(pid_) + "/clear_refs") << "5";
}

}  // namespace kx::benchmarks
