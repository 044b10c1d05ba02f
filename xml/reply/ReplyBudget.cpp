#include "xml/reply/ReplyBudget.h"

namespace kx::information_model::opc {

namespace {

constexpr std::size_t SMALL_SIZE = std::size_t{64} * 1024;
constexpr std::size_t STEP_SIZE = std::size_t{256} * 1024;

}  // namespace

ReplyBudget& ReplyBudget::get() noexcept {
    static ReplyBudget budget;
    return budget;
}

bool ReplyBudget::take(std::size_t size) noexcept {
    if (taken_.fetch_add(size) + size <= size_) {
        return true;
    }
    taken_ -= size;
    return false;
}

bool ReplyShare::grow_to(std::size_t size) noexcept {
    if (size <= SMALL_SIZE || size <= size_) {
        return true;
    }
    const std::size_t step = (size - size_ + STEP_SIZE - 1) / STEP_SIZE * STEP_SIZE;
    if (!ReplyBudget::get().take(step)) {
        return false;
    }
    size_ += step;
    return true;
}

}  // namespace kx::information_model::opc
