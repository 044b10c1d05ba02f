#include "allocation_count.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocations{0};
std::atomic<std::size_t> allocated_size{0};

void* allocate(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        allocated_size += malloc_usable_size(memory);
        return memory;
    }
    throw std::bad_alloc();
}

void release(void* memory) {
    allocated_size -= memory == nullptr ? 0 : malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    release(memory);
}

namespace kx::information_model::opc::testing {

std::size_t get_allocation_count() noexcept {
    return allocations;
}

std::size_t get_allocated_size() noexcept {
    return allocated_size;
}

}  // namespace kx::information_model::opc::testing
