#pragma once

#include "http/RequestBody.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace kx::information_model::opc::testing {

/// A text of which `read` delivers at most a few bytes at a time.
class TextSource : public ByteSource {
public:
    explicit TextSource(std::string text, std::size_t piece = std::string::npos)
        : text_(std::move(text)), piece_(piece) {}

    int get() override { return next_ == text_.size() ? -1 : static_cast<unsigned char>(text_[next_++]); }

    std::size_t read(char* buffer, std::size_t size) override {
        largest_ = std::max(largest_, size);
        const std::size_t count = std::min({size, piece_, text_.size() - next_});
        text_.copy(buffer, count, next_);
        next_ += count;
        return count;
    }

    /// What nobody has read.
    std::string get_rest() const { return text_.substr(next_); }

    /// The largest room that was offered.
    std::size_t get_largest() const { return largest_; }

private:
    std::string text_;
    std::size_t piece_;
    std::size_t next_ = 0;
    std::size_t largest_ = 0;
};

}  // namespace kx::information_model::opc::testing
