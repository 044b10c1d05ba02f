#include "hardening/allocation_failure.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace kx::information_model::opc::testing {
namespace {

constexpr long UNLIMITED = std::numeric_limits<long>::max() / 2;

std::atomic<long> remaining{UNLIMITED};  // below zero: failed
std::atomic<bool> is_lasting{false};
thread_local int exemptions = 0;

bool must_fail() noexcept {
    if (exemptions > 0) {
        return false;
    }
    const long number = --remaining;
    return number == -1 || (number < -1 && is_lasting);
}

void* allocate(std::size_t size) {
    void* const memory = must_fail() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* allocate_aligned(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    void* const memory = must_fail() ? nullptr : std::aligned_alloc(step, (size + step - 1) / step * step);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

AllocationFailure::AllocationFailure(std::size_t successes, SHORTAGE shortage) noexcept {
    is_lasting = shortage == SHORTAGE::LASTING;
    remaining = static_cast<long>(successes);
}

AllocationFailure::~AllocationFailure() {
    remaining = UNLIMITED;
}

bool AllocationFailure::has_happened() const noexcept {
    return remaining < 0;
}

AllocationExemption::AllocationExemption() noexcept {
    ++exemptions;
}

AllocationExemption::~AllocationExemption() {
    --exemptions;
}

}  // namespace kx::information_model::opc::testing

// The array and nothrow forms of the standard library end up in these.
void* operator new(std::size_t size) {
    return kx::information_model::opc::testing::allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return kx::information_model::opc::testing::allocate_aligned(size, alignment);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
