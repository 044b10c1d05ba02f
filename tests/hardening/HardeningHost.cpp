#include "hardening/HardeningHost.h"

#include <cstdlib>
#include <map>

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

}  // namespace

const std::size_t MEMORY_FACTOR = std::string(KX_SANITIZERS).empty() ? 1 : 4;

HardeningHost::HardeningHost(const std::vector<std::string>& options)
    : HostProcess(create_command(options), create_environment()) {}

}  // namespace kx::information_model::opc::testing
