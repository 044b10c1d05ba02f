#include "xml/request/ExpatMemory.h"

#include "xml/ThreadCache.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

namespace kx::information_model::opc {

namespace {

/// Stands in front of each piece of memory.
struct alignas(std::max_align_t) Header {
    ExpatMemory* memory;
    std::size_t size;  // of what follows
};

Header* get_header(void* place) noexcept {
    return static_cast<Header*>(place) - 1;
}

}  // namespace

struct ExpatMemory::Functions {
    static void* allocate(std::size_t size) {
        ExpatMemory& memory = *ThreadCache::get().parser_memory;  // expat does not say for which parser
        return memory.take(size) ? start(memory, memory.allocate(sizeof(Header) + size), size) : nullptr;
    }

    static void* reallocate(void* place, std::size_t size) {
        if (place == nullptr) {
            return allocate(size);
        }
        Header* const header = get_header(place);
        ExpatMemory& memory = *header->memory;
        const std::size_t old_size = header->size;
        if (!memory.take(size > old_size ? size - old_size : 0)) {
            return nullptr;
        }
        void* larger = nullptr;
        if (memory.is_in_block(header)) {
            larger = memory.allocate(sizeof(Header) + size);
            if (larger != nullptr) {
                std::memcpy(larger, header, sizeof(Header) + std::min(size, old_size));
            }
        } else {
            larger = std::realloc(header, sizeof(Header) + size);
        }
        return start(memory, larger, size);
    }

    static void free(void* place) {
        if (place == nullptr) {
            return;
        }
        Header* const header = get_header(place);
        header->memory->remaining_ += header->size;
        if (!header->memory->is_in_block(header)) {
            std::free(header);
        }
    }

private:
    static void* start(ExpatMemory& memory, void* place, std::size_t size) {
        return place == nullptr ? nullptr : new (place) Header{&memory, size} + 1;
    }
};

const XML_Memory_Handling_Suite ExpatMemory::FUNCTIONS{Functions::allocate, Functions::reallocate,
                                                       Functions::free};

ExpatMemory::ExpatMemory(std::size_t limit)
    : remaining_(limit), previous_(std::exchange(ThreadCache::get().parser_memory, this)) {}

ExpatMemory::~ExpatMemory() {
    ThreadCache::get().parser_memory = previous_;
}

bool ExpatMemory::take(std::size_t size) noexcept {
    if (is_closed_) {
        return false;
    }
    if (size > remaining_) {
        is_limit_reached_ = true;
        return false;
    }
    remaining_ -= size;
    return true;
}

void* ExpatMemory::allocate(std::size_t size) noexcept {
    const std::size_t rounded_size = (size + alignof(Header) - 1) / alignof(Header) * alignof(Header);
    if (rounded_size > static_cast<std::size_t>(block_.data() + BLOCK_SIZE - next_)) {
        return std::malloc(size);
    }
    void* const place = next_;
    next_ += rounded_size;
    return place;
}

bool ExpatMemory::is_in_block(const void* place) const noexcept {
    const auto* const byte = static_cast<const std::byte*>(place);
    return std::less_equal<>()(block_.data(), byte) && std::less<>()(byte, block_.data() + BLOCK_SIZE);
}

}  // namespace kx::information_model::opc
