#pragma once

#include <information_model/export.h>

#include <compare>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace kx::information_model {

class Tree;

/// The address of an item in the tree, kept as the text that it was made from. A plain value.
///
/// Text form: segments separated by "/". "/" is the root, "/boiler/temperature" starts at the root,
/// "boiler/temperature" starts at the item where the look-up starts (the root, for every service), "." is
/// that item itself and may also come first, as in "./boiler". A segment is a non-empty UTF-8 text without
/// "/" and without control characters (U+0000 to U+001F, U+007F to U+009F), U+FFFE and U+FFFF, which no
/// request could carry, and is neither "." nor "..".
class KX_INFORMATION_MODEL_EXPORT Path {
public:
    /// @param text  a path in the form above
    /// @throws InvalidPathException  for anything else, the empty text included
    explicit Path(std::string text);
    /// The same for a literal.
    explicit Path(const char* text);

    /// The text as it was given.
    const std::string& as_string() const noexcept { return text_; }

    /// The path `relative`, starting at `base`: `Path("/boiler") / "drum/level"`.
    /// @param base  where `relative` starts
    /// @param relative  the text of a path that does not begin with "/"; "." gives `base` itself
    /// @throws InvalidPathException  if it is not such a text
    KX_INFORMATION_MODEL_EXPORT friend Path operator/(const Path& base, std::string_view relative);
    /// The same for a path.
    KX_INFORMATION_MODEL_EXPORT friend Path operator/(const Path& base, const Path& relative);

    friend bool operator==(const Path&, const Path&) noexcept = default;
    /// By the bytes of the texts.
    friend std::strong_ordering operator<=>(const Path&, const Path&) noexcept = default;

private:
    friend class Tree;
    struct Trusted {};
    Path(std::string text, Trusted) noexcept : text_(std::move(text)) {}

    std::string text_;
};

/// Writes the path's text.
KX_INFORMATION_MODEL_EXPORT std::ostream& operator<<(std::ostream& stream, const Path& path);

/// Whether `text` can be one segment of a path, and so the name of an item.
KX_INFORMATION_MODEL_EXPORT bool is_valid_segment(std::string_view text) noexcept;

}  // namespace kx::information_model

/// By the text, so that paths can be keys.
template <>
struct std::hash<kx::information_model::Path> {
    /// The hash of the path's text.
    std::size_t operator()(const kx::information_model::Path& path) const noexcept {
        return std::hash<std::string>()(path.as_string());
    }
};
