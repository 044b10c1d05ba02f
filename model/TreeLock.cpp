#include "model/TreeLock.h"

#include <utility>

namespace kx::information_model::detail {

void TreeLock::lock() {
    mutex_.lock();
    become_owner();
}

bool TreeLock::try_lock() {
    if (!mutex_.try_lock()) {
        return false;
    }
    become_owner();
    return true;
}

void TreeLock::unlock() noexcept {
    Deliveries due;
    due.swap(pending_);
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    mutex_.unlock();
    deliver(std::move(due));
}

void TreeLock::post(Deliveries deliveries) noexcept {
    // Only this thread can have stored its own id, so that no ordering is needed to recognise it.
    if (owner_.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
        pending_.splice(pending_.end(), deliveries);
    } else {
        deliver(std::move(deliveries));
    }
}

void TreeLock::become_owner() noexcept {
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

}  // namespace kx::information_model::detail
