#include "subscriptions/hold_time.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <stdexcept>
#include <thread>

namespace kx::information_model::opc {
namespace {

using namespace std::chrono_literals;
using std::chrono::system_clock;

bool returns(TimePoint hold_time) {
    const auto held = std::async(std::launch::async, [hold_time] { hold_until(hold_time); });
    return held.wait_for(30s) == std::future_status::ready;
}

TEST(ReadHoldTime, IsTheTimeOfTheText) {
    EXPECT_EQ(read_hold_time("1970-01-01T00:00:01.5Z"), TimePoint(1500ms));
    EXPECT_EQ(read_hold_time("1677-09-21T00:12:43.145224192Z"), TimePoint::min());
    EXPECT_EQ(read_hold_time("1677-09-21T00:12:43.145224193Z"), TimePoint::min() + 1ns);
    EXPECT_EQ(read_hold_time("2262-04-11T23:47:16.854775807Z"), TimePoint::max());
}

TEST(ReadHoldTime, IsTheEarliestTimeForOneBefore) {
    for (const char* text :
         {"1677-09-21T00:12:43.145224191Z", "1677-09-20T00:00:00-14:00", "1677-01-01T00:00:00",
          "1676-02-29T24:00:00Z", "1600-02-29T12:00:00+14:00", "0001-01-01T00:00:00Z",
          " \t0001-01-01T00:00:00Z\n", "0004-02-29T00:00:00Z", "-0001-02-29T00:00:00Z",
          "-0044-03-15T09:30:00.123456789012Z", "-123456789012345678-12-31T00:00:00Z"}) {
        EXPECT_EQ(read_hold_time(text), TimePoint::min()) << text;
    }
}

TEST(ReadHoldTime, IsRefusedIfMalformedOrTooLate) {
    for (const char* text : {"",
                             "-",
                             "soon",
                             "0001",
                             "0001-01-01",
                             "0001-13-01T00:00:00Z",
                             "0001-02-29T00:00:00Z",
                             "1500-02-29T00:00:00Z",
                             "-0002-02-29T00:00:00Z",
                             "0000-01-01T00:00:00Z",
                             "-0000-01-01T00:00:00Z",
                             "001-01-01T00:00:00Z",
                             "00001-01-01T00:00:00Z",
                             "-00001-01-01T00:00:00Z",
                             "+0001-01-01T00:00:00Z",
                             "--0001-01-01T00:00:00Z",
                             "0001-01-01T00:00:00Zx",
                             "0001-01-01T00:00:00+14:01",
                             "2262-04-11T23:47:16.854775808Z",
                             "9999-12-31T23:59:59Z",
                             "10001-01-01T00:00:00Z"}) {
        EXPECT_THROW(read_hold_time(text), std::invalid_argument) << text;
    }
}

TEST(HoldUntil, ReturnsWhenTheTimeHasPassed) {
    EXPECT_TRUE(returns(TimePoint::min()));
    EXPECT_TRUE(returns(TimePoint{}));
    EXPECT_TRUE(returns(system_clock::now()));
}

TEST(HoldUntil, ReturnsWhenTheTimeIsReached) {
    const TimePoint hold_time = system_clock::now() + 50ms;
    hold_until(hold_time);
    EXPECT_GE(system_clock::now(), hold_time);
}

std::atomic<int> signals_handled{0};

void handle_signal(int /*signal*/) {
    ++signals_handled;
}

TEST(HoldUntil, GoesOnAfterASignal) {
    struct sigaction action {};
    action.sa_handler = handle_signal;
    struct sigaction previous {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);

    const TimePoint hold_time = system_clock::now() + 300ms;
    TimePoint end;
    std::atomic<bool> done{false};
    std::thread holder([&] {
        hold_until(hold_time);
        end = system_clock::now();
        done = true;
    });
    while (!done) {
        pthread_kill(holder.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(5ms);
    }
    holder.join();
    sigaction(SIGUSR1, &previous, nullptr);

    EXPECT_GT(signals_handled, 0);
    EXPECT_GE(end, hold_time);
}

/// Sleeps a little each time, and ends the hold after some.
class CountingWatch : public HoldWatch {
public:
    explicit CountingWatch(int end) : end_(end) {}

    bool hold_for(const timespec& duration) override {
        longest_ = std::max(longest_, duration.tv_sec);
        std::this_thread::sleep_for(1ms);
        return ++count_ == end_;
    }

    int get_count() const { return count_; }
    std::time_t get_longest() const { return longest_; }

private:
    int end_;
    int count_ = 0;
    std::time_t longest_ = 0;
};

TEST(HoldUntil, EndsWhenNobodyWaitsAnyMore) {
    CountingWatch watch(3);
    EXPECT_FALSE(hold_until(system_clock::now() + 10h, &watch));
    EXPECT_EQ(watch.get_count(), 3);
    EXPECT_GT(watch.get_longest(), 30000);
}

TEST(HoldUntil, WaitsForItsTimeAsLongAsSomebodyWaits) {
    CountingWatch watch(-1);
    const TimePoint hold_time = system_clock::now() + 20ms;
    EXPECT_TRUE(hold_until(hold_time, &watch));
    EXPECT_GE(system_clock::now(), hold_time);
    EXPECT_GE(watch.get_count(), 1);
}

TEST(HoldUntil, AsksNobodyWhenTheTimeHasPassed) {
    CountingWatch watch(1);
    EXPECT_TRUE(hold_until(TimePoint{}, &watch));
    EXPECT_EQ(watch.get_count(), 0);
}

TEST(GetDistance, SplitsIntoSecondsAndNanoseconds) {
    const TimePoint from(1500ms);
    EXPECT_EQ(get_distance(from, from + 2s + 7ns).tv_sec, 2);
    EXPECT_EQ(get_distance(from, from + 2s + 7ns).tv_nsec, 7);
    EXPECT_EQ(get_distance(from, from).tv_sec, 0);
    EXPECT_EQ(get_distance(from, from).tv_nsec, 0);
    EXPECT_EQ(get_distance(TimePoint(-1ns), TimePoint(1ns)).tv_nsec, 2);
}

TEST(GetDistance, DoesNotOverflow) {
    static_assert(sizeof(std::time_t) == 8, "the figures below take 64 bits");
    const timespec distance = get_distance(TimePoint::min(), TimePoint::max());
    EXPECT_EQ(distance.tv_sec, 18446744073);
    EXPECT_EQ(distance.tv_nsec, 709551615);
}

}  // namespace
}  // namespace kx::information_model::opc
