#include <information_model/OnScopeExit.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kx::information_model::utility {

TEST(OnScopeExit, CallsOnceOnTheNormalWayOut) {
    int calls = 0;
    {
        const OnScopeExit guard([&calls] { ++calls; });
        EXPECT_EQ(calls, 0);
    }
    EXPECT_EQ(calls, 1);
}

TEST(OnScopeExit, CallsOnceOnAnException) {
    int calls = 0;
    try {
        const OnScopeExit guard([&calls] { ++calls; });
        throw std::runtime_error("cause");
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "cause");
    }
    EXPECT_EQ(calls, 1);
}

TEST(OnScopeExit, ItsOwnExceptionLeavesTheScope) {
    const auto leave_scope = [] { const OnScopeExit guard([] { throw std::runtime_error("own"); }); };
    EXPECT_THROW(leave_scope(), std::runtime_error);
}

TEST(OnScopeExit, TheExceptionUnderWayIsNotLost) {
    try {
        const OnScopeExit guard([] { throw std::logic_error("own"); });
        throw std::runtime_error("cause");
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "cause");
    }
}

namespace {

/// Uses a guard while it is destroyed by an exception.
struct GuardInDestructor {
    explicit GuardInDestructor(std::string& caught) : caught_(caught) {}
    ~GuardInDestructor() {
        try {
            const OnScopeExit guard([] { throw std::runtime_error("inner"); });
        } catch (const std::runtime_error& error) {
            caught_ = error.what();
        }
    }
    std::string& caught_;
};

}  // namespace

TEST(OnScopeExit, AnExceptionFromBeforeTheScopeHidesNothing) {
    std::string caught;
    try {
        const GuardInDestructor user(caught);
        throw std::logic_error("outer");
    } catch (const std::logic_error&) {
        EXPECT_EQ(caught, "inner");
    }
}

TEST(OnScopeExit, NeedsSomethingToCall) {
    EXPECT_THROW(const OnScopeExit guard{std::function<void()>()}, std::invalid_argument);
}

}  // namespace kx::information_model::utility
