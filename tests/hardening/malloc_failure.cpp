#include "hardening/allocation_failure.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

// Stand in front of the C library's functions, for the program and for all shared libraries in it. operator
// new calls malloc.
namespace kx::information_model::opc::testing {
namespace {

std::atomic<long> blocks{0};

template <class Allocate>
void* allocate(Allocate allocate) noexcept {
    if (must_fail()) {
        errno = ENOMEM;
        return nullptr;
    }
    void* const memory = allocate();
    if (memory != nullptr) {
        ++blocks;
    }
    return memory;
}

}  // namespace

long get_block_count() noexcept {
    return blocks;
}

}  // namespace kx::information_model::opc::testing

namespace testing = kx::information_model::opc::testing;

extern "C" {

// The names under which glibc keeps its own.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) noexcept {
    return testing::allocate([&] { return __libc_malloc(size); });
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return testing::allocate([&] { return __libc_calloc(count, size); });
}

void* realloc(void* memory, std::size_t size) noexcept {
    if (memory == nullptr) {
        return malloc(size);
    }
    if (size == 0) {
        free(memory);
        return nullptr;
    }
    if (testing::must_fail()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return testing::allocate([&] { return __libc_memalign(alignment, size); });
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    void* const place = aligned_alloc(alignment, size);
    if (place == nullptr) {
        return ENOMEM;
    }
    *memory = place;
    return 0;
}

void free(void* memory) noexcept {
    if (memory != nullptr) {
        --testing::blocks;
    }
    __libc_free(memory);
}

}  // extern "C"
