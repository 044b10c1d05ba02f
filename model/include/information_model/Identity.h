#pragma once

#include <string>
#include <utility>

namespace kx::information_model {

/// Identifies what a domain stands for, for example by its tag or serial number. Any text.
class Identity {
public:
    /// @param text  not checked
    explicit Identity(std::string text) noexcept : text_(std::move(text)) {}

    /// The text as it was given.
    const std::string& as_string() const noexcept { return text_; }

    friend bool operator==(const Identity&, const Identity&) noexcept = default;

private:
    std::string text_;
};

}  // namespace kx::information_model
