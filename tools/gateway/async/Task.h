#pragma once

#include <coroutine>
#include <exception>
#include <iostream>
#include <optional>
#include <utility>

namespace gateway {

template <class T = void>
class Task;

namespace detail {

/// What the promises of all tasks share: who waits for the end, and what went wrong.
class TaskPromise {
public:
    std::suspend_always initial_suspend() const noexcept { return {}; }

    auto final_suspend() const noexcept {
        struct Resume {
            std::coroutine_handle<> next;
            bool await_ready() const noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<>) const noexcept { return next; }
            void await_resume() const noexcept {}
        };
        return Resume{continuation_ ? continuation_ : std::noop_coroutine()};
    }

    void unhandled_exception() noexcept { failure_ = std::current_exception(); }

    void set_continuation(std::coroutine_handle<> continuation) { continuation_ = continuation; }

    void rethrow() const {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
    }

private:
    std::coroutine_handle<> continuation_;
    std::exception_ptr failure_;
};

template <class T>
class ResultPromise : public TaskPromise {
public:
    Task<T> get_return_object();
    void return_value(T result) { result_.emplace(std::move(result)); }

    T take() {
        rethrow();
        return std::move(*result_);
    }

private:
    std::optional<T> result_;
};

template <>
class ResultPromise<void> : public TaskPromise {
public:
    Task<void> get_return_object();
    void return_void() const {}
    void take() const { rethrow(); }
};

}  // namespace detail

/// A coroutine that begins when it is awaited, and gives its result to the one that awaits it. It owns its
/// frame. All tasks of the gateway run on the thread of its event loop.
///
/// The expression behind `co_await` is kept simple: where it holds a conditional expression whose result owns
/// something, the code that g++ 12 makes frees it twice.
template <class T>
class [[nodiscard]] Task {
public:
    using promise_type = detail::ResultPromise<T>;

    explicit Task(std::coroutine_handle<promise_type> handle) : handle_(handle) {}
    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Task& operator=(Task&&) = delete;
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() {
        if (handle_) {
            handle_.destroy();
        }
    }

    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> waiting) {
        handle_.promise().set_continuation(waiting);
        return handle_;
    }
    T await_resume() { return handle_.promise().take(); }

private:
    std::coroutine_handle<promise_type> handle_;
};

namespace detail {

template <class T>
Task<T> ResultPromise<T>::get_return_object() {
    return Task<T>(std::coroutine_handle<ResultPromise<T>>::from_promise(*this));
}

inline Task<void> ResultPromise<void>::get_return_object() {
    return Task<void>(std::coroutine_handle<ResultPromise<void>>::from_promise(*this));
}

/// Runs by itself and frees itself at its end.
struct Detached {
    struct promise_type {
        Detached get_return_object() const { return {}; }
        std::suspend_never initial_suspend() const noexcept { return {}; }
        std::suspend_never final_suspend() const noexcept { return {}; }
        void return_void() const {}
        void unhandled_exception() const noexcept { std::terminate(); }
    };
};

inline Detached run_detached(Task<void> task) {
    try {
        co_await task;
    } catch (const std::exception& error) {
        std::cerr << "kx-gateway: " << error.what() << '\n';
    }
}

}  // namespace detail

/// Starts a task that nobody waits for. What it throws is written to the standard error stream.
inline void spawn(Task<void> task) {
    detail::run_detached(std::move(task));
}

}  // namespace gateway
