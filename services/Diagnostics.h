#pragma once

#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// Gathers the lines that a request leaves on the standard error stream and writes them when it is
/// destroyed, together, so that the lines of several requests do not mix. What that stream does not take in a
/// few seconds is dropped, and a write that fails leaves the stream, the host's, as it was.
///
/// Make it before the tree lock is taken: a slow reader of that stream must not hold up the host.
class Diagnostics {
public:
    Diagnostics() = default;
    Diagnostics(const Diagnostics&) = delete;
    Diagnostics& operator=(const Diagnostics&) = delete;
    ~Diagnostics();

    /// Adds a line made of both texts and a line feed.
    void add(std::string_view message, std::string_view detail = {});

private:
    std::string lines_;
};

}  // namespace kx::information_model::opc
