#pragma once

#include <cstddef>

namespace kx::information_model::opc::testing {

/// Whether memory is there again after a failure.
enum class SHORTAGE {
    ONCE,    ///< one allocation fails
    LASTING  ///< all those after it fail as well
};

/// Lets allocations fail while it lives, on every thread but those that are exempt: those with operator new
/// if the program is linked with new_failure.cpp, those with malloc and its like, on which operator new is
/// built, if it is linked with malloc_failure.cpp. Either replaces the functions for the whole program. One
/// at a time.
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

/// Counts an allocation of the thread, for what stands in front of the functions that allocate.
/// @return whether it has to fail
bool must_fail() noexcept;

/// How many blocks of memory are in use in the whole program. Of malloc_failure.cpp alone.
long get_block_count() noexcept;

}  // namespace kx::information_model::opc::testing
