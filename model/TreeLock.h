#pragma once

#include <information_model/Tree.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "model/FairSharedMutex.h"
#include "model/Observers.h"

namespace kx::information_model::detail {

/// How many trees of the process have the check of their lock on: what a change looks at first, because the
/// way to the tree's lock is longer.
extern std::atomic<int> checked_trees;

/// @throws std::logic_error  naming the node, if its tree's lock is checked and this thread does not hold it
///                           exclusively
void check_lock(const Tree& node);

/// The lock of a whole tree, and the observer calls that are due when it is released.
class TreeLock {
public:
    TreeLock() = default;
    TreeLock(const TreeLock&) = delete;
    TreeLock& operator=(const TreeLock&) = delete;
    ~TreeLock();

    void lock();
    bool try_lock();
    bool try_lock_until(std::chrono::steady_clock::time_point deadline);
    /// Releases, and then makes the calls that are due. Does not touch this object after the release.
    void unlock() noexcept;

    void lock_shared() { mutex_.lock_shared(); }
    bool try_lock_shared() { return mutex_.try_lock_shared(); }
    bool try_lock_shared_until(std::chrono::steady_clock::time_point deadline) {
        return mutex_.try_lock_shared_until(deadline);
    }
    void unlock_shared() { mutex_.unlock_shared(); }

    /// Whether changes without the lock are noticed from now on.
    void set_checked(bool is_checked) noexcept;
    /// Turns the check on unless `set_checked` has decided.
    void set_checked_by_default() noexcept;
    /// Whether a change by this thread is one without the lock, and to be noticed.
    bool is_violated() const noexcept {
        return check_.load(std::memory_order_relaxed) == CHECK::ON &&
               owner_.load(std::memory_order_relaxed) != std::this_thread::get_id();
    }

    /// Makes calls: when this thread releases the lock if it holds it exclusively, otherwise at once.
    void post(Deliveries deliveries) noexcept;

private:
    enum class CHECK : unsigned char { UNDECIDED, OFF, ON };

    void become_owner() noexcept;
    static void count_checked(CHECK before, CHECK after) noexcept;

    FairSharedMutex mutex_;
    std::atomic<std::thread::id> owner_{};  // the thread that holds mutex_ exclusively
    Deliveries pending_;                    // guarded by mutex_ held exclusively
    std::atomic<CHECK> check_{CHECK::UNDECIDED};
};

}  // namespace kx::information_model::detail
