#include "base/Rope.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace kx::information_model::opc {

namespace {

constexpr std::size_t FIRST_PIECE_SIZE = 1024;
}  // namespace

void Rope::begin_piece() {
    const std::size_t size = std::clamp(2 * end_.size(), FIRST_PIECE_SIZE, MAXIMUM_PIECE_SIZE);
    finish_piece();
    end_.reserve(size);
}

void Rope::append_pieces(Rope& rope) {
    for (std::string& piece : rope.pieces_) {
        append_piece(piece);
    }
    append_piece(rope.end_);
    rope.clear();
}

void Rope::append_piece(std::string& piece) {
    if (piece.size() < LEAST_MOVED_SIZE || piece.size() < piece.capacity() / 2) {
        append(piece);
    } else {
        finish_piece();
        pieces_.push_back(std::move(piece));
    }
}

void Rope::finish_piece() {
    if (!end_.empty()) {
        pieces_.push_back(std::move(end_));
        end_.clear();
    }
}

std::size_t Rope::get_size() const noexcept {
    return std::accumulate(pieces_.begin(), pieces_.end(), end_.size(),
                           [](std::size_t size, const std::string& piece) { return size + piece.size(); });
}

std::string Rope::to_string() const {
    std::string text;
    text.reserve(get_size());
    for_each_piece([&](std::string_view piece) { text += piece; });
    return text;
}

}  // namespace kx::information_model::opc
