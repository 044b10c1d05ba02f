#pragma once

#include "support/HostProcess.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {

/// Its tree holds "number", a writable double, "text" and "numbers", a writable string and an array of
/// doubles, and "large", a string of 8 MiB.
class HardeningHost : public HostProcess {
public:
    /// @param options  as `hardening_host` takes them: "files=40", "threads=256"
    explicit HardeningHost(const std::vector<std::string>& options = {});
};

/// How much more memory this build takes than one without sanitizers.
extern const std::size_t MEMORY_FACTOR;

}  // namespace kx::information_model::opc::testing
