#pragma once

#include <expat.h>

#include <array>
#include <cstddef>

namespace kx::information_model::opc {

/// Memory for one parser of expat's, up to a limit: expat copies the name of a namespace for each attribute
/// that has its prefix, so that a small text can ask for gigabytes, before it calls any handler.
///
/// What a small request needs lies in this object, which is made on the stack. While it lives it serves the
/// parsers that its thread makes. It outlives them, and is used by that thread alone.
class ExpatMemory {
public:
    /// @param limit  in bytes, of all that is in use at one time
    /// @throws std::bad_alloc
    explicit ExpatMemory(std::size_t limit);
    ExpatMemory(const ExpatMemory&) = delete;
    ExpatMemory& operator=(const ExpatMemory&) = delete;
    ~ExpatMemory();

    /// What `XML_ParserCreate_MM` takes.
    static const XML_Memory_Handling_Suite FUNCTIONS;

    /// Gives nothing from now on. The way to stop expat at once: a handler that stops it is not heard before
    /// the element's last attribute.
    void close() noexcept { is_closed_ = true; }

    /// Whether the limit was the reason for giving nothing.
    bool is_limit_reached() const noexcept { return is_limit_reached_; }

private:
    struct Functions;

    /// Whether there is as much left of the limit; then there is less.
    bool take(std::size_t size) noexcept;

    /// Memory of `size` bytes, from the block or the system; null if there is none.
    void* allocate(std::size_t size) noexcept;

    bool is_in_block(const void* place) const noexcept;

    static constexpr std::size_t BLOCK_SIZE = std::size_t{16} * 1024;

    alignas(std::max_align_t) std::array<std::byte, BLOCK_SIZE> block_;
    std::byte* next_ = block_.data();
    std::size_t remaining_;
    bool is_closed_ = false;
    bool is_limit_reached_ = false;
    ExpatMemory* previous_;
};

}  // namespace kx::information_model::opc
