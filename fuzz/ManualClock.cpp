#include "ManualClock.h"

#include <csignal>
#include <cstdint>
#include <ctime>
#include <limits>

namespace kx::fuzz {

namespace {

constexpr std::int64_t FIRST_SYSTEM_TIME = 1'795'255'872'000'000'000;
constexpr std::int64_t FIRST_STEADY_TIME = std::chrono::nanoseconds(ManualClock::STEADY_START).count();
constexpr std::int64_t TICK = 1000;

thread_local bool is_manual = false;
thread_local std::int64_t system_time;  // in nanoseconds, as all here
thread_local std::int64_t steady_time;

std::int64_t add_saturating(std::int64_t time, std::int64_t length) noexcept {
    constexpr std::int64_t LAST = std::numeric_limits<std::int64_t>::max();
    return length > LAST - time ? LAST : time + length;
}

bool is_in_alarm_handler() noexcept {
    sigset_t blocked;
    return pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 && sigismember(&blocked, SIGALRM) == 1;
}

std::int64_t read_real_clock(clockid_t clock) noexcept {
    timespec time{};
    clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::int64_t read_system_clock() noexcept {
    if (!is_manual || is_in_alarm_handler()) {
        return read_real_clock(CLOCK_REALTIME);
    }
    return system_time = add_saturating(system_time, TICK);
}

std::int64_t read_steady_clock() noexcept {
    return is_manual ? steady_time : read_real_clock(CLOCK_MONOTONIC);
}

}  // namespace

ManualClock::ManualClock() noexcept {
    system_time = FIRST_SYSTEM_TIME;
    steady_time = FIRST_STEADY_TIME;
    is_manual = true;
}

ManualClock::~ManualClock() {
    is_manual = false;
}

void ManualClock::advance(std::chrono::nanoseconds length) noexcept {
    system_time = add_saturating(system_time, length.count());
    steady_time = add_saturating(steady_time, length.count());
}

}  // namespace kx::fuzz

// These stand in front of those of the standard libraries.

std::chrono::system_clock::time_point std::chrono::system_clock::now() noexcept {
    return time_point(nanoseconds(kx::fuzz::read_system_clock()));
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
    return time_point(nanoseconds(kx::fuzz::read_steady_clock()));
}

extern "C" int nanosleep(const timespec* length, timespec* remaining) {
    if (!kx::fuzz::is_manual) {
        return clock_nanosleep(CLOCK_MONOTONIC, 0, length, remaining);
    }
    kx::fuzz::ManualClock::advance(std::chrono::seconds(length->tv_sec) +
                                   std::chrono::nanoseconds(length->tv_nsec));
    return 0;
}
