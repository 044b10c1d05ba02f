#include "subscriptions/hold_time.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <limits>

namespace kx::information_model::opc {

namespace {

class PlainSleep : public HoldWatch {
public:
    bool hold_for(const timespec& duration) override {
        nanosleep(&duration, nullptr);
        return false;
    }
};

}  // namespace

timespec get_distance(TimePoint from, TimePoint to) noexcept {
    constexpr std::uint64_t NANOSECONDS_PER_SECOND = 1'000'000'000;
    constexpr auto LONGEST = static_cast<std::uint64_t>(std::numeric_limits<std::time_t>::max());
    // Unsigned, because the distance need not fit into a signed number.
    const std::uint64_t nanoseconds = static_cast<std::uint64_t>(to.time_since_epoch().count()) -
                                      static_cast<std::uint64_t>(from.time_since_epoch().count());
    timespec distance{};
    distance.tv_sec = static_cast<std::time_t>(std::min(nanoseconds / NANOSECONDS_PER_SECOND, LONGEST));
    distance.tv_nsec = static_cast<long>(nanoseconds % NANOSECONDS_PER_SECOND);
    return distance;
}

bool hold_until(TimePoint hold_time, HoldWatch* watch) {
    PlainSleep sleep;
    HoldWatch& waiting = watch == nullptr ? sleep : *watch;
    // More than one round when a signal is handled, or the clock is set back meanwhile.
    for (TimePoint now = std::chrono::system_clock::now(); now < hold_time;
         now = std::chrono::system_clock::now()) {
        if (waiting.hold_for(get_distance(now, hold_time))) {
            return false;
        }
    }
    return true;
}

}  // namespace kx::information_model::opc
