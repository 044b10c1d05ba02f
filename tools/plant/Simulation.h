#pragma once

#include "Plant.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace plant {

/// Runs a plant on a thread of its own, four steps a second, from construction to destruction. The
/// destructor waits for the step under way, which may in turn wait for the tree lock.
class Simulation {
public:
    /// @param plant  outlives this object, and nobody else advances it
    explicit Simulation(Plant& plant);
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

private:
    void run(const std::stop_token& stop);

    Plant& plant_;
    std::mutex mutex_;
    std::condition_variable_any stopped_;
    std::jthread thread_;  // last: uses the others, and is stopped and joined before they go
};

}  // namespace plant
