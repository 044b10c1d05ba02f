#pragma once

#include <information_model/export.h>

#include <string>

namespace kx::information_model {

/// A path that starts at the root of a tree, together with the names of host and tree. A plain
/// value made of three texts, none of which is checked.
class KX_INFORMATION_MODEL_EXPORT AbsolutePath {
public:
    /// @param host  name of the host, may be empty
    /// @param tree  name of the tree, may be empty
    /// @param path  text of the path
    AbsolutePath(std::string host, std::string tree, std::string path);

    /// The host, as it was given.
    const std::string& get_host() const noexcept { return host_; }
    /// The tree, as it was given.
    const std::string& get_tree() const noexcept { return tree_; }
    /// The path, as it was given.
    const std::string& get_path() const noexcept { return path_; }

    /// "//host/tree/path", the path joined with exactly one "/"; just the path, as it was given, when host
    /// and tree are both empty.
    std::string as_string() const;

    friend bool operator==(const AbsolutePath&, const AbsolutePath&) noexcept = default;

private:
    std::string host_;
    std::string tree_;
    std::string path_;
};

}  // namespace kx::information_model
