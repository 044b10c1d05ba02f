#include <information_model/InformationModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/AllocationControl.h"
#include "model/numbered.h"
#include "support/TestThreads.h"
#include "support/wait_for.h"

namespace kx::information_model {

using testing::numbered;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::TestThreads;
using testing::wait_for;

namespace {

class BranchObservers : public ::testing::Test {
protected:
    /// A callback that notes what it is told, after a label.
    Variable::Callback note(std::string label) {
        return [this, label = std::move(label)](const Path& path, const Value& value) {
            notes_.push_back(label + path.as_string() + "=" + value.to_string());
        };
    }

    InformationModel model_{"plant"};
    Domain& root_ = model_.get_root();
    Tree& tree_ = model_.get_information_tree();
    Domain& boiler_ = root_.add_domain("boiler");
    Variable& level_ = boiler_.add_domain("drum").add_variable("level", Value(0));
    Variable& flow_ = boiler_.add_variable("flow", Value(0));
    Variable& outside_ = root_.add_variable("outside", Value(0));
    std::vector<std::string> notes_;
};

}  // namespace

TEST_F(BranchObservers, HearOfAllBelowAndOfNothingElse) {
    const Registration watching = boiler_.on_change(note(""));
    level_ = Value(1);
    flow_ = Value(2);
    outside_ = Value(3);
    EXPECT_THAT(notes_, ElementsAre("/boiler/drum/level=1", "/boiler/flow=2"));
}

TEST_F(BranchObservers, HearOfVariablesThatAreAddedLater) {
    const Registration watching = root_.on_write(note(""));
    Variable& late = boiler_.add_domain("new").add_domain("newer").add_variable("late", Value(0));
    EXPECT_THAT(notes_, IsEmpty());
    late = Value(1);
    EXPECT_THAT(notes_, ElementsAre("/boiler/new/newer/late=1"));
}

TEST_F(BranchObservers, TellWritesFromChanges) {
    const Registration changes = boiler_.on_change(note("changed "));
    const Registration writes = boiler_.on_write(note("written "));
    flow_ = Value(0);
    flow_.set_value(Value(1), CALLBACK_RESTRAIN::CHANGED, true);
    flow_.set_value(Value(2), CALLBACK_RESTRAIN::WRITTEN, true);
    flow_.set_value(Value(3), CALLBACK_RESTRAIN::NO_CALLBACKS, true);
    flow_.set_quality(symbol_list::QUALITY::BAD);
    EXPECT_THAT(notes_,
                ElementsAre("written /boiler/flow=0", "changed /boiler/flow=1", "written /boiler/flow=2"));
}

TEST_F(BranchObservers, AreCalledInTheOrderOfTheWritesAndFromTheLeafUp) {
    const Registration top = root_.on_change(note("root "));
    const Registration branch = boiler_.on_change(note("boiler "));
    const Registration leaf = level_.on_change(note("level "));
    std::unique_lock lock(tree_);
    level_ = Value(1);
    outside_ = Value(2);
    level_ = Value(3);
    EXPECT_THAT(notes_, IsEmpty());
    lock.unlock();
    EXPECT_THAT(notes_,
                ElementsAre("level /boiler/drum/level=1", "boiler /boiler/drum/level=1",
                            "root /boiler/drum/level=1", "root /outside=2", "level /boiler/drum/level=3",
                            "boiler /boiler/drum/level=3", "root /boiler/drum/level=3"));
}

TEST_F(BranchObservers, EndWithTheirRegistration) {
    Registration watching = boiler_.on_change(note(""));
    flow_ = Value(1);
    std::unique_lock lock(tree_);
    flow_ = Value(2);
    watching.end();
    lock.unlock();
    flow_ = Value(3);
    EXPECT_THAT(notes_, ElementsAre("/boiler/flow=1"));
}

TEST_F(BranchObservers, RegistrationMayOutliveTheBranch) {
    Registration watching = boiler_.on_change(note(""));
    std::unique_lock lock(tree_);
    flow_ = Value(1);
    root_.remove("boiler");
    lock.unlock();
    watching.end();
    EXPECT_THAT(notes_, ElementsAre("/boiler/flow=1"));
}

TEST_F(BranchObservers, MayLockWriteAndRemoveTheirBranch) {
    const Registration watching = boiler_.on_change([this](const Path& path, const Value&) {
        notes_.push_back(path.as_string());
        const std::unique_lock lock(tree_);
        outside_ = Value(7);
        root_.remove("boiler");
    });
    {
        const std::unique_lock lock(tree_);
        flow_ = Value(1);
        level_ = Value(1);
        outside_ = Value(0);
    }
    EXPECT_EQ(notes_.front(), "/boiler/flow");
    EXPECT_EQ(outside_.get_value(), Value(7));
}

TEST_F(BranchObservers, EmptyCallbacksAreRefused) {
    EXPECT_THROW(auto watching = boiler_.on_change({}), std::invalid_argument);
    EXPECT_THROW(auto watching = boiler_.on_write(nullptr), std::invalid_argument);
    EXPECT_THROW(auto watching = flow_.on_change({}), std::invalid_argument);
    EXPECT_THROW(auto watching = flow_.on_write(nullptr), std::invalid_argument);
    flow_ = Value(1);
    EXPECT_EQ(flow_.get_value(), Value(1));
}

TEST_F(BranchObservers, FailureToQueueChangesNothing) {
    const Registration branch = boiler_.on_change(note("boiler "));
    const Registration top = root_.on_write(note("root "));
    const Registration leaf = flow_.on_change(note("flow "));
    const TimePoint timestamp = flow_.get_timestamp();
    bool is_written = false;
    std::size_t successes = 0;
    std::unique_lock lock(tree_);
    for (; !is_written; ++successes) {
        try {
            const testing::AllocationFailure failure(successes);
            flow_ = Value(1);
            is_written = true;
        } catch (const std::bad_alloc&) {
            ASSERT_EQ(flow_.get_value(), Value(0));
            ASSERT_EQ(flow_.get_timestamp(), timestamp);
        }
    }
    lock.unlock();
    EXPECT_GT(successes, 3U);
    EXPECT_THAT(notes_, ElementsAre("flow /boiler/flow=1", "boiler /boiler/flow=1", "root /boiler/flow=1"));
}

TEST_F(BranchObservers, FailureToRegisterChangesNothing) {
    bool is_registered = false;
    Registration watching;
    for (std::size_t successes = 0; !is_registered; ++successes) {
        Variable::Callback callback = note("");
        try {
            const testing::AllocationFailure failure(successes);
            watching = boiler_.on_change(std::move(callback));
            is_registered = true;
        } catch (const std::bad_alloc&) {
            flow_ = Value(static_cast<int>(successes) + 10);
            ASSERT_THAT(notes_, IsEmpty());
        }
    }
    flow_ = Value(1);
    EXPECT_THAT(notes_, ElementsAre("/boiler/flow=1"));
}

TEST_F(BranchObservers, RegistrationDoesNotDependOnTheSizeOfTheBranch) {
    for (int i = 0; i < 1'000; ++i) {
        boiler_.add_variable(numbered("v", i), Value(0));
    }
    const testing::AllocationCounter variable_counter;
    const Registration of_variable = level_.on_change(note(""));
    const std::size_t for_variable = variable_counter.get_count();
    const testing::AllocationCounter branch_counter;
    const Registration of_branch = boiler_.on_change(note(""));
    EXPECT_LE(branch_counter.get_count(), for_variable);
}

TEST_F(BranchObservers, ManyRegistrationsTakeLinearTime) {
    const auto measure = [this](std::size_t count) {
        auto least = std::numeric_limits<std::clock_t>::max();
        for (int attempt = 0; attempt < 5; ++attempt) {
            Domain& domain = root_.add_domain("many");
            std::vector<Registration> registrations;
            registrations.reserve(count);
            const std::clock_t start = std::clock();
            for (std::size_t i = 0; i < count; ++i) {
                registrations.push_back(domain.on_change([](const Path&, const Value&) {}));
            }
            least = std::min(least, std::clock() - start);
            root_.remove("many");
        }
        return least;
    };
    const auto few = measure(4'000);
    EXPECT_LT(measure(32'000), std::max<std::clock_t>(20 * few, CLOCKS_PER_SEC / 20));
}

TEST_F(BranchObservers, MayEndWhileOthersWrite) {
    std::atomic<int> writes = 0;
    TestThreads writer([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const std::unique_lock lock(tree_);
            flow_ = Value(++writes);
        }
    });
    for (int i = 0; i < 50; ++i) {
        auto calls = std::make_unique<int>(0);
        Registration watching;
        {
            const std::unique_lock lock(tree_);
            watching = boiler_.on_change([&calls = *calls](const Path&, const Value&) { ++calls; });
        }
        EXPECT_TRUE(wait_for([&, before = writes.load()] { return writes > before; }));
        watching.end();
        calls.reset();  // a call after the end would touch freed memory
    }
}

}  // namespace kx::information_model
