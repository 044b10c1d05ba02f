#pragma once

#include <string>
#include <utility>

namespace kx::information_model {

/// The name of a node in the tree. Converts to its text.
class Name {
public:
    /// @param text  checked by those who make nodes, not here
    explicit Name(std::string text) noexcept : text_(std::move(text)) {}

    /// The text.
    const std::string& as_string() const noexcept { return text_; }
    /// The text.
    operator const std::string&() const noexcept { return text_; }  // NOLINT(google-explicit-constructor)

    friend bool operator==(const Name&, const Name&) noexcept = default;

private:
    std::string text_;
};

}  // namespace kx::information_model
