#pragma once

#include "xml/request/ExpatMemory.h"

#include <expat.h>

#include <cstddef>
#include <memory>

namespace kx::information_model::opc {

/// A parser of expat's and the memory that it uses. A thread keeps one for its next text, see `ThreadCache`:
/// making one anew, in memory that is new as well, takes a twentieth of the instructions of a small request.
/// Used by that thread alone.
class ExpatParser {
public:
    /// @throws std::bad_alloc
    ExpatParser();
    ExpatParser(const ExpatParser&) = delete;
    ExpatParser& operator=(const ExpatParser&) = delete;
    ~ExpatParser() = default;

    XML_Parser get() noexcept { return parser_.get(); }
    ExpatMemory& get_memory() noexcept { return memory_; }
    const ExpatMemory& get_memory() const noexcept { return memory_; }

    /// Prepares it for another text, without handlers, and says whether it may wait for one: not if it holds
    /// memory of the system's, since expat keeps what it has asked for.
    ///
    /// Requires: the text before was parsed to its end, and no handler stopped it.
    bool reset() noexcept;

private:
    using Owner = std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)>;

    static Owner create(ExpatMemory& memory);

    ExpatMemory memory_;
    Owner parser_;
};

}  // namespace kx::information_model::opc
