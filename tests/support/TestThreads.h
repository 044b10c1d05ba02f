#pragma once

#include <gtest/gtest.h>

#include <concepts>
#include <exception>
#include <functional>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>

namespace kx::information_model::testing {

/// The threads of a test. What one of them throws is a failure of that test, where it would end the whole
/// program if it left a `std::thread`.
///
/// A thread that runs until it is told to end takes a `std::stop_token`: the destructor stops and joins all,
/// so that a test that ends early, by an exception or an assertion, ends its threads too. Declare it after
/// what the threads use.
class TestThreads {
public:
    TestThreads() = default;
    /// Starts one thread, see `start`.
    template <class Function>
    requires std::invocable<Function> || std::invocable<Function, std::stop_token>
    explicit TestThreads(Function function) { start(std::move(function)); }
    TestThreads(const TestThreads&) = delete;
    TestThreads& operator=(const TestThreads&) = delete;
    ~TestThreads() { stop(); }

    /// Starts a thread that calls `function`, with a `std::stop_token` if it takes one.
    template <class Function>
    void start(Function function) {
        threads_.emplace_back([function = std::move(function)](const std::stop_token& token) mutable {
            try {
                if constexpr (std::invocable<Function, std::stop_token>) {
                    std::invoke(function, token);
                } else {
                    std::invoke(function);
                }
            } catch (const std::exception& exception) {
                ADD_FAILURE() << "a thread of the test has thrown: " << exception.what();
            } catch (...) {
                ADD_FAILURE() << "a thread of the test has thrown what is no std::exception";
            }
        });
    }

    /// Waits until all have returned.
    void join() {
        for (std::jthread& thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }

    /// Tells those with a stop token to end, and waits until all have returned.
    void stop() {
        for (std::jthread& thread : threads_) {
            thread.request_stop();
        }
        join();
    }

private:
    std::vector<std::jthread> threads_;
};

}  // namespace kx::information_model::testing

namespace kx::information_model::opc::testing {

using information_model::testing::TestThreads;

}  // namespace kx::information_model::opc::testing
