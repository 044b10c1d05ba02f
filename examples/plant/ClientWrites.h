#pragma once

#include <information_model/Domain.h>
#include <information_model/Registration.h>

#include <vector>

namespace plant {

/// Prints a line on the standard output for each value that a client writes, for as long as it lives.
///
/// The host's own updates pass no observer, see `refresh`, so what arrives here comes from clients. The
/// lines are printed by the server's worker threads.
class ClientWrites {
public:
    /// Watches every writable variable below `root`. Requires: no server runs yet.
    explicit ClientWrites(kx::information_model::Domain& root);

private:
    void watch(const kx::information_model::Domain& domain);

    std::vector<kx::information_model::Registration> registrations_;
};

/// Prints a line on the standard output, at once and in one piece. Any thread.
void print_line(const std::string& line);

}  // namespace plant
