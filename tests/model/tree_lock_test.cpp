#include "support/TestThreads.h"

#include <information_model/InformationModel.h>
#include <information_model/Tree.h>

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <shared_mutex>

namespace kx::information_model {

namespace {

using testing::TestThreads;

class LockedTree : public ::testing::Test {
protected:
    bool can_lock(Tree& tree) {
        bool result = false;
        TestThreads([&] { result = std::unique_lock<Tree>(tree, std::try_to_lock).owns_lock(); }).join();
        return result;
    }

    bool can_lock_shared(const Tree& tree) {
        bool result = false;
        TestThreads([&] {
            result = std::shared_lock<const Tree>(tree, std::try_to_lock).owns_lock();
        }).join();
        return result;
    }

    InformationModel model_{"plant"};
    Tree& tree_ = model_.get_information_tree();
    const Tree& constant_tree_ = tree_;
    Variable& leaf_ = model_.get_root().add_domain("d").add_variable("v", Value(1));
};

}  // namespace

TEST_F(LockedTree, ExclusiveKeepsAllOut) {
    std::unique_lock lock(tree_);
    EXPECT_FALSE(can_lock(tree_));
    EXPECT_FALSE(can_lock_shared(tree_));
    lock.unlock();
    EXPECT_TRUE(can_lock(tree_));
}

TEST_F(LockedTree, SharedAdmitsReadersOnly) {
    std::shared_lock lock(constant_tree_);
    EXPECT_FALSE(can_lock(tree_));
    EXPECT_TRUE(can_lock_shared(tree_));
    lock.unlock();
    EXPECT_TRUE(can_lock(tree_));
}

TEST_F(LockedTree, EveryNodeHasTheLockOfItsTree) {
    const std::unique_lock<Tree> lock(leaf_);
    EXPECT_FALSE(can_lock(tree_));
    EXPECT_FALSE(can_lock_shared(model_.get_root()));
}

TEST_F(LockedTree, EachTreeHasItsOwnLock) {
    InformationModel other("other");
    const std::unique_lock lock(tree_);
    EXPECT_TRUE(can_lock(other.get_information_tree()));
}

TEST_F(LockedTree, PlainOperationsPairUp) {
    tree_.lock();
    EXPECT_FALSE(can_lock_shared(tree_));
    tree_.unlock();
    EXPECT_TRUE(tree_.try_lock());
    EXPECT_FALSE(can_lock(tree_));
    tree_.unlock();
    constant_tree_.lock_shared();
    EXPECT_FALSE(can_lock(tree_));
    constant_tree_.unlock_shared();
    EXPECT_TRUE(constant_tree_.try_lock_shared());
    EXPECT_FALSE(can_lock(tree_));
    constant_tree_.unlock_shared();
    EXPECT_TRUE(can_lock(tree_));
}

TEST_F(LockedTree, DeferredAndAdoptedLocksWork) {
    std::unique_lock<Tree> deferred(tree_, std::defer_lock);
    EXPECT_FALSE(deferred.owns_lock());
    EXPECT_TRUE(deferred.try_lock());
    deferred.unlock();
    tree_.lock();
    const std::unique_lock<Tree> adopted(tree_, std::adopt_lock);
    EXPECT_TRUE(adopted.owns_lock());
    EXPECT_FALSE(can_lock_shared(tree_));
}

TEST_F(LockedTree, ScopedLockTakesTwoTrees) {
    InformationModel other("other");
    {
        const std::scoped_lock lock(tree_, other.get_information_tree());
        EXPECT_FALSE(can_lock(tree_));
        EXPECT_FALSE(can_lock(other.get_information_tree()));
    }
    EXPECT_TRUE(can_lock(tree_));
}

TEST_F(LockedTree, TimedLocksTakeAFreeTree) {
    using namespace std::chrono_literals;
    EXPECT_TRUE(std::unique_lock<Tree>(tree_, 0ms).owns_lock());
    EXPECT_TRUE(std::shared_lock<const Tree>(constant_tree_, 1h).owns_lock());
    EXPECT_TRUE(std::unique_lock<Tree>(tree_, std::chrono::hours::max()).owns_lock());
    EXPECT_TRUE(std::unique_lock<Tree>(tree_, std::chrono::steady_clock::now() + 1h).owns_lock());
    EXPECT_TRUE(std::unique_lock<Tree>(tree_, std::chrono::system_clock::now() - 1h).owns_lock());
    EXPECT_TRUE(can_lock(tree_));
}

TEST_F(LockedTree, TimedLocksGiveUp) {
    using namespace std::chrono_literals;
    const std::unique_lock lock(tree_);
    TestThreads([&] {
        EXPECT_FALSE(std::unique_lock<Tree>(tree_, 5ms).owns_lock());
        EXPECT_FALSE(std::shared_lock<const Tree>(constant_tree_, 5ms).owns_lock());
        EXPECT_FALSE(std::unique_lock<Tree>(leaf_, std::chrono::system_clock::now() + 5ms).owns_lock());
        EXPECT_FALSE(
            std::shared_lock<const Tree>(constant_tree_, std::chrono::steady_clock::now() - 1h).owns_lock());
        EXPECT_FALSE(tree_.try_lock_for(std::chrono::hours::min()));
    }).join();
}

TEST_F(LockedTree, ObserversAreCalledAfterATimedLock) {
    int calls = 0;
    const Registration watching = leaf_.on_change([&](const Path&, const Value&) { ++calls; });
    std::unique_lock<Tree> lock(tree_, std::chrono::hours(1));
    ASSERT_TRUE(lock.owns_lock());
    leaf_ = Value(2);
    EXPECT_EQ(calls, 0);
    lock.unlock();
    EXPECT_EQ(calls, 1);
}

}  // namespace kx::information_model
