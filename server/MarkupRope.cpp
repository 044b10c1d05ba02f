#include "server/MarkupRope.h"

#include <algorithm>
#include <numeric>

namespace kx::information_model::opc {

namespace {

constexpr std::size_t FIRST_PIECE_SIZE = 1024;
constexpr std::size_t LARGEST_PIECE_SIZE = std::size_t{64} * 1024;

// Below it, copying costs less than what each piece costs when it is sent.
constexpr std::size_t LEAST_SHARED_SIZE = std::size_t{16} * 1024;

// A part rarely takes more, so that a piece rarely grows.
constexpr std::size_t USUAL_PART_SIZE = 512;

}  // namespace

std::string& MarkupRope::get_end() {
    std::size_t size = FIRST_PIECE_SIZE;
    if (!pieces_.empty()) {
        std::string& last = *pieces_.back();
        if (last.capacity() - last.size() >= USUAL_PART_SIZE && pieces_.back().use_count() == 1) {
            return last;
        }
        size = std::min(2 * last.capacity(), LARGEST_PIECE_SIZE);
    }
    auto piece = std::make_shared<std::string>();
    piece->reserve(size);
    return *pieces_.emplace_back(std::move(piece));
}

void MarkupRope::append(const MarkupRope& rope) {
    for (const auto& piece : rope.pieces_) {
        if (piece->size() < LEAST_SHARED_SIZE) {
            append(*piece);
        } else {
            pieces_.push_back(piece);
        }
    }
}

std::size_t MarkupRope::get_size() const noexcept {
    return std::accumulate(pieces_.begin(), pieces_.end(), std::size_t{0},
                           [](std::size_t size, const auto& piece) { return size + piece->size(); });
}

std::string MarkupRope::to_string() const {
    std::string text;
    text.reserve(get_size());
    for_each_piece([&](std::string_view piece) { text += piece; });
    return text;
}

}  // namespace kx::information_model::opc
