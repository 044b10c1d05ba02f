#pragma once

#include <cstddef>

namespace gateway {

/// How much memory requests and replies under way may take together.
class MemoryBudget {
public:
    /// What one of them has of it, for as long as it lives.
    class Share {
    public:
        explicit Share(MemoryBudget& budget) : budget_(budget) {}
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        ~Share() { budget_.used_ -= held_; }

        /// @return false if there is not enough left; nothing has changed then
        [[nodiscard]] bool resize(std::size_t bytes) {
            if (bytes > held_ && bytes - held_ > budget_.limit_ - budget_.used_) {
                return false;
            }
            budget_.used_ = budget_.used_ - held_ + bytes;
            held_ = bytes;
            return true;
        }

    private:
        MemoryBudget& budget_;
        std::size_t held_ = 0;
    };

    explicit MemoryBudget(std::size_t limit) : limit_(limit) {}
    MemoryBudget(const MemoryBudget&) = delete;
    MemoryBudget& operator=(const MemoryBudget&) = delete;

    std::size_t get_used() const { return used_; }

private:
    const std::size_t limit_;
    std::size_t used_ = 0;
};

}  // namespace gateway
