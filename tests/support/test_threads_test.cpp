#include "support/TestThreads.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <stop_token>
#include <thread>

namespace kx::information_model::testing {
namespace {

TEST(TestThreads, WhatAThreadThrowsIsAFailureOfTheTest) {
    EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(TestThreads([] { throw std::runtime_error("lost"); }).join(),
                                           "lost");
    EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(TestThreads([] { throw 1; }).join(), "no std::exception");
}

TEST(TestThreads, JoinWaitsForAll) {
    std::atomic<int> ended = 0;
    TestThreads threads;
    for (int number = 0; number < 4; ++number) {
        threads.start([&] { ++ended; });
    }
    threads.join();
    EXPECT_EQ(ended, 4);
}

TEST(TestThreads, DestructorEndsThoseThatRunUntilTheyAreTold) {
    std::atomic<bool> has_ended = false;
    {
        const TestThreads threads([&](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                std::this_thread::yield();
            }
            has_ended = true;
        });
    }
    EXPECT_TRUE(has_ended);
}

}  // namespace
}  // namespace kx::information_model::testing
