#pragma once

#include <chrono>

namespace kx::fuzz {

/// While it lives, the clocks stand still for the thread that made it, but for what is said here, so that
/// an input always does the same, and a poll that holds for a century returns at once. Takes the place of
/// `std::chrono::system_clock`, `std::chrono::steady_clock` and `nanosleep` in the whole program that its
/// file is linked into. One at a time.
///
/// - Each reading of the system clock is one microsecond later than the one before.
/// - `nanosleep` returns at once, with both clocks as much later.
/// - A handler of SIGALRM sees the real time: a fuzzer notices with it that an input takes too long.
class ManualClock {
public:
    /// What the steady clock starts at: handles of subscriptions are made of it, so that inputs can name
    /// them. The system clock starts at 2026-11-21T10:11:12Z.
    static constexpr std::chrono::seconds STEADY_START{1};

    ManualClock() noexcept;
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;
    ~ManualClock();

    /// Makes both clocks of this thread later, up to the end of their range.
    static void advance(std::chrono::nanoseconds length) noexcept;
};

}  // namespace kx::fuzz
