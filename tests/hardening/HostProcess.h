#pragma once

#include "support/ChildProcess.h"
#include "support/HttpClient.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {

/// A host in a process of its own, on which tests try what they like. Its tree holds "number", a writable
/// double, "text" and "numbers", a writable string and an array of doubles, and "large", a string of 8 MiB.
class HostProcess {
public:
    /// Waits until the host listens.
    /// @param options  as `hardening_host` takes them: "files=40", "threads=256"
    explicit HostProcess(const std::vector<std::string>& options = {});

    unsigned short get_port() const { return port_; }

    /// Ends it, however it fares.
    void kill();

    /// What it occupies now, and what it has occupied at most, in bytes.
    std::size_t get_memory() const { return read_status("VmRSS:"); }
    std::size_t get_peak_memory() const { return read_status("VmHWM:"); }

    /// How long its threads have computed.
    std::chrono::nanoseconds get_processor_time() const;

    /// How many files it has open.
    std::size_t count_files() const;

    /// How many threads it has.
    std::size_t count_threads() const { return read_status("Threads:") / 1024; }

    /// Expects that a new client gets an answer. What earlier ones have left may still wait for workers, and
    /// when as many wait as there may, new connections are closed: the client then tries again.
    void expect_served() const;

    /// Expects that it ends when asked, with status 0, and has written nothing to standard error.
    void expect_end();

    /// Expects that it serves and then ends.
    void expect_well() {
        expect_served();
        expect_end();
    }

private:
    std::size_t read_status(const std::string& name) const;

    ChildProcess process_;
    unsigned short port_ = 0;
};

/// How much more memory this build takes than one without sanitizers.
extern const std::size_t MEMORY_FACTOR;

}  // namespace kx::information_model::opc::testing
