#pragma once

#include "support/ChildProcess.h"
#include "support/HttpClient.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {

/// A host in a process of its own, on which tests try what they like. It says first where it listens: with
/// its URL, or with its port alone.
class HostProcess {
public:
    /// Waits until the host listens; fails with an exception if it does not.
    /// @param command    the program and its arguments
    /// @param variables  environment variables to be set besides those of the test
    explicit HostProcess(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& variables = {});

    unsigned short get_port() const { return port_; }
    /// The URL that it printed.
    const std::string& get_url() const { return url_; }
    ChildProcess& get_process() { return process_; }

    /// Posts `request` inside a SOAP envelope whose default namespace is that of OPC XML-DA.
    Reply call(const std::string& request) const;

    /// Ends it, however it fares.
    void kill();

    /// Ends it in an orderly way: with status 0, and nothing written to standard error.
    /// @return how long that took
    std::chrono::steady_clock::duration expect_end();

    /// Expects that a new client gets an answer. What earlier ones have left may still wait for workers, and
    /// when as many wait as there may, new connections are closed: the client then tries again.
    void expect_served() const;

    /// Expects that it serves and then ends.
    void expect_well() {
        expect_served();
        expect_end();
    }

    /// What it occupies now, and what it has occupied at most, in bytes.
    std::size_t get_memory() const { return read_memory("VmRSS:"); }
    std::size_t get_peak_memory() const { return read_memory("VmHWM:"); }

    /// How long its threads have computed.
    std::chrono::nanoseconds get_processor_time() const;

    /// How many files it has open.
    std::size_t count_files() const;

private:
    std::size_t read_memory(const std::string& name) const;

    ChildProcess process_;
    std::string url_;
    unsigned short port_ = 0;
};

}  // namespace kx::information_model::opc::testing
