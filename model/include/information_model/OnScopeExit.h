#pragma once

#include <exception>
#include <functional>
#include <stdexcept>
#include <utility>

namespace kx::information_model::utility {

/// Calls a function when a scope is left, normally or by an exception, exactly once.
///
/// The function may throw: on the normal way out its exception leaves the scope like any other; while
/// another exception is being handled it is dropped, because the other one is the cause.
class OnScopeExit {
public:
    /// Give the object a name; a temporary calls the function at once.
    /// @param action  what to call
    /// @throws std::invalid_argument  if the function is empty
    [[nodiscard]] explicit OnScopeExit(std::function<void()> action)
        : action_(std::move(action)), exceptions_at_start_(std::uncaught_exceptions()) {
        if (!action_) {
            throw std::invalid_argument("nothing to call at the end of the scope");
        }
    }
    OnScopeExit(const OnScopeExit&) = delete;
    OnScopeExit& operator=(const OnScopeExit&) = delete;

    /// Calls the function.
    ~OnScopeExit() noexcept(false) {
        if (std::uncaught_exceptions() == exceptions_at_start_) {
            action_();
            return;
        }
        try {
            action_();
        } catch (...) {  // NOLINT(bugprone-empty-catch): the exception under way is the cause
        }
    }

private:
    std::function<void()> action_;
    int exceptions_at_start_;
};

}  // namespace kx::information_model::utility
