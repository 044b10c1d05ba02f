#pragma once

#include <cstddef>

namespace kx::information_model::opc::testing {

/// How often this program has allocated with operator new, on all threads. Linking this replaces the
/// operators for the whole program.
std::size_t get_allocation_count() noexcept;

/// How many bytes of that are in use.
std::size_t get_allocated_size() noexcept;

}  // namespace kx::information_model::opc::testing
