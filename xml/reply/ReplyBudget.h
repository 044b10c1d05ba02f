#pragma once

#include <atomic>
#include <cstddef>

namespace kx::information_model::opc {

/// How much all replies that are made or sent at a time may hold together. Any thread may call anything.
class ReplyBudget {
public:
    static constexpr std::size_t SIZE = std::size_t{1024} * 1024 * 1024;

    explicit ReplyBudget(std::size_t size = SIZE) noexcept : size_(size) {}
    ReplyBudget(const ReplyBudget&) = delete;
    ReplyBudget& operator=(const ReplyBudget&) = delete;

    /// That of the process.
    static ReplyBudget& get() noexcept;

    /// For tests.
    void limit(std::size_t size) noexcept { size_ = size; }

    /// @return whether there was as much
    bool take(std::size_t size) noexcept;
    void give_back(std::size_t size) noexcept { taken_ -= size; }

    std::size_t get_taken() const noexcept { return taken_; }

private:
    std::atomic<std::size_t> size_;
    std::atomic<std::size_t> taken_ = 0;
};

/// What one reply holds of the budget of the process, from its first bytes until it is sent. A small one
/// holds nothing: to count it would cost more than it may matter.
class ReplyShare {
public:
    ReplyShare() = default;
    ReplyShare(ReplyShare&& other) noexcept : size_(other.size_) { other.size_ = 0; }
    ReplyShare(const ReplyShare&) = delete;
    ReplyShare& operator=(const ReplyShare&) = delete;
    ReplyShare& operator=(ReplyShare&&) = delete;
    ~ReplyShare() { ReplyBudget::get().give_back(size_); }

    /// The reply has this many bytes by now.
    /// @return whether the budget has room for them
    bool grow_to(std::size_t size) noexcept;

private:
    std::size_t size_ = 0;
};

}  // namespace kx::information_model::opc
