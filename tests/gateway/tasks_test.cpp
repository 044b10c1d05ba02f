#include "gateway/async/Completion.h"
#include "gateway/async/Task.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace gateway {
namespace {

Task<int> add(Completion<int> left, int right) {
    const int number = co_await left;
    co_return number + right;
}

Task<> store(Completion<int> number, int& result) {
    result = co_await add(number, 1);
}

TEST(Tasks, ContinueWithTheValue) {
    const Completion<int> number;
    int result = 0;
    spawn(store(number, result));
    EXPECT_EQ(result, 0);
    number.set(41);
    EXPECT_EQ(result, 42);
    number.set(1);  // ignored
    EXPECT_EQ(result, 42);
}

TEST(Tasks, DoNotWaitForWhatIsThere) {
    const Completion<int> number;
    number.set(1);
    int result = 0;
    spawn(store(number, result));
    EXPECT_EQ(result, 2);
}

Task<int> fail(Completion<int> number) {
    co_await number;
    throw std::runtime_error("failed");
}

Task<> catch_failure(Completion<int> number, std::string& message) {
    try {
        co_await fail(number);
    } catch (const std::runtime_error& error) {
        message = error.what();
    }
}

TEST(Tasks, PassExceptionsOn) {
    const Completion<int> number;
    std::string message;
    spawn(catch_failure(number, message));
    number.set(1);
    EXPECT_EQ(message, "failed");
}

}  // namespace
}  // namespace gateway
