#pragma once

#include "server/MarkupRope.h"
#include "server/ReplyElement.h"

namespace kx::information_model::opc {

/// Writes a reply as a default `Poco::XML::DOMWriter` writes the DOM of the same content, byte for byte, in
/// a fraction of its time: that one converts every text character by character and sorts attributes through
/// maps. The cost is that of copying the text.
class ReplyWriter {
public:
    /// @param output  gets the text appended
    explicit ReplyWriter(MarkupRope& output) : output_(output) {}

    /// Writes an element and all below it.
    void write(const ReplyElement& root);

private:
    /// @return whether there is an end tag to write
    bool write_start(const ReplyElement& element);
    void write_end(const ReplyElement& element);

    MarkupRope& output_;
};

}  // namespace kx::information_model::opc
