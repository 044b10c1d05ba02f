#include "hardening/allocation_failure.h"

#include <cstdlib>
#include <new>

// Stand in front of the standard library's operators, whose array and nothrow forms end up in these.
namespace kx::information_model::opc::testing {
namespace {

void* allocate(std::size_t size) {
    void* const memory = must_fail() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* allocate_aligned(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    void* const memory = must_fail() ? nullptr : std::aligned_alloc(step, (size + step - 1) / step * step);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace
}  // namespace kx::information_model::opc::testing

void* operator new(std::size_t size) {
    return kx::information_model::opc::testing::allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return kx::information_model::opc::testing::allocate_aligned(size, alignment);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
