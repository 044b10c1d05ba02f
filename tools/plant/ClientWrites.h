#pragma once

#include <information_model/Domain.h>
#include <information_model/Registration.h>

#include <string>

namespace plant {

/// Prints a line on the standard output for each value that a client writes, for as long as it lives.
///
/// The host's own updates call no observer, see `refresh`, so what arrives here comes from clients: what was
/// stored, after a guard may have changed it. The lines are printed by the server's worker threads.
class ClientWrites {
public:
    /// Watches every variable below `root`, those included that are added later. Requires: no server runs
    /// yet.
    explicit ClientWrites(kx::information_model::Domain& root);

private:
    kx::information_model::Registration registration_;
};

/// Prints a line on the standard output, at once and in one piece. Any thread.
void print_line(const std::string& line);

}  // namespace plant
