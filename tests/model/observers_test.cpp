#include <information_model/InformationModel.h>
#include <information_model/Variable.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "model/AllocationControl.h"
#include "model/numbered.h"
#include "support/StderrCapture.h"
#include "support/TestThreads.h"
#include "support/wait_for.h"

namespace kx::information_model {

using testing::numbered;

using opc::testing::StderrCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::TestThreads;
using testing::wait_for;

namespace {

class ItemObservers : public ::testing::Test {
protected:
    /// A callback that notes what it is told, after a label.
    Variable::Callback note(std::string label) {
        return [this, label = std::move(label)](const Path& path, const Value& value) {
            notes_.push_back(numbered(label + path.as_string() + "=", std::get<int>(value)));
        };
    }

    InformationModel model_{"plant"};
    Domain& root_ = model_.get_root();
    Tree& tree_ = model_.get_information_tree();
    Variable& a_ = root_.add_domain("d").add_variable("a", Value(0));
    Variable& b_ = root_.add_variable("b", Value(0));
    std::vector<std::string> notes_;
};

}  // namespace

TEST_F(ItemObservers, AreToldPathAndValue) {
    const Registration registration = a_.on_change(note("changed "));
    std::unique_lock lock(tree_);
    a_ = Value(5);
    lock.unlock();
    EXPECT_THAT(notes_, ElementsAre("changed /d/a=5"));
}

/// Who is called for a write.
struct RestrainRow {
    CALLBACK_RESTRAIN restrain;
    int value;
    std::vector<std::string> notes;
};

class Restrain : public ItemObservers, public ::testing::WithParamInterface<RestrainRow> {};

TEST_P(Restrain, SaysWhichObserversAreCalled) {
    const Registration change = b_.on_change(note("changed "));
    const Registration write = b_.on_write(note("written "));
    b_.set_value(Value(GetParam().value), GetParam().restrain, true);
    EXPECT_EQ(notes_, GetParam().notes);
    EXPECT_EQ(b_.get_value(), Value(GetParam().value));
}

INSTANTIATE_TEST_SUITE_P(
    Observers, Restrain,
    ::testing::Values(RestrainRow{CALLBACK_RESTRAIN::NO_CALLBACKS, 1, {}},
                      RestrainRow{CALLBACK_RESTRAIN::CHANGED, 1, {"changed /b=1"}},
                      RestrainRow{CALLBACK_RESTRAIN::WRITTEN, 1, {"written /b=1"}},
                      RestrainRow{CALLBACK_RESTRAIN::UNRESTRAINED, 1, {"changed /b=1", "written /b=1"}},
                      RestrainRow{CALLBACK_RESTRAIN::NO_CALLBACKS, 0, {}},
                      RestrainRow{CALLBACK_RESTRAIN::CHANGED, 0, {}},
                      RestrainRow{CALLBACK_RESTRAIN::WRITTEN, 0, {"written /b=0"}},
                      RestrainRow{CALLBACK_RESTRAIN::UNRESTRAINED, 0, {"written /b=0"}}));

TEST_F(ItemObservers, AreCalledAfterUnlockInTheOrderOfTheWrites) {
    const Registration first = a_.on_change(note(""));
    const Registration second = b_.on_change(note(""));
    const Registration third = a_.on_write(note("written "));
    std::unique_lock lock(tree_);
    a_ = Value(1);
    b_ = Value(2);
    a_ = Value(3);
    EXPECT_THAT(notes_, IsEmpty());
    lock.unlock();
    EXPECT_THAT(notes_, ElementsAre("/d/a=1", "written /d/a=1", "/b=2", "/d/a=3", "written /d/a=3"));
}

TEST_F(ItemObservers, AreCalledByUnlockOfAnyNode) {
    const Registration registration = a_.on_change(note(""));
    std::unique_lock<Tree> lock(b_);
    a_ = Value(1);
    lock.unlock();
    EXPECT_THAT(notes_, ElementsAre("/d/a=1"));
}

TEST_F(ItemObservers, AreCalledOnTheThreadThatUnlocks) {
    std::thread::id called_on;
    const Registration registration =
        a_.on_change([&](const Path&, const Value&) { called_on = std::this_thread::get_id(); });
    std::thread::id unlocked_on;
    TestThreads writer([&] {
        unlocked_on = std::this_thread::get_id();
        const std::unique_lock lock(tree_);
        a_ = Value(1);
    });
    writer.join();
    EXPECT_EQ(called_on, unlocked_on);
}

TEST_F(ItemObservers, RunWithoutTheLock) {
    bool is_free = false;
    const Registration registration = a_.on_change([&](const Path&, const Value&) {
        is_free = tree_.try_lock();
        if (is_free) {
            tree_.unlock();
        }
    });
    std::unique_lock lock(tree_);
    a_ = Value(1);
    lock.unlock();
    EXPECT_TRUE(is_free);
}

TEST_F(ItemObservers, AreCalledAtOnceForAWriteWithoutTheLock) {
    const Registration registration = a_.on_change(note(""));
    a_ = Value(1);
    EXPECT_THAT(notes_, ElementsAre("/d/a=1"));
}

TEST_F(ItemObservers, WriteWithoutTheLockDoesNotWaitForAnotherThreadsLock) {
    // Before the server runs, a host may have a second model whose lock another thread holds.
    InformationModel other("other");
    Variable& variable = other.get_root().add_variable("v", Value(0));
    const Registration registration = variable.on_change(note(""));
    const std::unique_lock lock(tree_);
    variable = Value(1);
    EXPECT_THAT(notes_, ElementsAre("/v=1"));
}

TEST_F(ItemObservers, MayLockAndWriteAndAreToldAfterWhatWasDue) {
    const Registration copy = a_.on_change([this](const Path&, const Value& value) {
        notes_.push_back("begin");
        std::unique_lock lock(tree_);
        b_ = Value(std::get<int>(value) + 100);
        lock.unlock();
        notes_.push_back("end");
    });
    const Registration watch_b = b_.on_change(note(""));
    std::unique_lock lock(tree_);
    a_ = Value(1);
    a_ = Value(2);
    lock.unlock();
    EXPECT_THAT(notes_, ElementsAre("begin", "end", "begin", "end", "/b=101", "/b=102"));
}

TEST_F(ItemObservers, ThatWriteDoNotDeepenTheStack) {
    constexpr int WRITES = 100'000;
    int depth = 0;
    int deepest = 0;
    const Registration registration = a_.on_change([&](const Path&, const Value& value) {
        deepest = std::max(deepest, ++depth);
        if (std::get<int>(value) < WRITES) {
            const std::unique_lock lock(tree_);
            a_ = Value(std::get<int>(value) + 1);
        }
        --depth;
    });
    a_ = Value(1);
    EXPECT_EQ(a_.get_value(), Value(WRITES));
    EXPECT_EQ(deepest, 1);
}

TEST_F(ItemObservers, ThatWriteWithoutTheLockDoNotDeepenTheStack) {
    int depth = 0;
    int deepest = 0;
    const Registration registration = a_.on_change([&](const Path&, const Value& value) {
        deepest = std::max(deepest, ++depth);
        if (std::get<int>(value) < 1'000) {
            a_ = Value(std::get<int>(value) + 1);
        }
        --depth;
    });
    a_ = Value(1);
    EXPECT_EQ(a_.get_value(), Value(1'000));
    EXPECT_EQ(deepest, 1);
}

TEST_F(ItemObservers, ExceptionIsReportedAndStopsNothing) {
    const Registration failing =
        a_.on_change([](const Path&, const Value&) { throw std::runtime_error("out of paper"); });
    const Registration odd = a_.on_change([](const Path&, const Value&) { throw 42; });
    const Registration next = a_.on_change(note(""));
    StderrCapture errors;
    std::unique_lock lock(tree_);
    a_ = Value(1);
    lock.unlock();
    EXPECT_EQ(errors.stop(),
              "observer of /d/a failed: out of paper\nobserver of /d/a failed: unknown exception\n");
    EXPECT_THAT(notes_, ElementsAre("/d/a=1"));
    EXPECT_TRUE(tree_.try_lock());
    tree_.unlock();
}

TEST_F(ItemObservers, AreNotCalledAfterTheEnd) {
    Registration registration = a_.on_change(note(""));
    a_ = Value(1);
    registration.end();
    registration.end();
    a_ = Value(2);
    EXPECT_THAT(notes_, ElementsAre("/d/a=1"));
}

TEST_F(ItemObservers, AreNotCalledAfterDestructionOfTheRegistration) {
    {
        const Registration registration = a_.on_change(note(""));
        a_ = Value(1);
    }
    a_ = Value(2);
    EXPECT_THAT(notes_, ElementsAre("/d/a=1"));
}

TEST_F(ItemObservers, EndDropsWhatIsDue) {
    Registration registration = a_.on_change(note(""));
    std::unique_lock lock(tree_);
    a_ = Value(1);
    registration.end();
    lock.unlock();
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(ItemObservers, RegisteredAfterAWriteAreNotToldOfIt) {
    std::unique_lock lock(tree_);
    a_ = Value(1);
    const Registration registration = a_.on_change(note(""));
    lock.unlock();
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(ItemObservers, MayEndThemselvesAndLiveUntilTheyReturn) {
    auto witness = std::make_shared<int>(7);
    const std::weak_ptr<int> watch = witness;
    std::optional<Registration> registration;
    int seen_after_end = 0;
    registration = a_.on_change([&, witness](const Path&, const Value&) {
        registration.reset();
        seen_after_end = *witness;
    });
    witness.reset();
    std::unique_lock lock(tree_);
    a_ = Value(1);
    a_ = Value(2);
    lock.unlock();
    EXPECT_EQ(seen_after_end, 7);
    EXPECT_TRUE(watch.expired());
}

TEST_F(ItemObservers, WhatTheyHoldIsFreedAtTheEnd) {
    auto witness = std::make_shared<int>(7);
    const std::weak_ptr<int> watch = witness;
    Registration registration = a_.on_change([witness = std::move(witness)](const Path&, const Value&) {});
    EXPECT_FALSE(watch.expired());
    registration.end();
    EXPECT_TRUE(watch.expired());
}

TEST_F(ItemObservers, EndWaitsForACallUnderWay) {
    std::atomic<bool> is_inside = false;
    std::atomic<bool> is_ending = false;
    std::atomic<bool> is_finished = false;
    Registration registration = a_.on_change([&](const Path&, const Value&) {
        is_inside = true;
        wait_for([&] { return is_ending.load(); });
        for (int i = 0; i < 1'000; ++i) {
            std::this_thread::yield();
        }
        is_finished = true;
    });
    TestThreads writer([&] { a_ = Value(1); });
    EXPECT_TRUE(wait_for([&] { return is_inside.load(); }));
    is_ending = true;
    registration.end();
    EXPECT_TRUE(is_finished);
    writer.join();
}

TEST_F(ItemObservers, MayRemoveTheirVariable) {
    const Registration registration = b_.on_change([this](const Path& path, const Value& value) {
        notes_.push_back("removing " + path.as_string());
        const std::unique_lock lock(tree_);
        root_.remove("b");
        notes_.push_back(numbered("removed at ", std::get<int>(value)));
    });
    std::unique_lock lock(tree_);
    b_ = Value(1);
    lock.unlock();
    EXPECT_THAT(notes_, ElementsAre("removing /b", "removed at 1"));
    EXPECT_THROW(root_.get_item(Path("b"), false), PathNotFoundException);
}

TEST_F(ItemObservers, AreToldOfAWriteWhoseVariableWasRemoved) {
    const Registration registration = b_.on_change(note(""));
    std::unique_lock lock(tree_);
    b_ = Value(1);
    root_.remove("b");
    lock.unlock();
    EXPECT_THAT(notes_, ElementsAre("/b=1"));
}

TEST_F(ItemObservers, RegistrationMayOutliveTheModel) {
    Registration registration;
    {
        InformationModel model("short");
        registration = model.get_root().add_variable("v", Value(0)).on_change(note(""));
    }
    registration.end();
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(ItemObservers, RegistrationMoves) {
    Registration first = a_.on_change(note("first "));
    Registration second = std::move(first);
    first.end();  // NOLINT(bugprone-use-after-move): an empty registration
    a_ = Value(1);
    second = a_.on_change(note("second "));
    a_ = Value(2);
    Registration& same = second;
    second = std::move(same);
    a_ = Value(3);
    EXPECT_THAT(notes_, ElementsAre("first /d/a=1", "second /d/a=2", "second /d/a=3"));
}

TEST_F(ItemObservers, ManyShortRegistrationsLeaveTheOthersInOrder) {
    const Registration first = a_.on_change(note("first "));
    for (int i = 0; i < 1'000; ++i) {
        const Registration passing = a_.on_change(note("passing "));
    }
    const Registration last = a_.on_change(note("last "));
    a_ = Value(1);
    EXPECT_THAT(notes_, ElementsAre("first /d/a=1", "last /d/a=1"));
}

TEST_F(ItemObservers, FailureToQueueChangesNothing) {
    const Registration first = a_.on_change(note(""));
    const Registration second = a_.on_write(note(""));
    const TimePoint timestamp = a_.get_timestamp();
    std::unique_lock lock(tree_);
    std::size_t successes = 0;
    for (bool is_written = false; !is_written; ++successes) {
        Value value(1);
        try {
            const testing::AllocationFailure failure(successes);
            a_ = std::move(value);
            is_written = true;
        } catch (const std::bad_alloc&) {
            ASSERT_EQ(a_.get_value(), Value(0));
            ASSERT_EQ(a_.get_timestamp(), timestamp);
        }
    }
    lock.unlock();
    EXPECT_GT(successes, 2U);
    EXPECT_THAT(notes_, ElementsAre("/d/a=1", "/d/a=1"));
}

TEST_F(ItemObservers, WriteThatReachesNobodyAllocatesNothing) {
    const Registration change = a_.on_change(note(""));
    Value value(0);
    const testing::AllocationCounter counter;
    a_ = std::move(value);
    b_.set_value(Value(1), CALLBACK_RESTRAIN::UNRESTRAINED, true);
    EXPECT_EQ(counter.get_count(), 0U);
}

TEST_F(ItemObservers, CallsOfOneObserverDoNotOverlap) {
    constexpr int THREADS = 4;
    constexpr int WRITES = 100;
    int calls = 0;  // not atomic: the thread sanitizer would see an overlap
    const Registration registration = a_.on_write([&](const Path&, const Value&) { ++calls; });
    TestThreads writers;
    for (int i = 0; i < THREADS; ++i) {
        writers.start([this] {
            for (int write = 0; write < WRITES; ++write) {
                const std::unique_lock lock(tree_);
                a_ = Value(write);
            }
        });
    }
    writers.join();
    EXPECT_EQ(calls, THREADS * WRITES);
}

TEST_F(ItemObservers, MayEndWhileOthersWrite) {
    std::atomic<int> writes = 0;
    TestThreads writer([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const std::unique_lock lock(tree_);
            a_ = Value(++writes);
        }
    });
    for (int i = 0; i < 50; ++i) {
        auto calls = std::make_unique<int>(0);
        Registration registration;
        {
            const std::unique_lock lock(tree_);
            registration = a_.on_change([&calls = *calls](const Path&, const Value&) { ++calls; });
        }
        EXPECT_TRUE(wait_for([&, before = writes.load()] { return writes > before; }));
        registration.end();
        calls.reset();  // a call after the end would touch freed memory
    }
    writer.stop();
}

}  // namespace kx::information_model
