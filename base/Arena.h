#pragma once

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <vector>

namespace kx::information_model::opc {

/// Memory that is given back all at once. Unlike `std::pmr::monotonic_buffer_resource` it asks for blocks
/// that stay below the size from which allocators turn to the system: those go back to it when they are
/// freed, and the next request, or the reply to this one, pays a page fault for each page of them.
class Arena final : public std::pmr::memory_resource {
public:
    Arena() = default;
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;
    ~Arena() override = default;

private:
    void* do_allocate(std::size_t size, std::size_t alignment) override;
    void do_deallocate(void* /*memory*/, std::size_t /*size*/, std::size_t /*alignment*/) override {}
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
        return this == &other;
    }

    std::vector<std::unique_ptr<std::byte[]>> blocks_;
    void* next_ = nullptr;       // in the last block
    std::size_t remaining_ = 0;  // bytes from there to its end
    std::size_t block_size_ = 0;
};

}  // namespace kx::information_model::opc
