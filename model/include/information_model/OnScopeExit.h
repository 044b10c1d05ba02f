#pragma once

#include <exception>
#include <functional>
#include <stdexcept>
#include <utility>

namespace kx::information_model::utility {

/// Calls a function when a scope is left, normally or by an exception, exactly once.
///
/// The function may throw: on the normal way out its exception leaves the scope like any other; while
/// another exception is under way it is dropped, because that one is the cause and must not be lost.
class OnScopeExit {
public:
    /// Needs a variable: without one its scope ends at once.
    /// @param action  what to call
    /// @throws std::invalid_argument  if there is nothing to call
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
