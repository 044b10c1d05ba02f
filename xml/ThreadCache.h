#pragma once

#include "xml/request/NameTable.h"

#include <Poco/AutoPtr.h>
#include <Poco/XML/NamePool.h>

#include <memory>

namespace kx::information_model::opc {

class ExpatMemory;

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

    /// Serves the parsers that this thread makes, null if there is none.
    ExpatMemory* parser_memory = nullptr;

private:
    std::shared_ptr<NameTable> request_names_;
    Poco::AutoPtr<Poco::XML::NamePool> reply_names_;
};

}  // namespace kx::information_model::opc
