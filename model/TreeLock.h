#pragma once

#include <atomic>
#include <thread>

#include "model/FairSharedMutex.h"
#include "model/Observers.h"

namespace kx::information_model::detail {

/// The lock of a whole tree, and the observer calls that are due when it is released.
class TreeLock {
public:
    void lock();
    bool try_lock();
    /// Releases, and then makes the calls that are due. Does not touch this object after the release.
    void unlock() noexcept;

    void lock_shared() { mutex_.lock_shared(); }
    bool try_lock_shared() { return mutex_.try_lock_shared(); }
    void unlock_shared() { mutex_.unlock_shared(); }

    /// Makes calls: when this thread releases the lock if it holds it exclusively, otherwise at once.
    void post(Deliveries deliveries) noexcept;

private:
    void become_owner() noexcept;

    FairSharedMutex mutex_;
    std::atomic<std::thread::id> owner_{};  // the thread that holds mutex_ exclusively
    Deliveries pending_;                    // guarded by mutex_ held exclusively
};

}  // namespace kx::information_model::detail
