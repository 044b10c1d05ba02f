#include "base/Arena.h"

#include <algorithm>
#include <utility>

namespace kx::information_model::opc {

namespace {

constexpr std::size_t FIRST_BLOCK_SIZE = std::size_t{4} * 1024;
constexpr std::size_t MAXIMUM_BLOCK_SIZE = std::size_t{64} * 1024;

}  // namespace

void* Arena::do_allocate(std::size_t size, std::size_t alignment) {
    if (std::align(alignment, size, next_, remaining_) == nullptr) {
        const std::size_t wanted = std::clamp(2 * block_size_, FIRST_BLOCK_SIZE, MAXIMUM_BLOCK_SIZE);
        const std::size_t block_size = std::max(wanted, size + alignment);
        std::unique_ptr<std::byte[]> block(new std::byte[block_size]);  // make_unique would initialise it
        blocks_.push_back(std::move(block));
        next_ = blocks_.back().get();
        remaining_ = block_size;
        block_size_ = wanted;
        std::align(alignment, size, next_, remaining_);
    }
    void* const place = next_;
    next_ = static_cast<std::byte*>(next_) + size;
    remaining_ -= size;
    return place;
}

}  // namespace kx::information_model::opc
