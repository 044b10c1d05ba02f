#pragma once

#include "support/ChildProcess.h"
#include "support/HttpClient.h"

#include <string>
#include <vector>

namespace kx::information_model::opc::testing {

/// The simulated plant, running as a process of its own on a port of the system's choice.
class Plant {
public:
    /// Waits until the plant listens.
    explicit Plant(const std::vector<std::string>& arguments = {});

    /// The URL that it printed.
    const std::string& get_url() const { return url_; }
    unsigned short get_port() const { return port_; }
    /// The line that it printed next: what to try.
    const std::string& get_example() const { return example_; }
    ChildProcess& get_process() { return process_; }

    /// Posts `request` inside a SOAP envelope whose default namespace is that of OPC XML-DA.
    Reply call(const std::string& request) const;

private:
    ChildProcess process_;
    std::string url_;
    std::string example_;
    unsigned short port_ = 0;
};

/// The command that starts the plant on a port of the system's choice.
std::vector<std::string> create_plant_command(const std::vector<std::string>& arguments);

}  // namespace kx::information_model::opc::testing
