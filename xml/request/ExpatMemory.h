#pragma once

#include <expat.h>

#include <array>
#include <cstddef>

namespace kx::information_model::opc {

/// Memory for one parser of expat's, up to a limit: expat copies the name of a namespace for each attribute
/// that has its prefix, so that a small text can ask for gigabytes, before it calls any handler.
///
/// What a small request needs lies in this object, and is used again for the next one: with the system's
/// allocator, the twenty pieces that expat asks for would cost all that is gained by keeping the parser.
///
/// Outlives its parser, and is used by one thread alone.
class ExpatMemory {
public:
    /// Serves the parsers that its thread makes or lets parse, while it lives.
    class Use {
    public:
        /// @throws std::bad_alloc
        explicit Use(ExpatMemory& memory);
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use();

    private:
        ExpatMemory*& place_;
        ExpatMemory* previous_;
    };

    ExpatMemory() noexcept {}  // NOLINT(modernize-use-equals-default): it would initialise the block
    ExpatMemory(const ExpatMemory&) = delete;
    ExpatMemory& operator=(const ExpatMemory&) = delete;
    ~ExpatMemory() = default;

    /// What `XML_ParserCreate_MM` takes.
    static const XML_Memory_Handling_Suite FUNCTIONS;

    /// Begins anew to give memory.
    /// @param limit  in bytes, of all that is in use at one time, that included which is in use already
    void limit(std::size_t limit) noexcept;

    /// Gives nothing from now on. The way to stop expat at once: a handler that stops it is not heard before
    /// the element's last attribute.
    void close() noexcept { is_closed_ = true; }

    /// Whether the limit was the reason for giving nothing.
    bool is_limit_reached() const noexcept { return is_limit_reached_; }

    /// Whether the system has given anything that is in use.
    bool uses_system() const noexcept { return system_pieces_ > 0; }

private:
    struct Functions;

    static constexpr std::size_t BLOCK_SIZE = std::size_t{16} * 1024;
    static constexpr std::size_t GRAIN = alignof(std::max_align_t);
    static constexpr std::size_t LARGEST_GRAINS = 64;  // of the pieces that are used again

    /// @name Pieces of so many grains, of the block or the system; null if there is none
    /// @{
    void* allocate(std::size_t grains) noexcept;
    void* reallocate(void* place, std::size_t old_grains, std::size_t grains) noexcept;
    void release(void* place, std::size_t grains) noexcept;
    /// @}

    bool is_in_block(const void* place) const noexcept;

    /// Whether there is as much left of the limit; then there is less.
    bool take(std::size_t size) noexcept;

    std::size_t limit_ = 0;
    std::size_t used_ = 0;  // of the limit
    std::size_t system_pieces_ = 0;
    bool is_closed_ = false;
    bool is_limit_reached_ = false;
    std::array<void*, LARGEST_GRAINS + 1>
        released_{};  // by their size: each begins with a pointer to the next
    std::size_t block_used_ = 0;
    // Not initialised: none of it is read before it is written.
    alignas(GRAIN) std::array<std::byte, BLOCK_SIZE> block_;
};

}  // namespace kx::information_model::opc
