#pragma once

#include <chrono>
#include <thread>

namespace kx::information_model::testing {

/// Waits until `condition` holds; false if it does not within half a minute.
template <class Condition>
bool wait_for(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

}  // namespace kx::information_model::testing
