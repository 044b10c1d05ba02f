#pragma once

#include <cstddef>

namespace kx::information_model::opc::testing {

/// Whether memory is there again after a failure.
enum class SHORTAGE {
    ONCE,    ///< one allocation fails
    LASTING  ///< all those after it fail as well
};

/// Lets allocations with operator new fail while it lives, on every thread but those that are exempt.
/// Linking this replaces the operators for the whole program. One at a time.
class AllocationFailure {
public:
    /// @param successes  how many allocations succeed before
    AllocationFailure(std::size_t successes, SHORTAGE shortage) noexcept;
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
    ~AllocationFailure();

    /// Whether any allocation has failed so far.
    bool has_happened() const noexcept;
};

/// While it lives, the thread that made it has memory whatever happens, and is not counted.
class AllocationExemption {
public:
    AllocationExemption() noexcept;
    AllocationExemption(const AllocationExemption&) = delete;
    AllocationExemption& operator=(const AllocationExemption&) = delete;
    ~AllocationExemption();
};

}  // namespace kx::information_model::opc::testing
