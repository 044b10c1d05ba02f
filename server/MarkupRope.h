#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc {

/// A long text that is written once, from front to back. Unlike one string that grows it is never copied to
/// grow, and it asks for memory in pieces that the allocator has at hand.
class MarkupRope {
public:
    /// Where to append the next part of the text. Valid until the next call; a reference that was used
    /// before says nothing of the whole text.
    std::string& get_end();

    /// Appends the whole text to `output`.
    void write(std::string& output) const;

    bool is_empty() const noexcept;

private:
    std::vector<std::string> pieces_;
};

}  // namespace kx::information_model::opc
