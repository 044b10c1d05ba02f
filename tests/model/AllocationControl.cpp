#include "model/AllocationControl.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocations = 0;
thread_local bool is_failure_set = false;
thread_local std::size_t failing_allocation = 0;

void* allocate(std::size_t size) {
    const std::size_t number = allocations++;
    if (is_failure_set && number == failing_allocation) {
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

// The array and nothrow forms of the standard library end up in these.
void* operator new(std::size_t size) {
    return allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace kx::information_model::testing {

AllocationCounter::AllocationCounter() noexcept : count_at_start_(allocations) {}

std::size_t AllocationCounter::get_count() const noexcept {
    return allocations - count_at_start_;
}

AllocationFailure::AllocationFailure(std::size_t successes) noexcept {
    failing_allocation = allocations + successes;
    is_failure_set = true;
}

AllocationFailure::~AllocationFailure() {
    is_failure_set = false;
}

}  // namespace kx::information_model::testing
