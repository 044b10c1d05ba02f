#pragma once

#include "support/HostProcess.h"

#include <string>
#include <vector>

namespace kx::information_model::opc::testing {

/// The simulated plant, running as a process of its own on a port of the system's choice.
class Plant : public HostProcess {
public:
    /// Waits until the plant listens.
    explicit Plant(const std::vector<std::string>& arguments = {});

    /// The line that it printed next: what to try.
    const std::string& get_example() const { return example_; }

private:
    std::string example_;
};

/// The command that starts the plant on a port of the system's choice.
std::vector<std::string> create_plant_command(const std::vector<std::string>& arguments);

}  // namespace kx::information_model::opc::testing
