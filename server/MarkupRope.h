#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc {

/// A long text that is written once, from front to back, and read piece by piece. Unlike one string that
/// grows it is never copied to grow, it asks for memory in pieces that the allocator has at hand, and a rope
/// that becomes part of another is not copied either.
class MarkupRope {
public:
    /// Where to append the next part of the text. Valid until the next call; what it held before says nothing
    /// of the whole text.
    std::string& get_end();

    void append(std::string_view text) { get_end() += text; }

    /// Appends a rope: shares its large pieces, copies its small ones. Both may be appended to later.
    void append(const MarkupRope& rope);

    /// Calls `use(std::string_view)` with each piece, in order.
    template <class Use>
    void for_each_piece(Use use) const {
        for (const auto& piece : pieces_) {
            use(std::string_view(*piece));
        }
    }

    std::size_t get_size() const noexcept;
    bool is_empty() const noexcept { return get_size() == 0; }

    /// The whole text, copied.
    std::string to_string() const;

private:
    std::vector<std::shared_ptr<std::string>> pieces_;  // a shared one is not appended to
};

}  // namespace kx::information_model::opc
