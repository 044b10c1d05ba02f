#pragma once

#include <string>

namespace xmlda {

/// The quality of a value.
struct Quality {
    std::string field = "good";
    std::string limit = "none";
    std::string vendor = "0";

    /// The field alone, or with what is not ordinary behind it: "good, limit high, vendor 4".
    std::string to_text() const;

    bool is_bad() const { return field.starts_with("bad"); }
    bool is_uncertain() const { return field.starts_with("uncertain"); }

    bool operator==(const Quality&) const = default;
};

/// Reads what `to_text` writes.
Quality to_quality(const std::string& text);

}  // namespace xmlda
