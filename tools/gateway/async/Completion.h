#pragma once

#include <coroutine>
#include <memory>
#include <optional>
#include <utility>

namespace gateway {

/// A value that comes later, and the one task that waits for it. Copies share the value.
template <class T>
class Completion {
public:
    /// Gives the value and continues the task, within this call. Later values are ignored.
    void set(T value) const {
        const std::shared_ptr<State> state = state_;  // the task may let go of the last copy
        if (state->is_set) {
            return;
        }
        state->is_set = true;
        state->value.emplace(std::move(value));
        if (state->waiting) {
            std::exchange(state->waiting, nullptr).resume();
        }
    }

    bool is_set() const { return state_->is_set; }

    /// Whether the other is a copy of this one.
    bool is_same(const Completion& other) const { return state_ == other.state_; }

    bool await_ready() const noexcept { return state_->is_set; }
    void await_suspend(std::coroutine_handle<> waiting) const { state_->waiting = waiting; }
    T await_resume() const { return std::move(*state_->value); }

private:
    struct State {
        bool is_set = false;
        std::optional<T> value;
        std::coroutine_handle<> waiting;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace gateway
