#include "Simulation.h"

#include <chrono>

namespace plant {
namespace {

constexpr std::chrono::milliseconds STEP(250);

}  // namespace

Simulation::Simulation(Plant& plant)
    : plant_(plant), thread_([this](const std::stop_token& stop) { run(stop); }) {}

void Simulation::run(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        stopped_.wait_for(lock, stop, STEP, [] { return false; });
        plant_.advance(STEP);
    }
}

}  // namespace plant
