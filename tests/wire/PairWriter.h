#pragma once

#include "support/TestServer.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stop_token>
#include <string>

namespace kx::information_model::opc::testing {

/// A host that writes the same number to the variables "/left" and "/right" under one lock, again and again.
class PairWriter {
public:
    explicit PairWriter(TestServer& server)
        : server_(server),
          left_(server.get_root().add_variable("left", Value(0))),
          right_(server.get_root().add_variable("right", Value(0))) {}

    /// Writes until it is told to stop; waits for a poll in between, so that there is something left to poll
    /// for.
    void run(const std::stop_token& stop, const std::atomic<int>& polls) {
        while (!stop.stop_requested()) {
            const int seen = polls;
            write();
            EXPECT_TRUE(wait_for([&] { return stop.stop_requested() || polls != seen; }));
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
