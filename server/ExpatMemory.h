#pragma once

#include <expat.h>

#include <cstddef>

namespace kx::information_model::opc {

/// Memory for one parser of expat's, up to a limit: expat copies the name of a namespace for each attribute
/// that has its prefix, so that a small text can ask for gigabytes, before it calls any handler.
///
/// While it lives it serves the parsers that its thread makes. It outlives them, and is used by that thread
/// alone.
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

    std::size_t remaining_;
    bool is_closed_ = false;
    bool is_limit_reached_ = false;
    ExpatMemory* previous_;
};

}  // namespace kx::information_model::opc
