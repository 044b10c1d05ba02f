#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kx::fuzz {

/// Takes an input apart, from front to back. Behind its end there are zeros and empty texts.
class InputReader {
public:
    explicit InputReader(std::string_view input) noexcept : rest_(input) {}

    bool is_at_end() const noexcept { return rest_.empty(); }

    unsigned take_byte() noexcept {
        if (rest_.empty()) {
            return 0;
        }
        const auto byte = static_cast<unsigned char>(rest_.front());
        rest_.remove_prefix(1);
        return byte;
    }

    /// Takes the bytes of a number.
    template <class T>
    T take_number() noexcept {
        T number{};
        const std::size_t size = std::min(rest_.size(), sizeof number);
        std::memcpy(&number, rest_.data(), size);
        rest_.remove_prefix(size);
        return number;
    }

    /// Takes a text: a byte that tells its length, and that many bytes.
    std::string take_text() {
        const std::size_t size = take_byte();
        std::string text(rest_.substr(0, size));
        rest_.remove_prefix(text.size());
        return text;
    }

private:
    std::string_view rest_;
};

}  // namespace kx::fuzz
