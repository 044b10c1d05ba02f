#pragma once

#include "support/TestServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>

namespace kx::information_model::opc::testing {

/// Waits until `condition` holds; fails the test after a minute.
template <class Condition>
bool wait_for(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "waited in vain";
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return true;
}

/// A host that writes the same number to the variables "/left" and "/right" under one lock, again and again.
class PairWriter {
public:
    explicit PairWriter(TestServer& server)
        : server_(server),
          left_(server.get_root().add_variable("left", Value(0))),
          right_(server.get_root().add_variable("right", Value(0))) {}

    /// Writes until `stop` is true; waits for a poll in between, so that there is something left to poll for.
    void run(const std::atomic<bool>& stop, const std::atomic<int>& polls) {
        while (!stop) {
            const int seen = polls;
            write();
            wait_for([&] { return stop || polls != seen; });
        }
    }

    void write() {
        const int next = written_ + 1;
        {
            const std::unique_lock lock(server_.get_tree());
            left_ = Value(next);
            right_ = Value(next);
        }
        written_ = next;
    }

    /// The number of the last write that is complete.
    int get_written() const { return written_; }

private:
    TestServer& server_;
    Variable& left_;
    Variable& right_;
    std::atomic<int> written_{0};
};

/// Both variables, as requests name them.
inline const std::string PAIR = R"(<Items ItemName="/left"/><Items ItemName="/right"/>)";

/// Both variables with this number, as Read and SubscriptionPolledRefresh report them.
inline std::string create_pair(int number) {
    const std::string value = "<Value xsi:type=\"xsd:int\">" + std::to_string(number) + "</Value></Items>";
    return "<Items ItemName=\"/left\">" + value + "<Items ItemName=\"/right\">" + value;
}

}  // namespace kx::information_model::opc::testing
