#pragma once

#include <algorithm>
#include <chrono>

namespace xmlda {

/// A moment by which something must be done, by the steady clock.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(std::chrono::milliseconds from_now) : moment_(Clock::now() + from_now) {}

    bool has_passed() const { return Clock::now() >= moment_; }

    /// At least one millisecond before the moment, and 0 from then on.
    std::chrono::milliseconds get_remaining() const {
        return std::max(std::chrono::ceil<std::chrono::milliseconds>(moment_ - Clock::now()),
                        std::chrono::milliseconds(0));
    }

private:
    Clock::time_point moment_;
};

}  // namespace xmlda
