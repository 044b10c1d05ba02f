#pragma once

#include <cstddef>

namespace kx::information_model::testing {

/// Counts what this thread allocates with operator new while it lives.
class AllocationCounter {
public:
    AllocationCounter() noexcept;

    std::size_t get_count() const noexcept;

private:
    std::size_t count_at_start_;
};

/// Lets one allocation of this thread fail while it lives: the one after `successes` others.
class AllocationFailure {
public:
    explicit AllocationFailure(std::size_t successes) noexcept;
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
    ~AllocationFailure();
};

}  // namespace kx::information_model::testing
