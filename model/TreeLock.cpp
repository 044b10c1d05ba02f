#include "model/TreeLock.h"

#include <utility>

namespace kx::information_model::detail {

std::atomic<int> checked_trees = 0;

TreeLock::~TreeLock() {
    count_checked(check_, CHECK::OFF);
}

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

bool TreeLock::try_lock_until(std::chrono::steady_clock::time_point deadline) {
    if (!mutex_.try_lock_until(deadline)) {
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

void TreeLock::set_checked(bool is_checked) noexcept {
    const CHECK after = is_checked ? CHECK::ON : CHECK::OFF;
    count_checked(check_.exchange(after), after);
}

void TreeLock::set_checked_by_default() noexcept {
    CHECK before = CHECK::UNDECIDED;
    if (check_.compare_exchange_strong(before, CHECK::ON)) {
        count_checked(before, CHECK::ON);
    }
}

void TreeLock::count_checked(CHECK before, CHECK after) noexcept {
    checked_trees += (after == CHECK::ON ? 1 : 0) - (before == CHECK::ON ? 1 : 0);
}

void TreeLock::become_owner() noexcept {
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

}  // namespace kx::information_model::detail
