#include "server/MarkupRope.h"

#include <algorithm>

namespace kx::information_model::opc {

namespace {

constexpr std::size_t FIRST_PIECE_SIZE = 1024;
constexpr std::size_t LARGEST_PIECE_SIZE = std::size_t{64} * 1024;

// A part rarely takes more, so that a piece rarely grows.
constexpr std::size_t USUAL_PART_SIZE = 512;

}  // namespace

std::string& MarkupRope::get_end() {
    if (!pieces_.empty() && pieces_.back().capacity() - pieces_.back().size() >= USUAL_PART_SIZE) {
        return pieces_.back();
    }
    const std::size_t size =
        pieces_.empty() ? FIRST_PIECE_SIZE : std::min(2 * pieces_.back().capacity(), LARGEST_PIECE_SIZE);
    pieces_.emplace_back().reserve(size);
    return pieces_.back();
}

void MarkupRope::write(std::string& output) const {
    for (const std::string& piece : pieces_) {
        output += piece;
    }
}

bool MarkupRope::is_empty() const noexcept {
    return std::all_of(pieces_.begin(), pieces_.end(),
                       [](const std::string& piece) { return piece.empty(); });
}

}  // namespace kx::information_model::opc
