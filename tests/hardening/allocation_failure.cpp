#include "hardening/allocation_failure.h"

#include <atomic>
#include <limits>

namespace kx::information_model::opc::testing {
namespace {

constexpr long UNLIMITED = std::numeric_limits<long>::max() / 2;

std::atomic<long> remaining{UNLIMITED};  // below zero: failed
std::atomic<bool> is_lasting{false};
thread_local int exemptions = 0;

}  // namespace

bool must_fail() noexcept {
    if (exemptions > 0) {
        return false;
    }
    const long number = --remaining;
    return number == -1 || (number < -1 && is_lasting);
}

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
