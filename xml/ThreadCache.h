#pragma once

#include "xml/request/ExpatParser.h"
#include "xml/request/NameTable.h"

#include <Poco/AutoPtr.h>
#include <Poco/XML/NamePool.h>

#include <memory>

namespace kx::information_model::opc {

/// All that a thread keeps of this library between two requests, because making it costs as much as a small
/// request: at most 64 KB, whatever its clients have sent. Used by that thread alone.
class ThreadCache {
public:
    /// This thread's.
    /// @throws std::bad_alloc
    static ThreadCache& get();

    /// Gives back what this thread need not keep. For the end of a document: the next may be long in coming.
    static void trim() noexcept;

    /// The names of requests. Has room for those of one more.
    std::shared_ptr<NameTable> get_request_names();

    /// The names of the elements of replies. These are few and known, so that it does not grow.
    Poco::XML::NamePool& get_reply_names();

    /// A parser that has parsed nothing yet, or nothing that it remembers.
    /// @throws std::bad_alloc
    std::unique_ptr<ExpatParser> take_parser();

    /// Keeps a parser for the next document, unless it holds too much.
    /// @param parser  as `ExpatParser::reset` requires it
    void keep_parser(std::unique_ptr<ExpatParser> parser) noexcept;

    /// The parser that is kept, null if there is none.
    const ExpatParser* get_kept_parser() const noexcept { return parser_.get(); }

    /// Serves the parsers that this thread uses, null if there is none.
    ExpatMemory* parser_memory = nullptr;

private:
    std::unique_ptr<ExpatParser> parser_;
    std::shared_ptr<NameTable> request_names_;
    Poco::AutoPtr<Poco::XML::NamePool> reply_names_;
};

}  // namespace kx::information_model::opc
