#pragma once

#include "load/lines.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace kx::benchmarks {

/// Clients that read, each as fast as it can, while the host changes the tree.
struct Readers {
    std::string name;
    std::size_t clients;
    std::size_t items;  ///< in each Read
};

/// The combinations that are measured, "no clients" among them.
const std::vector<Readers>& get_readers();

/// Starts a host that changes ten thousand of its `variables` variables ten times a second, lets the readers
/// at it for `length`, and tells how long the host waited for the tree lock.
/// @return "waits", "median ms", "worst ms", and "requests/s" over all readers
Figures measure_lock_waits(const Readers& readers, std::size_t variables, std::chrono::seconds length);

}  // namespace kx::benchmarks
