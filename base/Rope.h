#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc {

/// A long text that is written once, from front to back, and read piece by piece. Unlike one string that
/// grows it is never copied to grow, it asks for memory in pieces that the allocator has at hand, and a long
/// rope that becomes part of another is not copied either.
class Rope {
public:
    /// Where to append the next part of the text. Valid until the next call; what it held before says nothing
    /// of the whole text.
    std::string& get_end() {
        if (end_.capacity() - end_.size() < USUAL_PART_SIZE) {
            begin_piece();
        }
        return end_;
    }

    void append(std::string_view text) { get_end() += text; }

    /// Appends a rope and leaves it empty: takes over its large pieces, and copies its small ones.
    void append(Rope&& rope) {
        if (rope.pieces_.empty() && rope.end_.size() < LEAST_MOVED_SIZE) {
            append(rope.end_);
            rope.clear();
        } else {
            append_pieces(rope);
        }
    }

    /// Empties it, and keeps some memory for the next text.
    void clear() noexcept {
        pieces_.clear();
        if (end_.capacity() > MAXIMUM_PIECE_SIZE) {
            std::string().swap(end_);  // an assignment keeps the memory
        }
        end_.clear();
    }

    /// Calls `use(std::string_view)` with each piece, in order.
    template <class Use>
    void for_each_piece(Use use) const {
        for (const std::string& piece : pieces_) {
            use(std::string_view(piece));
        }
        if (!end_.empty()) {
            use(std::string_view(end_));
        }
    }

    std::size_t get_size() const noexcept;
    bool is_empty() const noexcept { return end_.empty() && pieces_.empty(); }

    /// The whole text, copied.
    std::string to_string() const;

private:
    // A part rarely takes more, so that a piece rarely grows.
    static constexpr std::size_t USUAL_PART_SIZE = 512;

    static constexpr std::size_t MAXIMUM_PIECE_SIZE = std::size_t{64} * 1024;

    // Below it, copying costs less than what each piece costs when it is sent.
    static constexpr std::size_t LEAST_MOVED_SIZE = std::size_t{16} * 1024;

    void begin_piece();

    void append_pieces(Rope& rope);

    /// Appends a piece: takes it over, or copies it.
    void append_piece(std::string& piece);

    void finish_piece();

    std::vector<std::string> pieces_;  // none of them is empty
    std::string end_;
};

}  // namespace kx::information_model::opc
