#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace kx::benchmarks {

/// A child process that serves on a port of 127.0.0.1, so that its processor time is its own. Ended when
/// this object is destroyed.
class HostProcess {
public:
    /// Forks. `serve` runs in the child: it starts to listen, calls its argument with the port, and the
    /// child then waits for its end.
    explicit HostProcess(const std::function<void(const std::function<void(unsigned short)>&)>& serve);
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    ~HostProcess();

    unsigned short get_port() const { return port_; }

    /// User and system time that all threads of the child have used so far.
    std::chrono::nanoseconds get_cpu_time() const;

    /// Resident memory now, and the most there was since the last reset, in bytes.
    std::size_t get_resident_size() const;
    std::size_t get_peak_resident_size() const;
    void reset_peak_resident_size() const;

private:
    std::size_t read_status(const std::string& field) const;

    pid_t pid_ = -1;
    unsigned short port_ = 0;
};

}  // namespace kx::benchmarks
