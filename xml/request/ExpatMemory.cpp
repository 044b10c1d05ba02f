#include "xml/request/ExpatMemory.h"

#include "xml/ThreadCache.h"

#include <algorithm>
#include <cstddef>
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
        if (!memory.take(size)) {
            return nullptr;
        }
        void* const place = memory.allocate(get_grains(size));
        if (place == nullptr) {
            memory.used_ -= size;
            return nullptr;
        }
        return start(place, memory, size);
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
        void* const moved = memory.reallocate(header, get_grains(old_size), get_grains(size));
        memory.used_ -=
            moved == nullptr ? size - std::min(size, old_size) : old_size - std::min(size, old_size);
        return moved == nullptr ? nullptr : start(moved, memory, size);
    }

    static void free(void* place) {
        if (place == nullptr) {
            return;
        }
        Header* const header = get_header(place);
        ExpatMemory& memory = *header->memory;
        memory.used_ -= header->size;
        memory.release(header, get_grains(header->size));
    }

private:
    /// Writes the header of a piece; the piece begins behind it.
    static void* start(void* place, ExpatMemory& memory, std::size_t size) noexcept {
        auto* const header = new (place) Header{&memory, size};
        return header + 1;
    }

    static std::size_t get_grains(std::size_t size) noexcept {
        return (sizeof(Header) + size + GRAIN - 1) / GRAIN;
    }
};

const XML_Memory_Handling_Suite ExpatMemory::FUNCTIONS{Functions::allocate, Functions::reallocate,
                                                       Functions::free};

ExpatMemory::Use::Use(ExpatMemory& memory)
    : place_(ThreadCache::get().parser_memory), previous_(std::exchange(place_, &memory)) {}

ExpatMemory::Use::~Use() {
    place_ = previous_;
}

void ExpatMemory::limit(std::size_t limit) noexcept {
    limit_ = limit;
    is_closed_ = false;
    is_limit_reached_ = false;
}

void* ExpatMemory::allocate(std::size_t grains) noexcept {
    if (grains <= LARGEST_GRAINS && released_[grains] != nullptr) {
        void* const place = released_[grains];
        std::memcpy(&released_[grains], place, sizeof(void*));
        return place;
    }
    const std::size_t size = grains * GRAIN;
    if (size <= BLOCK_SIZE - block_used_) {
        void* const place = block_.data() + block_used_;
        block_used_ += size;
        return place;
    }
    void* const place = std::malloc(size);
    system_pieces_ += place == nullptr ? 0 : 1;
    return place;
}

void* ExpatMemory::reallocate(void* place, std::size_t old_grains, std::size_t grains) noexcept {
    if (!is_in_block(place)) {
        return std::realloc(place, grains * GRAIN);
    }
    void* const moved = allocate(grains);
    if (moved != nullptr) {
        std::memcpy(moved, place, std::min(old_grains, grains) * GRAIN);
        release(place, old_grains);
    }
    return moved;
}

void ExpatMemory::release(void* place, std::size_t grains) noexcept {
    if (!is_in_block(place)) {
        std::free(place);
        --system_pieces_;
    } else if (grains <= LARGEST_GRAINS) {
        std::memcpy(place, &released_[grains], sizeof(void*));
        released_[grains] = place;
    }
}

bool ExpatMemory::is_in_block(const void* place) const noexcept {
    const auto* const byte = static_cast<const std::byte*>(place);
    return std::less_equal<>()(block_.data(), byte) && std::less<>()(byte, block_.data() + BLOCK_SIZE);
}

bool ExpatMemory::take(std::size_t size) noexcept {
    if (is_closed_) {
        return false;
    }
    if (size > limit_ - std::min(used_, limit_)) {
        is_limit_reached_ = true;
        return false;
    }
    used_ += size;
    return true;
}

}  // namespace kx::information_model::opc
