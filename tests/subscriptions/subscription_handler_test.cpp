#include "subscriptions/SubscriptionHandler.h"
#include "support/TestThreads.h"

#include "support/processor_time.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <set>

namespace kx::information_model::opc {
namespace {

using testing::TestThreads;

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;
using testing::measure_processor_time;

constexpr std::chrono::milliseconds LONG_PING_RATE = 1h;

std::shared_ptr<Subscription> create_subscription(const std::string& handle) {
    return std::make_shared<Subscription>(LONG_PING_RATE, handle, steady_clock::now() + 1h);
}

std::shared_ptr<Subscription> create_expired_subscription(const std::string& handle) {
    return std::make_shared<Subscription>(LONG_PING_RATE, handle, steady_clock::now() - 1ns);
}

void wait_until_expired(const Subscription& subscription) {
    while (!is_expired(subscription, steady_clock::now())) {
    }
}

TEST(SubscriptionHandler, CreatedSubscriptionIsEmptyAndNeverPolled) {
    SubscriptionHandler handler;
    const auto before = steady_clock::now();
    const auto subscription = handler.create(10s);
    const auto after = steady_clock::now();

    EXPECT_EQ(subscription->ping_rate, 10s);
    EXPECT_GE(subscription->expiry.load(), before + 10s);
    EXPECT_LE(subscription->expiry.load(), after + 10s);
    EXPECT_EQ(subscription->last_poll.load(), system_clock::time_point{});
    EXPECT_TRUE(subscription->items.empty());
    EXPECT_FALSE(subscription->items_complete);
    EXPECT_EQ(handler.get_size(), 1U);
    EXPECT_EQ(handler.find(subscription->handle), subscription);
}

TEST(SubscriptionHandler, HandleIsTheSteadyClockInDecimalNanoseconds) {
    SubscriptionHandler handler;
    const auto before = steady_clock::now().time_since_epoch().count();
    const std::string handle = handler.create(LONG_PING_RATE)->handle;
    const auto after = steady_clock::now().time_since_epoch().count();

    ASSERT_THAT(handle, ::testing::MatchesRegex("-?[0-9]+"));
    EXPECT_EQ(std::to_string(std::stoll(handle)), handle);
    EXPECT_GE(std::stoll(handle), before);
    EXPECT_LE(std::stoll(handle), after);
}

TEST(SubscriptionHandler, HandlesGrowWithTime) {
    SubscriptionHandler handler;
    long long previous = 0;
    for (int count = 0; count < 1000; ++count) {
        const long long handle = std::stoll(handler.create(LONG_PING_RATE)->handle);
        ASSERT_GE(handle, previous);
        previous = handle;
    }
}

TEST(SubscriptionHandler, NegativePingRateExpiresInThePast) {
    SubscriptionHandler handler;
    const auto before = steady_clock::now();
    const auto subscription = handler.create(-2'147'483'648ms);
    EXPECT_EQ(subscription->ping_rate, -2'147'483'648ms);
    EXPECT_GE(subscription->expiry.load(), before - 2'147'483'648ms);
    EXPECT_LT(subscription->expiry.load(), before);
    handler.remove_expired();
    EXPECT_EQ(handler.find(subscription->handle), nullptr);
}

TEST(SubscriptionHandler, FindsNothingUnderAnotherHandle) {
    SubscriptionHandler handler;
    const std::string handle = handler.create(LONG_PING_RATE)->handle;
    EXPECT_EQ(handler.find(""), nullptr);
    EXPECT_EQ(handler.find("0" + handle), nullptr);
    EXPECT_EQ(handler.find(" " + handle), nullptr);
    EXPECT_EQ(handler.find(handle + " "), nullptr);
}

TEST(SubscriptionHandler, SameHandleReplacesTheOlderSubscription) {
    SubscriptionHandler handler;
    const auto older = create_subscription("1");
    const auto newer = create_subscription("1");
    handler.add(older);
    handler.add(newer);
    EXPECT_EQ(handler.get_size(), 1U);
    EXPECT_EQ(handler.find("1"), newer);
}

TEST(SubscriptionHandler, RemovesOnce) {
    SubscriptionHandler handler;
    const auto other = handler.create(LONG_PING_RATE);
    handler.add(create_subscription("1"));
    EXPECT_TRUE(handler.remove("1"));
    EXPECT_FALSE(handler.remove("1"));
    EXPECT_FALSE(handler.remove(""));
    EXPECT_EQ(handler.get_size(), 1U);
    EXPECT_EQ(handler.find(other->handle), other);
}

TEST(SubscriptionHandler, RemovedSubscriptionStaysUsableForThoseThatHoldIt) {
    SubscriptionHandler handler;
    handler.add(create_subscription("1"));
    handler.add(create_expired_subscription("2"));
    const auto cancelled = handler.find("1");
    const auto swept = handler.find("2");
    handler.remove("1");
    handler.remove_expired();
    EXPECT_EQ(handler.get_size(), 0U);
    EXPECT_EQ(cancelled.use_count(), 1);
    EXPECT_EQ(cancelled->handle, "1");
    EXPECT_EQ(swept.use_count(), 1);
    EXPECT_EQ(swept->handle, "2");
}

TEST(SubscriptionHandler, SweepsWhatHasExpiredAndKeepsTheRest) {
    SubscriptionHandler handler;
    for (int number = 0; number < 10; ++number) {
        const std::string handle = std::to_string(number);
        handler.add(number % 3 == 0 ? create_expired_subscription(handle) : create_subscription(handle));
    }
    handler.remove_expired();
    EXPECT_EQ(handler.get_size(), 6U);
    for (int number = 0; number < 10; ++number) {
        EXPECT_EQ(handler.find(std::to_string(number)) == nullptr, number % 3 == 0) << number;
    }
}

TEST(SubscriptionHandler, PingRateOfTenSecondsOutlivesNine) {
    SubscriptionHandler handler;
    const auto before = steady_clock::now();
    const auto subscription = handler.create(10s);
    const auto after = steady_clock::now();
    EXPECT_FALSE(is_expired(*subscription, before + 9s));
    EXPECT_TRUE(is_expired(*subscription, after + 10s + 1ns));
}

// A sweep comes too early, the subscription is polled, and its first expiry passes.
TEST(SubscriptionHandler, KeepsWhatIsPolledInTime) {
    SubscriptionHandler handler;
    const auto subscription = std::make_shared<Subscription>(LONG_PING_RATE, "1", steady_clock::now() + 20ms);
    const auto forgotten = std::make_shared<Subscription>(LONG_PING_RATE, "2", subscription->expiry.load());
    handler.add(subscription);
    handler.add(forgotten);
    subscription->restart_expiry();
    EXPECT_GT(subscription->expiry.load(), steady_clock::now() + 59min);
    wait_until_expired(*forgotten);
    for (int sweep = 0; sweep < 3; ++sweep) {
        handler.remove_expired();
        EXPECT_EQ(handler.find("1"), subscription);
        EXPECT_EQ(handler.find("2"), nullptr);
    }
}

TEST(SubscriptionHandler, SweepsWhatWasPolledAndThenLeftAlone) {
    SubscriptionHandler handler;
    const auto subscription = std::make_shared<Subscription>(20ms, "1", steady_clock::now() + 1ms);
    handler.add(subscription);
    subscription->restart_expiry();
    for (auto now = steady_clock::now(); now <= subscription->expiry.load(); now = steady_clock::now()) {
        handler.remove_expired();
        if (steady_clock::now() <= subscription->expiry.load()) {
            ASSERT_EQ(handler.get_size(), 1U);
        }
    }
    handler.remove_expired();
    EXPECT_EQ(handler.get_size(), 0U);
}

TEST(SubscriptionHandler, PollingNeverBringsTheExpiryForward) {
    Subscription subscription(10ms, "1", steady_clock::now() + 1h);
    const auto expiry = subscription.expiry.load();
    subscription.restart_expiry();
    EXPECT_EQ(subscription.expiry.load(), expiry);
}

TEST(SubscriptionHandler, ReplacedAndRemovedSubscriptionsAreNotSweptLater) {
    SubscriptionHandler handler;
    handler.add(create_expired_subscription("1"));
    handler.add(create_subscription("1"));
    handler.add(create_expired_subscription("2"));
    handler.remove("2");
    handler.add(create_subscription("2"));
    const auto twice = create_subscription("3");
    handler.add(twice);
    handler.add(twice);
    handler.remove_expired();
    EXPECT_EQ(handler.get_size(), 3U);
    EXPECT_EQ(handler.find("3"), twice);
}

// Each request sweeps: what it costs must not follow the number of subscriptions of others.
TEST(SubscriptionHandler, ASweepThatFindsNothingTakesAsLongForManySubscriptionsAsForFew) {
    const auto measure = [](int count) {
        SubscriptionHandler handler;
        for (int number = 0; number < count; ++number) {
            handler.add(create_subscription(std::to_string(number)));
        }
        return measure_processor_time([&] {
            for (int sweep = 0; sweep < 100; ++sweep) {
                handler.remove_expired();
            }
        });
    };
    const double few = measure(100);
    EXPECT_LE(measure(64 * 100), 8 * few + 0.001);
}

TEST(SubscriptionHandler, ExpiryEqualToNowSurvives) {
    const auto subscription = create_subscription("1");
    const auto expiry = subscription->expiry.load();
    EXPECT_FALSE(is_expired(*subscription, expiry - 1ns));
    EXPECT_FALSE(is_expired(*subscription, expiry));
    EXPECT_TRUE(is_expired(*subscription, expiry + 1ns));
}

TEST(SubscriptionHandler, PingRateOfZeroIsGoneAfterTheNextSweep) {
    SubscriptionHandler handler;
    const auto subscription = handler.create(0ms);
    wait_until_expired(*subscription);
    handler.remove_expired();
    EXPECT_EQ(handler.find(subscription->handle), nullptr);
}

// Two subscriptions made in the same nanosecond have the same handle, and the one that was stored later is
// the one that is found: nothing more can be promised.
TEST(SubscriptionHandler, EightThreadsCreateAtOnce) {
    constexpr std::size_t THREADS = 8;
    constexpr std::size_t EACH = 2000;
    SubscriptionHandler handler;
    std::vector<std::vector<std::shared_ptr<Subscription>>> created(THREADS);
    TestThreads threads;
    for (auto& own : created) {
        threads.start([&handler, &own] {
            for (std::size_t count = 0; count < EACH; ++count) {
                own.push_back(handler.create(LONG_PING_RATE));
            }
        });
    }
    threads.join();

    std::map<std::string, std::set<std::shared_ptr<Subscription>>> by_handle;
    for (const auto& own : created) {
        ASSERT_EQ(own.size(), EACH);
        for (const auto& subscription : own) {
            by_handle[subscription->handle].insert(subscription);
        }
    }
    EXPECT_EQ(handler.get_size(), by_handle.size());
    for (const auto& [handle, subscriptions] : by_handle) {
        ASSERT_EQ(subscriptions.count(handler.find(handle)), 1U) << handle;
    }
}

TEST(SubscriptionHandler, SweepsRemovalsAndLookUpsRunAtOnce) {
    constexpr int EACH = 2000;
    SubscriptionHandler handler;
    const auto kept = create_subscription("1");
    handler.add(kept);
    TestThreads threads;
    for (int number = 0; number < 4; ++number) {
        threads.start([&handler, number] {
            for (int count = 0; count < EACH; ++count) {
                const auto subscription = handler.create(number % 2 == 0 ? LONG_PING_RATE : 0ms);
                subscription->restart_expiry();
                handler.remove_expired();
                handler.remove(subscription->handle);
                EXPECT_NE(handler.find("1"), nullptr);
            }
        });
    }
    threads.join();
    handler.remove_expired();
    EXPECT_EQ(handler.get_size(), 1U);
    EXPECT_EQ(handler.find("1"), kept);
}

}  // namespace
}  // namespace kx::information_model::opc
