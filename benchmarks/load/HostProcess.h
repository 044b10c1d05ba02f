#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace kx::benchmarks {

/// Writes a server's port to a descriptor, and waits for ever.
[[noreturn]] void report_port(unsigned short port, int descriptor);

/// Called by a server with its port as soon as it accepts connections. Does not return.
using Listening = std::function<void(unsigned short port)>;

/// Serves on a port of 127.0.0.1: builds what it serves, starts to listen, and calls its argument.
using Serve = std::function<void(const Listening& listening)>;

/// A child process that serves, so that its processor time is its own. Ended when this object is destroyed,
/// or when the driver ends.
class HostProcess {
public:
    /// Forks, runs `serve` in the child, and waits until it listens. Requires: no other thread runs.
    /// @throws std::runtime_error  if it ends before it listens; what was wrong is on the error stream
    explicit HostProcess(const Serve& serve);

    /// Runs another program in the child, `program --serve VARIABLES --port-to DESCRIPTOR`, as `kx_load`
    /// itself is one. It serves a tree made by `build_tree`, and writes its port as two bytes.
    /// @throws std::runtime_error  as above
    HostProcess(const std::string& program, std::size_t variables);
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
    /// @param run  does not return; gets the descriptor that the port is to be written to
    void start(const std::function<void(int descriptor)>& run);

    pid_t pid_ = -1;
    unsigned short port_ = 0;
};

}  // namespace kx::benchmarks
