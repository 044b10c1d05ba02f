#include <information_model/InformationModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/StderrCapture.h"
#include "support/TestThreads.h"

namespace kx::information_model {

using opc::testing::StderrCapture;
using ::testing::HasSubstr;

namespace {

/// What a change without the lock throws.
template <class Action>
std::string get_message(Action action) {
    try {
        action();
    } catch (const std::logic_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

class LockCheck : public ::testing::Test {
protected:
    InformationModel model_{"plant"};
    Tree& tree_ = model_.get_information_tree();
    Domain& boiler_ = model_.get_root().add_domain("boiler");
    Variable& level_ = boiler_.add_variable("level", Value(1));
    Variable& array_ = boiler_.add_variable("array", Value(std::vector<int>{1}));
};

}  // namespace

TEST_F(LockCheck, IsOffUntilAServerRuns) {
    level_ = Value(2);
    boiler_.add_variable("new", Value(1));
    EXPECT_EQ(level_.get_value(), Value(2));
}

TEST_F(LockCheck, ChangeWithoutTheLockNamesTheItem) {
    model_.check_locks(true);
    EXPECT_EQ(get_message([&] { level_ = Value(2); }),
              "change of \"/boiler/level\" without the exclusive lock of its tree");
    EXPECT_EQ(level_.get_value(), Value(1));
    model_.check_locks(false);
    level_ = Value(2);
    EXPECT_EQ(level_.get_value(), Value(2));
}

TEST_F(LockCheck, EveryChangeIsChecked) {
    const std::vector<std::pair<const char*, std::function<void()>>> changes = {
        {"operator=", [&] { level_ = Value(2); }},
        {"set_value", [&] { level_.set_value(Value(2), CALLBACK_RESTRAIN::NO_CALLBACKS, false); }},
        {"update", [&] { level_.update({.value = Value(2)}); }},
        {"modify", [&] { array_.modify<std::vector<int>>([](std::vector<int>&) {}); }},
        {"set_quality", [&] { level_.set_quality(symbol_list::QUALITY::BAD); }},
        {"set_timestamp", [&] { level_.set_timestamp(TimePoint()); }},
        {"set_writable", [&] { level_.set_writable(true); }},
        {"set_description", [&] { boiler_.set_description("text"); }},
        {"set_engineering_unit", [&] { level_.set_engineering_unit("m"); }},
        {"set_range", [&] { level_.set_range({}); }},
        {"set_delta", [&] { level_.set_delta({}); }},
        {"set_fractional_digits", [&] { level_.set_fractional_digits(1); }},
        {"set_history_kind", [&] { level_.set_history_kind({}); }},
        {"set_guard", [&] { level_.set_guard({}); }},
        {"on_change", [&] { const auto watching = level_.on_change([](const Path&, const Value&) {}); }},
        {"on_write", [&] { const auto watching = level_.on_write([](const Path&, const Value&) {}); }},
        {"branch on_change",
         [&] { const auto watching = boiler_.on_change([](const Path&, const Value&) {}); }},
        {"branch on_write",
         [&] { const auto watching = boiler_.on_write([](const Path&, const Value&) {}); }},
        {"add_domain", [&] { boiler_.add_domain("new"); }},
        {"add_variable", [&] { boiler_.add_variable("new", Value(1)); }},
        {"add", [&] { boiler_.add<int>("new", 1); }},
        {"remove", [&] { boiler_.remove("level"); }},
        {"remove_if", [&] { boiler_.remove_if([](const Item&) { return true; }); }},
        {"clear", [&] { boiler_.clear(); }}};
    model_.check_locks(true);
    for (const auto& [name, change] : changes) {
        EXPECT_THAT(get_message(change), HasSubstr("without the exclusive lock")) << name;
    }
    EXPECT_EQ(boiler_.items().size(), 2U);
    EXPECT_EQ(level_.get_value(), Value(1));
    {
        const std::shared_lock<const Tree> lock(tree_);
        for (const auto& [name, change] : changes) {
            EXPECT_THAT(get_message(change), HasSubstr("without the exclusive lock")) << name << ", shared";
        }
    }
    for (const auto& [name, change] : changes) {
        const std::unique_lock lock(tree_);
        EXPECT_NO_THROW(change()) << name;
        if (boiler_.find_item("new") != nullptr) {
            boiler_.remove("new");
        }
        if (std::string_view(name) == "remove" || std::string_view(name) == "remove_if") {
            break;  // what the others need is gone
        }
    }
}

TEST_F(LockCheck, LockOfAnotherThreadDoesNotHelp) {
    model_.check_locks(true);
    const std::unique_lock lock(tree_);
    testing::TestThreads([&] { EXPECT_THROW(level_ = Value(2), std::logic_error); }).join();
    level_ = Value(3);
    EXPECT_EQ(level_.get_value(), Value(3));
}

TEST_F(LockCheck, EachModelHasItsOwn) {
    InformationModel other("other");
    other.check_locks(true);
    level_ = Value(2);
    EXPECT_EQ(level_.get_value(), Value(2));
    EXPECT_THROW(other.get_root().add_domain("d"), std::logic_error);
    const std::unique_lock lock(tree_);
    EXPECT_THROW(other.get_root().add_domain("d"), std::logic_error);
}

TEST_F(LockCheck, EndsWithItsModel) {
    {
        InformationModel other("other");
        other.check_locks(true);
        other.check_locks(true);
    }
    level_ = Value(2);
    EXPECT_EQ(level_.get_value(), Value(2));
}

TEST_F(LockCheck, ReadingNeedsNoCheck) {
    model_.check_locks(true);
    EXPECT_EQ(level_.get_value(), Value(1));
    EXPECT_EQ(model_.get_root().find_variable("/boiler/level"), &level_);
}

TEST_F(LockCheck, ObserverThatWritesWithoutTheLockIsReported) {
    model_.check_locks(true);
    StderrCapture errors;
    std::unique_lock lock(tree_);
    const Registration watching = level_.on_change([&](const Path&, const Value&) { array_ = Value(1); });
    level_ = Value(2);
    lock.unlock();
    EXPECT_EQ(errors.stop(),
              "observer of /boiler/level failed: change of \"/boiler/array\" without the exclusive "
              "lock of its tree\n");
}

TEST_F(LockCheck, LibraryForDebuggingTurnsItOnWithTheFirstServer) {
    model_.begin_service();
#ifdef NDEBUG
    level_ = Value(2);
    EXPECT_EQ(level_.get_value(), Value(2));
#else
    EXPECT_THROW(level_ = Value(2), std::logic_error);
#endif
}

TEST_F(LockCheck, HostHasTheLastWord) {
    model_.check_locks(false);
    model_.begin_service();
    level_ = Value(2);
    model_.check_locks(true);
    model_.begin_service();
    EXPECT_THROW(level_ = Value(3), std::logic_error);
    EXPECT_EQ(level_.get_value(), Value(2));
}

}  // namespace kx::information_model
