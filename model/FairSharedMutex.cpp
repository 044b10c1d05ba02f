#include "model/FairSharedMutex.h"

namespace kx::information_model::detail {

void FairSharedMutex::lock() {
    std::unique_lock guard(mutex_);
    if (!is_writer_inside_ && readers_inside_ == 0) {
        is_writer_inside_ = true;
        return;
    }
    WaitingWriter self;
    enqueue(self);
    self.admission.wait(guard, [&self] { return self.is_admitted; });
}

bool FairSharedMutex::try_lock_until(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock guard(mutex_);
    if (!is_writer_inside_ && readers_inside_ == 0) {
        is_writer_inside_ = true;
        return true;
    }
    WaitingWriter self;
    enqueue(self);
    if (self.admission.wait_until(guard, deadline, [&self] { return self.is_admitted; })) {
        return true;
    }
    withdraw(self);
    return false;
}

bool FairSharedMutex::try_lock() {
    const std::lock_guard guard(mutex_);
    if (is_writer_inside_ || readers_inside_ > 0) {
        return false;
    }
    is_writer_inside_ = true;
    return true;
}

void FairSharedMutex::unlock() {
    const std::lock_guard guard(mutex_);
    is_writer_inside_ = false;
    if (waiting_readers_ > 0) {
        admit_waiting_readers();
    } else if (first_writer_ != nullptr) {
        admit_first_writer();
    }
}

void FairSharedMutex::lock_shared() {
    std::unique_lock guard(mutex_);
    if (!must_readers_wait()) {
        ++readers_inside_;
        return;
    }
    ++waiting_readers_;
    readers_admission_.wait(guard, [this, batch = reader_batch_] { return reader_batch_ != batch; });
}

bool FairSharedMutex::try_lock_shared() {
    const std::lock_guard guard(mutex_);
    if (must_readers_wait()) {
        return false;
    }
    ++readers_inside_;
    return true;
}

bool FairSharedMutex::try_lock_shared_until(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock guard(mutex_);
    if (!must_readers_wait()) {
        ++readers_inside_;
        return true;
    }
    ++waiting_readers_;
    if (readers_admission_.wait_until(guard, deadline,
                                      [this, batch = reader_batch_] { return reader_batch_ != batch; })) {
        return true;
    }
    --waiting_readers_;
    return false;
}

void FairSharedMutex::unlock_shared() {
    const std::lock_guard guard(mutex_);
    --readers_inside_;
    if (readers_inside_ == 0 && first_writer_ != nullptr) {
        admit_first_writer();
    }
}

std::size_t FairSharedMutex::count_waiting_writers() const {
    const std::lock_guard guard(mutex_);
    std::size_t count = 0;
    for (const WaitingWriter* writer = first_writer_; writer != nullptr; writer = writer->next) {
        ++count;
    }
    return count;
}

std::size_t FairSharedMutex::count_waiting_readers() const {
    const std::lock_guard guard(mutex_);
    return waiting_readers_;
}

void FairSharedMutex::admit_waiting_readers() noexcept {
    readers_inside_ += waiting_readers_;
    waiting_readers_ = 0;
    ++reader_batch_;
    readers_admission_.notify_all();
}

void FairSharedMutex::admit_first_writer() noexcept {
    is_writer_inside_ = true;
    WaitingWriter* writer = first_writer_;
    first_writer_ = writer->next;
    writer->is_admitted = true;
    // Under the mutex, because the writer's node ends with its wait.
    writer->admission.notify_one();
}

void FairSharedMutex::enqueue(WaitingWriter& writer) noexcept {
    (first_writer_ == nullptr ? first_writer_ : last_writer_->next) = &writer;
    last_writer_ = &writer;
}

void FairSharedMutex::withdraw(const WaitingWriter& writer) noexcept {
    WaitingWriter** place = &first_writer_;
    WaitingWriter* previous = nullptr;
    while (*place != &writer) {
        previous = *place;
        place = &previous->next;
    }
    *place = writer.next;
    if (last_writer_ == &writer) {
        last_writer_ = previous;
    }
    // Readers that waited behind the last writer only have nobody to wait for any more.
    if (first_writer_ == nullptr && !is_writer_inside_ && waiting_readers_ > 0) {
        admit_waiting_readers();
    }
}

}  // namespace kx::information_model::detail
