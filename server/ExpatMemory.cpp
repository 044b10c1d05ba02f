#include "server/ExpatMemory.h"

#include "server/PerThread.h"

#include <cstdlib>
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

struct Current {
    ExpatMemory* memory = nullptr;
};

/// Whose memory a new parser gets: expat's functions are not told.
Current& get_current() {
    static PerThread<Current> current;
    return current.get();
}

}  // namespace

struct ExpatMemory::Functions {
    static void* allocate(std::size_t size) { return resize(*get_current().memory, nullptr, size); }

    static void* reallocate(void* place, std::size_t size) {
        return place == nullptr ? allocate(size)
                                : resize(*get_header(place)->memory, get_header(place), size);
    }

    static void free(void* place) {
        if (place == nullptr) {
            return;
        }
        Header* const header = get_header(place);
        header->memory->remaining_ += header->size;
        std::free(header);
    }

private:
    static void* resize(ExpatMemory& memory, Header* header, std::size_t size) {
        const std::size_t old_size = header == nullptr ? 0 : header->size;
        if (memory.is_closed_) {
            return nullptr;
        }
        if (size > old_size && size - old_size > memory.remaining_) {
            memory.is_limit_reached_ = true;
            return nullptr;
        }
        header = static_cast<Header*>(std::realloc(header, sizeof(Header) + size));
        if (header == nullptr) {
            return nullptr;
        }
        memory.remaining_ = memory.remaining_ + old_size - size;
        *header = {&memory, size};
        return header + 1;
    }
};

const XML_Memory_Handling_Suite ExpatMemory::FUNCTIONS{Functions::allocate, Functions::reallocate,
                                                       Functions::free};

ExpatMemory::ExpatMemory(std::size_t limit)
    : remaining_(limit), previous_(std::exchange(get_current().memory, this)) {}

ExpatMemory::~ExpatMemory() {
    get_current().memory = previous_;
}

}  // namespace kx::information_model::opc
