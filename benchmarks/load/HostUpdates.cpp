#include "load/HostUpdates.h"

#include "load/tree.h"

#include <sys/mman.h>

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <new>
#include <stdexcept>

namespace kx::benchmarks {

using namespace information_model;
using Clock = std::chrono::steady_clock;

struct LockWaits::Shared {
    std::atomic<std::size_t> count{0};
    std::array<double, 16 * 1024> milliseconds{};
};

LockWaits::LockWaits() {
    void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no shared memory");
    }
    shared_ = new (memory) Shared;
}

LockWaits::~LockWaits() {
    munmap(shared_, sizeof(Shared));
}

void LockWaits::add(double milliseconds) {
    const std::size_t count = shared_->count.load(std::memory_order_relaxed);
    if (count < shared_->milliseconds.size()) {
        shared_->milliseconds[count] = milliseconds;
        shared_->count.store(count + 1, std::memory_order_release);
    }
}

std::size_t LockWaits::get_count() const {
    return shared_->count.load(std::memory_order_acquire);
}

std::vector<double> LockWaits::get_since(std::size_t first) const {
    const auto begin = shared_->milliseconds.begin();
    return {begin + static_cast<std::ptrdiff_t>(first), begin + static_cast<std::ptrdiff_t>(get_count())};
}

HostUpdates::HostUpdates(InformationModel& model, LockWaits& waits) : model_(model), waits_(waits) {
    Item& root = model_.get_root();
    const std::lock_guard lock(model_.get_information_tree());
    for (std::size_t index = 0; index < UPDATED_VARIABLES; ++index) {
        variables_.push_back(&dynamic_cast<Variable&>(root.get_item(Path(create_item_name(index)), false)));
    }
    thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

void HostUpdates::run(const std::stop_token& stop) {
    for (auto next = Clock::now(); !stop.stop_requested(); next += std::chrono::milliseconds(100)) {
        std::this_thread::sleep_until(next);
        update();
    }
}

void HostUpdates::update() {
    const auto asked = Clock::now();
    const std::lock_guard lock(model_.get_information_tree());
    waits_.add(std::chrono::duration<double, std::milli>(Clock::now() - asked).count());
    value_ += 1;
    for (Variable* variable : variables_) {
        *variable = Value(value_);
    }
}

}  // namespace kx::benchmarks
