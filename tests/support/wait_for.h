#pragma once

#include <chrono>
#include <thread>

namespace kx::information_model::testing {

/// Waits until `condition` holds; false if it does not in time. The machine may be busy: the patience is for
/// what would never come.
template <class Condition>
bool wait_for(Condition condition, std::chrono::seconds patience = std::chrono::seconds(120)) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace kx::information_model::testing

namespace kx::information_model::opc::testing {

using information_model::testing::wait_for;

}  // namespace kx::information_model::opc::testing
