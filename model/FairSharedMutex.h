#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace kx::information_model::detail {

/// A reader/writer lock that starves nobody. A SharedLockable; not recursive.
///
/// A writer that waits keeps later readers out, so that it is admitted after the readers that were inside
/// when it came. When a writer leaves, the readers that waited at that moment are admitted together, before
/// the next writer. Writers are admitted in the order in which they came. Whoever gives up waiting leaves the
/// queue; readers that waited for that writer alone are then admitted.
class FairSharedMutex {
public:
    FairSharedMutex() = default;
    FairSharedMutex(const FairSharedMutex&) = delete;
    FairSharedMutex& operator=(const FairSharedMutex&) = delete;

    void lock();
    /// Succeeds only if nobody is inside.
    bool try_lock();
    /// As `lock`, but gives up at `deadline`.
    bool try_lock_until(std::chrono::steady_clock::time_point deadline);
    void unlock();

    void lock_shared();
    /// Succeeds only if no writer is inside or waits.
    bool try_lock_shared();
    /// As `lock_shared`, but gives up at `deadline`.
    bool try_lock_shared_until(std::chrono::steady_clock::time_point deadline);
    void unlock_shared();

    /// How many threads wait: a snapshot, for tests.
    std::size_t count_waiting_writers() const;
    std::size_t count_waiting_readers() const;

private:
    /// A writer that waits, on its own stack.
    struct WaitingWriter {
        std::condition_variable admission;
        bool is_admitted = false;
        WaitingWriter* next = nullptr;
    };

    // Each of these requires mutex_ held.
    bool must_readers_wait() const noexcept { return is_writer_inside_ || first_writer_ != nullptr; }
    void admit_waiting_readers() noexcept;
    void admit_first_writer() noexcept;
    void enqueue(WaitingWriter& writer) noexcept;
    void withdraw(const WaitingWriter& writer) noexcept;

    mutable std::mutex mutex_;

    // All below guarded by mutex_. Whoever leaves admits the next ones: they find themselves inside when
    // they wake, and nobody gets in between.
    bool is_writer_inside_ = false;
    std::size_t readers_inside_ = 0;
    std::size_t waiting_readers_ = 0;
    std::uint64_t reader_batch_ = 0;  // counts the admissions of waiting readers
    std::condition_variable readers_admission_;
    WaitingWriter* first_writer_ = nullptr;  // the queue of the waiting writers
    WaitingWriter* last_writer_ = nullptr;
};

}  // namespace kx::information_model::detail
