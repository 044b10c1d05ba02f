#include <information_model/InformationModel.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "model/numbered.h"
#include "support/TestThreads.h"

namespace kx::information_model {

using testing::numbered;
using testing::TestThreads;

namespace {

constexpr int VARIABLES = 50;
constexpr int READERS = 8;
constexpr int WRITERS = 2;
constexpr int ROUNDS = 50;

class Concurrency : public ::testing::Test {
protected:
    Concurrency() {
        for (int i = 0; i < VARIABLES; ++i) {
            paths_.emplace_back(numbered("/bulk/v", i));
            bulk_.add_variable(numbered("v", i), Value(0));
        }
    }

    int read(std::size_t position) const {
        const Item& item = model_.get_root().get_item(paths_[position], false);
        return std::get<int>(dynamic_cast<const Variable&>(item).get_value());
    }

    Variable& find(std::size_t position) {
        return dynamic_cast<Variable&>(model_.get_root().get_item(paths_[position], false));
    }

    /// Whether all variables have one value, which every update gives them.
    bool is_consistent() const {
        const std::shared_lock lock(model_.get_information_tree());
        const int first = read(0);
        for (std::size_t i = 1; i < paths_.size(); ++i) {
            if (read(i) != first) {
                return false;
            }
        }
        return true;
    }

    void update_all(int value) {
        const std::unique_lock lock(model_.get_information_tree());
        for (std::size_t i = 0; i < paths_.size(); ++i) {
            find(i) = Value(value);
        }
    }

    InformationModel model_{"plant"};
    Domain& bulk_ = model_.get_root().add_domain("bulk");
    std::vector<Path> paths_;
};

}  // namespace

TEST_F(Concurrency, ReadersSeeWholeUpdatesOnly) {
    std::atomic<int> calls = 0;
    const Registration registration = find(0).on_write([&](const Path&, const Value&) { ++calls; });
    std::atomic<int> torn_reads = 0;
    TestThreads readers;
    for (int i = 0; i < READERS; ++i) {
        readers.start([&](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                torn_reads += is_consistent() ? 0 : 1;
            }
        });
    }
    TestThreads writers;
    for (int i = 0; i < WRITERS; ++i) {
        writers.start([this, i] {
            for (int round = 0; round < ROUNDS; ++round) {
                update_all(round * WRITERS + i);
            }
        });
    }
    writers.join();
    readers.stop();
    EXPECT_EQ(torn_reads, 0);
    EXPECT_EQ(calls, WRITERS * ROUNDS);
}

TEST_F(Concurrency, ItemsComeAndGoWhileOthersRead) {
    std::atomic<int> finds = 0;
    TestThreads readers;
    for (int i = 0; i < READERS; ++i) {
        readers.start([&](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                const std::shared_lock lock(model_.get_information_tree());
                for (const auto& child : bulk_.get_children()) {
                    finds += &bulk_.get_item(child->get_path(), false) == child.get() ? 0 : 1;
                }
            }
        });
    }
    for (int round = 0; round < ROUNDS; ++round) {
        const std::unique_lock lock(model_.get_information_tree());
        bulk_.add_variable(numbered("passing", round), Value("a text with memory of its own"));
        if (round % 2 == 1) {
            bulk_.remove(numbered("passing", round - 1));
        }
    }
    readers.stop();
    EXPECT_EQ(finds, 0);
    EXPECT_EQ(bulk_.get_children().size(), static_cast<std::size_t>(VARIABLES + ROUNDS / 2));
}

}  // namespace kx::information_model
